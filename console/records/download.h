// Brings the logged records into a file.
#pragma once

#include <string>

#include "logger/logger.h"
#include "logger/register_numbers.h"

struct DownloadOptions {
  std::string file;            ///< "-" is standard output
  std::string from = "begin";  ///< "begin", "pointer", or a time stamp
  long batch = 50;             ///< records asked for at a time
};

/// Appends to the file what it does not hold yet; a file that is not there is begun, with the field
/// names as its first line. Continued after an interruption, the file holds every record once: it
/// is the file itself that tells how far it goes. The database pointer is put back to where it was,
/// unless the download is from there or the console is killed. Progress goes to standard error.
/// Throws Failure, also when it was interrupted.
void Download(Logger& logger, RegisterNumbers& numbers, const DownloadOptions& options);
