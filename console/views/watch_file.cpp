#include "views/watch_file.h"

#include <filesystem>

#include "line/failure.h"
#include "line/visible.h"
#include "records/record.h"

namespace {

/// Bytes of the file up to the end of its last whole line; 0 for one that is not there or has none.
/// Throws when the first line is another one.
std::uintmax_t WholeLines(const std::string& path, const std::string& header) {
  if (!std::filesystem::exists(path)) return 0;
  std::ifstream file(path, std::ios::binary);
  if (!std::filesystem::is_regular_file(path) || !file) {
    throw Failure(kUsage, path + " is no file that can be continued.");
  }
  std::uintmax_t whole = 0;
  for (std::string line; std::getline(file, line); whole += line.size() + 1) {
    const bool cut = file.eof();
    const std::string expected = cut ? header.substr(0, line.size()) : header;
    if (whole == 0 && line != expected) {
      throw Failure(kUsage, path + " is no file of this watch; its first line would be: " + header);
    }
    if (cut) break;
  }
  if (file.bad()) throw Failure(kUsage, path + " is no file that can be continued.");
  return whole;
}

}  // namespace

WatchFile::WatchFile(std::string path, const std::vector<Course>& courses)
    : path_(std::move(path)) {
  FieldTexts header = {"time"};
  for (const Course& course : courses) {
    const Register& asked = course.Asked();
    header.push_back(
        Visible(std::to_string(asked.number) + (asked.name.empty() ? "" : " " + asked.name)));
  }
  const std::uintmax_t whole = WholeLines(path_, JoinLine(header));
  std::error_code failed;
  if (std::filesystem::exists(path_)) std::filesystem::resize_file(path_, whole, failed);
  if (!failed) file_.open(path_, std::ios::app | std::ios::binary);
  if (!file_.is_open()) throw Failure(kUsage, path_ + " cannot be written.");
  if (whole == 0) Write(header);
}

void WatchFile::Write(const std::vector<std::string>& fields) {
  if (!(file_ << JoinLine(fields) << "\n" << std::flush)) {
    throw Failure(kUsage, path_ + " cannot be written.");
  }
}

void WatchFile::Add(const std::string& moment, const std::vector<Course>& courses) {
  FieldTexts fields = {moment};
  for (const Course& course : courses) fields.push_back(Visible(course.Value()));
  Write(fields);
}
