#include "views/outcome.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "line/failure.h"
#include "line/visible.h"
#include "records/figures.h"
#include "views/report.h"

namespace {

std::string PartText(const Part& part) {
  const std::string least = part.atLeast ? "at least " : "";
  std::string text =
      "  " + Visible(part.from) + (part.to != part.from ? " to " + Visible(part.to) : "") + ": ";
  if (part.lacks > 0) text += "lacks " + least + RecordsText(part.lacks);
  if (part.lacks > 0 && part.more > 0) text += ", and ";
  if (part.more > 0)
    text += "has " + least + RecordsText(part.more) + " that the instrument does not have";
  if (part.lacks <= 0 && part.more == 0) text += "differs";
  return text + "\n";
}

std::string CaptureText(const Capture& capture, bool all) {
  if (capture.Interval() == 0) return "";
  const Share share = capture.All();
  std::string text = "Logged every " + DurationText(capture.Interval()) + ": ";
  const long gaps = static_cast<long>(capture.Gaps().size());
  text += gaps == 0 ? "no gaps.\n"
                    : Grouped(gaps) + (gaps == 1 ? " gap" : " gaps") + " of " +
                          RecordsText(share.missing) + ", " + PercentText(share) + " are there.\n";
  if (!all) return text;
  std::vector<std::vector<std::string>> rows;
  if (gaps > 0) rows.push_back({"last before", "first behind", "missing"});
  for (const Gap& gap : capture.Gaps()) {
    rows.push_back({TimeStampOf(gap.from), TimeStampOf(gap.to), Grouped(gap.missing)});
  }
  text += Table(rows);
  rows = {{"day", "there", "missing", "share"}};
  for (const Share& day : capture.Days()) {
    const std::string name = day.from == day.to ? day.from : day.from + " to " + day.to;
    rows.push_back({name, Grouped(day.present), Grouped(day.missing), PercentText(day)});
  }
  return text + Table(rows);
}

std::string PartsJson(const std::vector<Part>& parts) {
  std::string json;
  for (const Part& part : parts) {
    json += (json.empty() ? "" : ",") + JsonObject({{"from", JsonText(part.from)},
                                                    {"to", JsonText(part.to)},
                                                    {"lacks", std::to_string(part.lacks)},
                                                    {"more", std::to_string(part.more)},
                                                    {"atLeast", part.atLeast ? "true" : "false"}});
  }
  return "[" + json + "]";
}

std::string GapsJson(const Capture& capture) {
  std::string json;
  for (const Gap& gap : capture.Gaps()) {
    json += (json.empty() ? "" : ",") + JsonObject({{"after", JsonText(TimeStampOf(gap.from))},
                                                    {"before", JsonText(TimeStampOf(gap.to))},
                                                    {"missing", std::to_string(gap.missing)}});
  }
  return "[" + json + "]";
}

std::string DaysJson(const Capture& capture) {
  std::string json;
  for (const Share& day : capture.Days()) {
    json += (json.empty() ? "" : ",") + JsonObject({{"from", JsonText(day.from)},
                                                    {"to", JsonText(day.to)},
                                                    {"present", std::to_string(day.present)},
                                                    {"missing", std::to_string(day.missing)}});
  }
  return "[" + json + "]";
}

}  // namespace

std::string HoldsText(const std::string& file, const Outcome& outcome) {
  const std::string records = RecordsText(outcome.records);
  const std::string until = (outcome.oldest.empty() ? "" : " from " + Visible(outcome.oldest)) +
                            (outcome.newest.empty() ? "" : " up to " + Visible(outcome.newest));
  std::string text =
      file + " holds " +
      (outcome.whole && outcome.rejected == 0 ? "all " + records + " of the instrument" : records) +
      until +
      (outcome.older > 0 ? ", and " + Grouped(outcome.older) + " that it no longer has" : "") +
      ".\n";
  for (const Part& part : outcome.parts) text += PartText(part);
  if (!outcome.unreached.empty()) {
    text += "  Its oldest record is of " + Visible(outcome.unreached) +
            ": what is earlier than the year 1 the gateway does not send.\n";
  } else if (!outcome.whole && outcome.parts.empty()) {
    text +=
        "  The instrument counts others, and no record tells where: the line changes bytes, "
        "records come and go, or the clock was set back and the database orders them otherwise "
        "than by their time stamps.\n";
  }
  if (outcome.unclear > 0) {
    text += RecordsText(outcome.unclear) +
            " with more commas than there are fields: which text has them is not known, so they "
            "stand as they came.\n";
  }
  return text;
}

std::string OutcomeText(const std::string& file, const Outcome& outcome, bool gaps) {
  return HoldsText(file, outcome) + CaptureText(outcome.capture, gaps);
}

std::string OutcomeJson(const std::string& command, const std::string& file, const Outcome& outcome,
                        bool gaps) {
  const Share share = outcome.capture.All();
  std::vector<std::pair<std::string, std::string>> members = {
      {"command", JsonText(command)},
      {"file", JsonText(file)},
      {"whole", outcome.whole && outcome.rejected == 0 ? "true" : "false"},
      {"records", std::to_string(outcome.records)},
      {"older", std::to_string(outcome.older)},
      {"rejected", std::to_string(outcome.rejected)},
      {"unclear", std::to_string(outcome.unclear)},
      {"newest", JsonText(outcome.newest)},
      {"parts", PartsJson(outcome.parts)},
      {"interval", std::to_string(static_cast<double>(outcome.capture.Interval()) / 1000)},
      {"missing", std::to_string(share.missing)}};
  if (gaps) {
    members.emplace_back("gaps", GapsJson(outcome.capture));
    members.emplace_back("days", DaysJson(outcome.capture));
  }
  return JsonObject(members) + "\n";
}

void RequireWhole(const std::string& file, const Outcome& outcome) {
  if (!outcome.whole) {
    throw Failure(kNotWhole, file + " does not hold what the instrument holds.");
  }
  if (outcome.rejected == 0) return;
  throw Failure(kBroken, RecordsText(outcome.rejected) + " of the instrument cannot be " +
                             (outcome.rejected == 1 ? "one" : "such") + " in a file" +
                             (file == "-" ? ": download into one, and what came is kept beside it."
                                          : ": " + file + ".rejected keeps what came."));
}

Progress::Progress() : terminal_(isatty(2) == 1) {}

/// What ends a download early is told on a line of its own.
Progress::~Progress() {
  if (open_) std::fputs("\n", stderr);
}

void Progress::Begins(const std::string& goal) { goal_ = goal; }

void Progress::Brought(const std::vector<Record>& records) {
  if (records.empty()) return;
  if (first_.empty()) first_ = records.front().stamp;
  last_ = records.back().stamp;
  records_ += static_cast<long>(records.size());
  for (const Record& record : records) bytes_ += record.sent.size() + 2;
  if (!terminal_) return;
  open_ = true;
  const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - start_;
  const std::string left = TimeLeft(spent.count());
  std::fprintf(stderr, "\r\x1b[K%s, up to %s%s", RecordsText(records_).c_str(), last_.c_str(),
               left.c_str());
}

/// By the time stamps, as the newest record's is known.
std::string Progress::TimeLeft(double seconds) const {
  const auto first = MomentOf(first_);
  const auto last = MomentOf(last_);
  const auto goal = MomentOf(goal_);
  if (!first || !last || !goal || *goal <= *first || *last <= *first) return "";
  const double part =
      std::min(1.0, static_cast<double>(*last - *first) / static_cast<double>(*goal - *first));
  const long left = static_cast<long>(seconds / part - seconds);
  const std::string time = left >= 7200  ? std::to_string(left / 3600) + " h"
                           : left >= 120 ? std::to_string(left / 60) + " min"
                                         : std::to_string(left) + " s";
  return ", " + std::to_string(static_cast<int>(part * 100)) + " %, " + time + " left";
}

void Progress::Proves() {
  open_ = false;
  if (terminal_) std::fputs("\r\x1b[K", stderr);
  if (records_ == 0) {
    std::fputs("nothing new\n", stderr);
    return;
  }
  const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - start_;
  std::fprintf(stderr, "%s, %s bytes, %.1f records/s, up to %s\n", RecordsText(records_).c_str(),
               Grouped(static_cast<long>(bytes_)).c_str(),
               static_cast<double>(records_) / std::max(spent.count(), 0.001), last_.c_str());
}
