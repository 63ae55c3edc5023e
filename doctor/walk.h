// The register list as the gateway would write it now.
#pragma once

#include <string>

struct Listed {
  bool complete = false;
  std::string list;    ///< as the register list file would be
  std::string reason;  ///< what the walk said when it failed
};

/// Walks the subtrees of the instrument type, in a process of its own that is ended after 4 s.
Listed WalkRegisters(int instrumentType);
