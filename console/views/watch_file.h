// The file that a watch writes: comma-separated values, a line for each reading.
#pragma once

#include <fstream>
#include <string>
#include <vector>

#include "views/course.h"

class WatchFile {
 public:
  /// Begins it, or continues one of the same registers; a line that was cut off is taken away.
  /// Throws Failure(kUsage) for any other file, which stays as it is.
  WatchFile(std::string path, const std::vector<Course>& courses);

  /// Adds what was read at a moment; what was not is left empty. Throws Failure(kUsage).
  void Add(const std::string& moment, const std::vector<Course>& courses);

 private:
  void Write(const std::vector<std::string>& fields);

  std::string path_;
  std::ofstream file_;
};
