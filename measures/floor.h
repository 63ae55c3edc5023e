// The least that can stand in the gateway's place.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "station.h"

/// Behind the last byte of each request, bare gets of the objects, which blanks divide, and the
/// reply. Returns 1 when the line is gone.
int ServeBare(const char* device, std::size_t requestSize, const std::string& objects,
              const std::string& reply);

/// ServeBare in a process of its own, on another pseudo-terminal.
class Floor {
 public:
  Floor(std::string request, const std::string& reply, const std::vector<std::string>& gets);

  /// Seconds from the last byte of the request to the last of the reply.
  double Ask() const;

 private:
  Line line_;
  std::string request_;
  std::size_t replySize_;
  std::unique_ptr<Child> process_;
};
