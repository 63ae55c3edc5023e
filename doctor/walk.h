// The register list as the gateway would write it now.
#pragma once

#include <string>

struct Listed {
  bool complete = false;
  bool tooSlow = false;  ///< it was not done in time, so far without a failure
  std::string list;      ///< as the register list file would be
  std::string reason;    ///< what the walk said when it failed
};

/// Walks the subtrees of the instrument type, in a process of its own that is ended after 8 s:
/// a register that is not answered for fails within six.
Listed WalkRegisters(int instrumentType);
