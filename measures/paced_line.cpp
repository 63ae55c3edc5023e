#include "paced_line.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>

namespace {

using Clock = std::chrono::steady_clock;

void Carry(int from, int to, const std::atomic<bool>& stop) {
  const auto perByte =
      std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(kSecondsPerByte));
  auto arrives = Clock::now();
  pollfd ready{from, POLLIN, 0};
  while (!stop) {
    // Bytes that stand in a row leave no time between them, however late this thread is.
    if (poll(&ready, 1, 0) <= 0) {
      if (poll(&ready, 1, 50) <= 0) continue;
      arrives = std::max(arrives, Clock::now());
    }
    char byte = 0;
    if (read(from, &byte, 1) != 1) continue;
    arrives += perByte;
    std::this_thread::sleep_until(arrives);
    if (write(to, &byte, 1) != 1) return;
  }
}

}  // namespace

PacedLine::PacedLine(Line& other)
    : there_([this, &other] { Carry(line_.Master(), other.Master(), stop_); }),
      back_([this, &other] { Carry(other.Master(), line_.Master(), stop_); }) {}

PacedLine::~PacedLine() {
  stop_ = true;
  there_.join();
  back_.join();
}
