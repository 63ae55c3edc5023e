// Which request a reply answers.
#pragma once

#include <deque>
#include <string>

#include "logger/reply.h"

/// A reply names its function, and some a register, but not its request, and a request that was
/// given up may still be answered. Two things help: the gateway serves one request behind the
/// other, and it refuses a control function that it does not know with that function's own two
/// characters. Such functions, each asked for once, mark how far the gateway is: what comes before
/// the refusal of a mark answers what was sent before the mark.
class Attribution {
 public:
  /// Marks are numbered from here on. The numbers should be others than those of programs that were
  /// on the line before, whose requests may still be answered.
  explicit Attribution(unsigned first) : next_(first) {}

  /// What may come besides the reply to what is sent next.
  enum class Doubt {
    kNone,
    kOthers,  ///< replies to requests that are not known here
    kOwn      ///< replies to requests that were given up here
  };
  Doubt InDoubt() const;

  /// The function code of the next mark, such as "SFk7".
  std::string Mark();

  /// Notes a request, and the field that its reply repeats unless it is refused, if any.
  void Sent(const std::string& code, const std::string& repeated = "");

  /// All that was noted is answered, and wholly.
  void Done() { open_.clear(); }

  /// Notes a request of which no more is known than that it was sent.
  void SentUnknown() { others_ = true; }

  enum class Answers {
    kLatest,   ///< the request that was noted last
    kEarlier,  ///< one of those before it
    kNone      ///< none of those that are still open
  };

  /// Tells what a reply answers, and closes that request and those before it. A refusal with ????
  /// names nothing: it is taken for the earliest open request's.
  Answers Take(const AKReply& reply);

 private:
  struct Request {
    std::string code;
    std::string repeated;
    bool mark;
  };
  static bool Fits(const Request& request, const AKReply& reply);

  unsigned next_;
  bool others_ = true;
  std::deque<Request> open_;  // in the order of their sending
};
