// What passes on the line as lines of text, for a reader at once and for a file. The file's format
// is told in docs/recording.md.
#pragma once

#include <chrono>
#include <fstream>
#include <string>

/// Who is meant to have the bytes.
enum class Direction : char { kToGateway = '>', kToLogger = '<' };

class Transcript {
 public:
  using Clock = std::chrono::system_clock;

  /// A longer silence than this ends a line.
  static constexpr std::chrono::milliseconds kPause{50};

  Transcript() = default;
  ~Transcript() { EndLine(); }
  Transcript(const Transcript&) = delete;
  Transcript& operator=(const Transcript&) = delete;

  /// Shows every line on standard error as soon as it is whole, with the time of day.
  void SetTrace(bool on);

  /// Appends to a recording, or begins one. Throws Failure(kUsage) when the file is something else
  /// or cannot be written. A recording that cannot be written later on is told on standard error
  /// and ends; the work at the line goes on.
  void Record(const std::string& file, const std::string& device);

  void Add(Direction direction, const std::string& bytes, Clock::time_point moment = Clock::now());

  /// Ends the line at hand, if there is one.
  void EndLine();

 private:
  void Begin(Direction direction, Clock::time_point moment);
  void Write(const std::string& text);
  void Flush();

  bool trace_ = false;
  std::string traced_;  // what is to be shown of the line at hand
  std::ofstream file_;
  std::string fileName_;
  bool open_ = false;  // there is a line at hand
  Direction direction_ = Direction::kToGateway;
  Clock::time_point latest_;
};
