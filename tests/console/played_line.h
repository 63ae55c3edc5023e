// The far end of a line, played by a test of a part, in a time of its own.
#pragma once

#include <chrono>
#include <deque>
#include <string>
#include <utility>

#include "line/line.h"

/// What every clock of the program shows. It goes while a line is waited for, and in sleeping,
/// which takes no time.
struct PlayedClock {
  static inline std::chrono::milliseconds now{0};
};

class PlayedLine : public Line {
 public:
  /// Sets the clocks. A byte takes that time, and so does looking for one without waiting.
  explicit PlayedLine(std::chrono::milliseconds begin, std::chrono::milliseconds pace = {});

  /// Bytes that come in the line's order, the first one not before a moment.
  void Comes(const std::string& bytes, std::chrono::milliseconds moment);

  /// What never waits.
  int ToPoll() const override;

 protected:
  bool Open() override { return false; }
  bool Read(char& byte, std::chrono::milliseconds wait) override;

  /// When the last byte comes that is still to come; now, if there is none.
  std::chrono::milliseconds Last() const;

 private:
  std::chrono::milliseconds pace_;
  std::chrono::milliseconds end_;
  std::deque<std::pair<std::chrono::milliseconds, char>> coming_;
};
