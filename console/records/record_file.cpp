#include "records/record_file.h"

#include <filesystem>

#include "line/failure.h"
#include "line/visible.h"

RecordFile::RecordFile(std::string path) : path_(std::move(path)) {
  std::error_code failed;
  if (std::filesystem::exists(path_, failed) && !std::filesystem::is_regular_file(path_, failed)) {
    throw Failure(kUsage, path_ + " is no plain file.");
  }
  file_.open(path_, std::ios::binary);
  if (!file_) throw Failure(kUsage, path_ + " cannot be read.");
  Next(header_);
  names_ = SplitLine(header_.text);
}

bool RecordFile::Next(Line& line) {
  if (!std::getline(file_, line.text)) {
    if (file_.bad()) throw Failure(kUsage, path_ + " cannot be read.");
    return false;
  }
  line.whole = !file_.eof();
  line.number = ++lines_;
  line.end = bytes_ += line.text.size() + (line.whole ? 1 : 0);
  if (line.whole && !line.text.empty() && line.text.back() == '\r') {
    line.text.pop_back();
    carriageReturns_ = true;
  }
  return true;
}

void RecordFile::Require(const Line& line) const {
  const std::string flaw = FlawOf(SplitLine(line.text), names_);
  if (flaw.empty()) return;
  const bool rewritten = flaw == "no date" || flaw == "no time";
  throw Failure(
      kUsage,
      path_ + ", line " + std::to_string(line.number) + ": no record (" + flaw +
          "): " + Visible(line.text) +
          (rewritten ? std::string("\nA spreadsheet may have rewritten it: ") + kWorkOnACopy : ""));
}
