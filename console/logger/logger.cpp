#include "logger/logger.h"

#include <sstream>

#include "line/visible.h"
#include "serial/control_bytes.h"

namespace {

using std::chrono::milliseconds;

/// Numbers the marks: one more each tenth of a second, so that programs one after the other use
/// different ones for minutes. None takes a new one more often, but where all are answered.
unsigned FirstMark() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<unsigned>(std::chrono::duration_cast<milliseconds>(now).count() / 100);
}

/// Whether a function does anything but answer.
bool Changes(const std::string& code) {
  return code == "EREG" || code == "SSTO" || code == "ASTO" || code.compare(0, 2, "SF") == 0;
}

/// How long records are watched for what may stand behind them: longer than an adapter keeps bytes,
/// and short, as it is waited for behind each batch of a download.
constexpr milliseconds kBehindRecords(20);

/// Replies that are passed over before another program is thought to go on asking.
constexpr int kMostPassed = 100;

/// Marks refused by another channel until that is believed: the first refusals may be those of
/// requests of another program, or the line may have changed the mark.
constexpr int kSure = 3;

Failure Another(const std::string& text) {
  return {kBroken, "The reply is for another request: " + VisibleStart(text)};
}

}  // namespace

Logger::Logger(Line& line, Address address, milliseconds patience)
    : address_(std::move(address)), wire_(line, address_, patience), attribution_(FirstMark()) {}

void Logger::SendAK(const std::string& code, const std::string& arguments) {
  // The gateway would see another request behind the first.
  if (arguments.find_first_of(std::string{kSTX, kETX, 0}) != std::string::npos) {
    throw Failure(kUsage, "A request cannot have the byte STX, ETX or NUL in it.");
  }
  wire_.SendAK((address_.station + code) + " " + address_.channel +
               (arguments.empty() ? "" : " " + arguments));
}

/// The reply to the last request. Where replies to other programs' may come they are passed over.
AKReply Logger::TakeReply(bool others) {
  std::string another;
  for (int passed = 0;; ++passed) {
    std::string text;
    try {
      text = wire_.ReceiveFrame();
    } catch (const Failure& failure) {
      if (another.empty() || !IsLoss(failure)) throw;
      throw Another(another);
    }
    if (wire_.ReceiveByte(kSTX + text) != kCR || wire_.ReceiveByte(kSTX + text) != kLF) {
      throw Failure(kBroken, "The reply does not end in CR LF: " + VisibleStart(text));
    }
    AKReply reply = ParseReply(text, address_.station);
    if (attribution_.Take(reply) == Attribution::Answers::kLatest) return reply;
    another = text;
    if (!others || passed == kMostPassed) throw Another(another);
  }
}

Logger::Passed Logger::CatchUp(const std::string& code) {
  SendAK(attribution_.Mark(), "");
  Passed passed;
  std::optional<Failure> broken;
  int refusals = 0;
  for (int frames = 0; frames <= kMostPassed; ++frames) {
    AKReply reply;
    try {
      reply = ParseReply(wire_.ReceiveFrame(), address_.station);
    } catch (const Failure& failure) {
      // Of refusals by another channel none tells whose it is; the last one is the mark's.
      if (failure.status == kNoReply && passed.mark.refused) return passed;
      if (failure.status == kNoReply && broken) throw Failure(*broken);
      if (failure.status != kBroken) throw;
      broken = failure;
      continue;
    }
    if (reply.code == code) passed.late = reply;
    if (reply.code == kUnknown) passed.mark = reply;
    if (attribution_.Take(reply) != Attribution::Answers::kLatest) continue;
    if (reply.code == kUnknown && ++refusals < kSure) {
      SendAK(attribution_.Mark(), "");
      continue;
    }
    passed.mark = reply;
    for (char byte = 0; byte != kLF && wire_.TryByte(byte, kAftermath);) continue;
    return passed;
  }
  throw Failure(kBroken,
                "Replies come that were not asked for: another program talks to the "
                "gateway.");
}

AKReply Logger::TakeLateReply(const std::string& code, const Failure& failure) {
  std::string why = failure.what();
  try {
    const Passed passed = CatchUp(code);
    if (passed.late) return *passed.late;
    why = "The gateway answers, but did not answer this. " + why;
  } catch (const Failure& again) {
    if (!IsLoss(again)) throw;
  }
  throw NotKnown(failure.status, "It is not known whether " + code + " was done. " + why);
}

AKReply Logger::Ask(const std::string& code, const std::string& arguments,
                    const std::string& repeated) {
  const bool changes = Changes(code);
  const auto doubt = attribution_.InDoubt();
  if (doubt == Attribution::Doubt::kOwn || (changes && doubt == Attribution::Doubt::kOthers)) {
    try {
      const Passed passed = CatchUp("");
      if (passed.mark.code == kUnknown) return passed.mark;
    } catch (const Failure& failure) {
      if (!IsLoss(failure)) throw;
      throw NotSent(failure.status, code + " was not sent. " + failure.what());
    }
  }
  SendAK(code, arguments);
  attribution_.Sent(code, repeated);
  try {
    AKReply reply = TakeReply(doubt == Attribution::Doubt::kOthers);
    // A refusal tells less; it may be that of a request of a program that was here before.
    if (!reply.refused || IsCaughtUp()) return reply;
  } catch (const Failure& failure) {
    // Records are not waited for.
    if (!changes || code == "ASTO" || !IsLoss(failure)) throw;
    return TakeLateReply(code, failure);
  }
  const Passed passed = CatchUp("");
  return passed.mark.code == kUnknown ? passed.mark : Ask(code, arguments, repeated);
}

AKReply Logger::ReadRegister(int number) {
  const std::string repeated = std::to_string(number);
  AKReply reply = Ask("AREG", repeated, repeated);
  if (!reply.refused) reply.fields.erase(0, repeated.size() + 1);
  return reply;
}

AKReply Logger::WriteRegister(int number, const std::string& value) {
  const std::string repeated = std::to_string(number);
  return Ask("EREG", repeated + " " + value, repeated);
}

RegisterListing Logger::ListRegisters() {
  RegisterListing listing;
  listing.reply = Ask("LPRC");
  if (listing.reply.refused) return listing;
  attribution_.Sent("LPRC");  // The listing is still to come.
  listing.highest = Count(listing.reply);
  std::istringstream names(wire_.ReceiveLine("LPRC "));
  attribution_.Done();
  for (std::string name; std::getline(names, name, ',');) listing.names.push_back(name);
  return listing;
}

Records Logger::NextRecords(long count) {
  Records records;
  records.reply = Ask("ASTO", std::to_string(count));
  if (records.reply.refused) return records;
  attribution_.Sent("ASTO");  // The records are still to come.
  const int announced = Count(records.reply);
  if (announced > count) {
    throw Failure(kBroken, "More records than were asked for: " + std::to_string(announced));
  }
  while (static_cast<long>(records.lines.size()) < announced) {
    records.lines.push_back(
        wire_.ReceiveLine("record " + std::to_string(records.lines.size() + 1) + ": "));
  }
  // A pointer that could not be moved is told only behind the records.
  char byte = 0;
  if (announced > 0 && wire_.TryByte(byte, kBehindRecords)) {
    if (byte != kSTX) {
      do records.rest += byte;
      while (records.rest.size() < kLongestText && wire_.TryByte(byte, kBehindRecords));
      return records;
    }
    const std::string behind = wire_.ReceiveText();
    if (behind.compare(0, 5, address_.station + std::string("ASTO")) != 0 ||
        !ParseReply(behind, address_.station).refused) {
      throw Failure(kBroken, "The records are followed by something else than the next reply.");
    }
    wire_.ReceiveLine(behind);
    records.pointerMoved = false;
  }
  attribution_.Done();
  return records;
}

AKReply Logger::Header() {
  AKReply reply = Ask("LDHD");
  while (!reply.fields.empty() && reply.fields.back() == kLF) reply.fields.pop_back();
  return reply;
}

/// The gateway knows DA: what it refuses is never that, but one of these.
void Logger::CatchUpInGNP() {
  wire_.SendGNP("??");
  while (wire_.ReceiveFrame() != kUnknownCommand) continue;
}

MDFrame Logger::Data() {
  if (behindInGNP_) CatchUpInGNP();
  wire_.SendGNP("DA" + address_.id);
  behindInGNP_ = true;
  std::string text;
  do text = wire_.ReceiveFrame();
  while (text == kUnknownCommand);
  MDFrame frame;
  frame.blocks = ParseMDText(text);
  const std::string covered = kSTX + text + kETX;
  frame.checkValue = wire_.ReceiveByte(covered);
  frame.checkValue += wire_.ReceiveByte(covered);
  if (frame.checkValue != CheckValueOf(covered)) {
    throw Failure(kBroken, "The check value is " + Visible(frame.checkValue) + ", it should be " +
                               CheckValueOf(covered) + ".");
  }
  for (char byte = 0; frame.responseEnd.size() < 3 && wire_.TryByte(byte, kAftermath);) {
    frame.responseEnd += byte;
  }
  behindInGNP_ = false;
  wire_.EndReply();
  return frame;
}

std::string Logger::Raw(const std::string& text, bool gnp) {
  gnp ? wire_.SendGNP(text) : wire_.SendAK(text);
  attribution_.SentUnknown();
  std::string answer(1, wire_.ReceiveByte(""));
  for (char byte = 0; answer.size() < kLongestText && wire_.TryByte(byte, milliseconds(300));) {
    answer += byte;
  }
  return answer;
}
