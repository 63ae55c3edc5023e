#include "records/download.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>

#include "line/failure.h"
#include "line/interrupt.h"
#include "line/visible.h"
#include "records/pointer.h"
#include "records/position.h"
#include "records/record.h"
#include "records/record_file.h"

namespace {

std::string FormatTime(std::time_t moment) {
  std::tm time{};
  gmtime_r(&moment, &time);
  char text[64];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &time);
  return text;
}

/// The moment that "2009-06-30", "2009-06-30 14:00" or "2009-06-30 14:00:00" names.
std::time_t ParseTime(const std::string& text) {
  std::tm time{};
  const char* rest = strptime(text.c_str(), "%Y-%m-%d", &time);
  if (rest != nullptr && *rest != 0) rest = strptime(rest, " %H:%M", &time);
  if (rest != nullptr && *rest != 0) rest = strptime(rest, ":%S", &time);
  if (rest == nullptr || *rest != 0) {
    throw Failure(kUsage,
                  "--from takes begin, pointer or a time stamp such as '2009-06-30 14:00:00'.");
  }
  return timegm(&time);
}

/// Brings a file that was cut off to the end of its last whole line and takes its records over.
/// Returns false for a file that has no line yet.
bool Resume(const std::string& path, const std::string& header, Position& position) {
  if (!std::filesystem::exists(path)) return false;
  RecordFile file(path);
  const std::string& begin = file.Header().text;
  const bool cut = !file.Header().whole;
  if (cut ? header.compare(0, begin.size(), begin) != 0 : begin != header) {
    throw Failure(kUsage,
                  path + " is not of this download; its first line would be: " + Visible(header));
  }
  std::uintmax_t whole = cut ? 0 : file.Header().end;
  for (RecordFile::Line line; file.Next(line) && line.whole; whole = line.end) {
    position.Take(line.text);
  }
  std::error_code failed;
  std::filesystem::resize_file(path, whole, failed);
  if (failed) throw Failure(kUsage, path + " cannot be written: " + failed.message() + ".");
  return whole != 0;
}

/// A line on standard error that tells how far the download is.
class Progress {
 public:
  void Add(const std::string& record) {
    ++records_;
    bytes_ += record.size() + 2;
  }

  void Show(const Position& position, bool last) {
    const bool terminal = isatty(2) == 1;
    if (!terminal && !last) return;
    const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - start_;
    const std::string reached =
        position.Newest().empty() ? "none on file" : "up to " + position.Newest();
    std::fprintf(stderr, "%s%ld records, %zu bytes, %.1f records/s, %s%s",
                 terminal ? "\r\x1b[K" : "", records_, bytes_,
                 static_cast<double>(records_) / std::max(spent.count(), 0.001), reached.c_str(),
                 last ? "\n" : "");
  }

 private:
  long records_ = 0;
  std::size_t bytes_ = 0;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

/// Takes records over from the pointer on until there are no more, or until an interrupt is noted,
/// which lets the batch at hand be finished.
void TakeRecords(Logger& logger, Pointer& pointer, Position& position, const std::string& header,
                 long batch, const std::string& earliest, std::ostream& out) {
  Progress progress;
  for (bool more = true; more && Interrupt::Noted() == 0;) {
    const std::string before = position.Pointer();
    pointer.Set(before);
    Records records = logger.NextRecords(batch);
    RequireDone(records.reply, "ASTO");
    for (std::string& record : records.lines) {
      // A line of the file is a record, whatever its texts hold.
      std::replace(record.begin(), record.end(), '\n', ' ');
      if (!FlawOf(SplitSent(record), SplitSent(header)).empty()) {
        throw Failure(kBroken, "No record of " + Visible(header) + ": " + Visible(record));
      }
    }
    position.BeginBatch();
    for (const std::string& record : records.lines) {
      if (TimeStamp(record) < earliest || !position.Take(record)) continue;
      out << record << "\n";
      progress.Add(record);
    }
    if (!out.flush()) throw Failure(kUsage, "The records cannot be written.");
    more = static_cast<long>(records.lines.size()) == batch;
    // More records of one time stamp than a batch holds are brought by a larger one.
    if (more && position.Pointer() == before) batch *= 2;
    progress.Show(position, !more || Interrupt::Noted() != 0);
  }
}

/// Where a download from the pointer began, kept beside its file until it is done: the pointer
/// itself moves on, and the file tells nothing before it has two time stamps.
class Beginning {
 public:
  Beginning(const std::string& file, std::string pointer)
      : path_(file + ".begin"), pointer_(std::move(pointer)) {
    std::ifstream kept(path_);
    if (std::filesystem::exists(file) && kept) std::getline(kept, pointer_);
  }
  const std::string& Pointer() const { return pointer_; }
  void Keep() const {
    if (!(std::ofstream(path_) << pointer_ << std::flush)) {
      throw Failure(kUsage, path_ + " cannot be written.");
    }
  }
  void Done() const { std::filesystem::remove(path_); }

 private:
  std::string path_;
  std::string pointer_;
};

}  // namespace

void Download(Logger& logger, RegisterNumbers& numbers, const DownloadOptions& options) {
  const bool fromPointer = options.from == "pointer";
  const bool fromTime = !fromPointer && options.from != "begin";
  const std::time_t from = fromTime ? ParseTime(options.from) : 0;

  // Lives longer than the pointer, which is put back through the line. What nobody reads any more
  // is an error of writing.
  const Interrupt interrupt(Interrupt::Then::kFinish);
  std::signal(SIGPIPE, SIG_IGN);
  const AKReply header = logger.Header();
  RequireDone(header, "LDHD");
  Pointer pointer(logger, numbers);
  std::string start = fromTime ? FormatTime(from - 1) : kBeforeAllRecords;
  if (fromPointer && !pointer.Before().empty()) start = pointer.Before();
  Position position(start);
  std::ofstream file;
  bool begun = false;
  std::optional<Beginning> beginning;
  if (options.file != "-") {
    if (fromPointer) position = Position(beginning.emplace(options.file, start).Pointer());
    begun = Resume(options.file, header.fields, position);
    if (beginning) beginning->Keep();
    file.open(options.file, std::ios::app | std::ios::binary);
    if (!file) throw Failure(kUsage, options.file + " cannot be written.");
  }
  std::ostream& out = file.is_open() ? file : std::cout;
  if (!begun) out << header.fields << "\n";

  pointer.Verify();
  TakeRecords(logger, pointer, position, header.fields, options.batch,
              fromTime ? FormatTime(from) : "", out);
  if (fromPointer) pointer.Stay();
  if (Interrupt::Noted() == 0) {
    if (beginning) beginning->Done();
    return;
  }
  throw Failure(
      kInterrupted + Interrupt::Noted(),
      file.is_open() ? "Interrupted; the same command goes on from here." : "Interrupted.");
}
