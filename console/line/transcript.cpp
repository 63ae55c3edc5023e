#include "line/transcript.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>

#include "line/failure.h"
#include "line/moment.h"
#include "line/visible.h"

namespace {

constexpr char kTitle[] = "# qmx-console recording 1, ";

/// The byte so that it can be read back: the one that begins a name is named too.
std::string Transcribed(char byte) { return byte == '<' ? "<x3C>" : Visible(std::string(1, byte)); }

}  // namespace

void Transcript::SetTrace(bool on) {
  EndLine();
  trace_ = on;
}

void Transcript::Record(const std::string& file, const std::string& device) {
  std::string title;
  bool cut = false;
  if (std::filesystem::is_regular_file(file)) {
    std::ifstream earlier(file, std::ios::binary);
    const bool empty = earlier.peek() == std::ifstream::traits_type::eof();
    std::getline(earlier, title);
    if (!empty && title.compare(0, sizeof kTitle - 1, kTitle) != 0) {
      throw Failure(kUsage, file + " is no recording: name another file.");
    }
    char last = '\n';
    if (!empty && earlier.seekg(-1, std::ios::end)) earlier.get(last);
    cut = last != '\n';
  }
  EndLine();
  fileName_ = file;
  errno = 0;
  file_.open(file, std::ios::app | std::ios::binary);
  file_ << (cut ? "\n" : "") << kTitle << MomentText(Clock::now(), 0) << ", " << Visible(device)
        << "\n"
        << std::flush;
  if (!file_) throw Failure(kUsage, file + " cannot be written: " + std::strerror(errno) + ".");
}

void Transcript::Add(Direction direction, const std::string& bytes, Clock::time_point moment) {
  // A clock that was set makes a pause, too.
  const bool later = moment - latest_ > kPause || moment < latest_;
  if (later || direction != direction_) EndLine();
  latest_ = moment;
  for (const char byte : bytes) {
    if (!open_) Begin(direction, moment);
    const std::string text = Transcribed(byte);
    Write(text);
    if (trace_) traced_ += text;
    if (byte == '\n') EndLine();
  }
  Flush();
}

void Transcript::Begin(Direction direction, Clock::time_point moment) {
  open_ = true;
  direction_ = direction;
  const std::string sign = {' ', static_cast<char>(direction), ' '};
  Write(MomentText(moment, 6) + sign);
  if (trace_) traced_ = TimeOfDay(moment, 3) + sign;
}

void Transcript::EndLine() {
  if (!open_) return;
  open_ = false;
  Write("\n");
  Flush();
  if (trace_) std::cerr << traced_ << std::endl;
  traced_.clear();
}

void Transcript::Write(const std::string& text) {
  if (file_.is_open()) file_ << text;
}

void Transcript::Flush() {
  errno = 0;
  if (!file_.is_open() || file_.flush()) return;
  std::cerr << "The recording ends: " << fileName_ << " cannot be written: " << std::strerror(errno)
            << "." << std::endl;
  file_.close();
}
