#include "line/line.h"

#include <algorithm>

#include "line/failure.h"
#include "line/serial_line.h"
#include "line/tcp_line.h"
#include "line/visible.h"

namespace {

using std::chrono::milliseconds;
using Steady = std::chrono::steady_clock;

}  // namespace

void Line::Discard(milliseconds quiet, milliseconds limit) {
  constexpr std::size_t kShown = 16;
  const auto end = Steady::now() + limit;
  std::string first;
  char byte = 0;
  while (Receive(byte, quiet)) {
    if (first.size() < kShown) first += byte;
    if (Steady::now() < end) continue;
    throw Failure(kBroken, "The line does not fall silent, it brings " + Visible(first) +
                               "...: another program talks to the gateway, a long reply still "
                               "comes, or its speed is not 9600 baud.");
  }
}

void Line::Send(const std::string& bytes) {
  if (Open()) settled_ = false;
  // The rest of a reply that nobody waited for may still be on its way.
  if (!settled_) Discard(milliseconds(100), std::chrono::seconds(5));
  settled_ = true;
  Discard(milliseconds(0), std::chrono::seconds(5));
  transcript_->Add(Direction::kToGateway, bytes);
  Write(bytes);
}

bool Line::Receive(char& byte, milliseconds wait) {
  const milliseconds begin = std::min(wait, Transcript::kPause);
  bool came = Read(byte, begin);
  if (!came && wait >= Transcript::kPause) {
    transcript_->EndLine();
    came = Read(byte, wait - begin);
  }
  if (came) transcript_->Add(Direction::kToLogger, std::string(1, byte));
  return came;
}

std::unique_ptr<Line> OpenLine(const std::string& name, std::shared_ptr<Transcript> transcript) {
  if (name.rfind(TcpLine::kPrefix, 0) == 0) {
    return std::make_unique<TcpLine>(name, std::move(transcript));
  }
  return std::make_unique<SerialLine>(name, std::move(transcript));
}
