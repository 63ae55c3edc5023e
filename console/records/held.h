// Which time stamps a file holds records of, and how many of each.
#pragma once

#include <string>
#include <vector>

/// The first text behind a time stamp: what is earlier than it is the time stamp or earlier.
inline std::string JustBehind(const std::string& timeStamp) { return timeStamp + '\x01'; }

/// The time stamps in their order, numbered from 0.
class Held {
 public:
  Held() = default;
  explicit Held(std::vector<std::string> timeStamps);

  /// One more record of this time stamp; quick for one that is not older than the newest.
  void Add(const std::string& timeStamp);

  long Stamps() const { return static_cast<long>(stamps_.size()); }
  const std::string& Stamp(long number) const { return At(number).text; }

  /// Records of the time stamps below this number.
  long Before(long number) const { return number == 0 ? 0 : At(number - 1).through; }

  /// The number of the first time stamp that is not earlier than this text.
  long Find(const std::string& text) const;

  /// Records between two texts: later than the first, earlier than the second.
  long Between(const std::string& behind, const std::string& before) const;

  /// Records of this time stamp.
  long Of(const std::string& timeStamp) const {
    return Before(Find(JustBehind(timeStamp))) - Before(Find(timeStamp));
  }

  /// The newest time stamp; empty when there is none.
  std::string Newest() const { return stamps_.empty() ? "" : stamps_.back().text; }

 private:
  struct Entry {
    std::string text;
    long through;  // records up to and with this time stamp
  };
  const Entry& At(long number) const { return stamps_[static_cast<std::size_t>(number)]; }

  std::vector<Entry> stamps_;
};
