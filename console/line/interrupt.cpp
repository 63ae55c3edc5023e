#include "line/interrupt.h"

#include <iterator>

#include "line/failure.h"

namespace {

volatile std::sig_atomic_t g_noted = 0;
Interrupt::Then g_then = Interrupt::Then::kFinish;

}  // namespace

Interrupt::Interrupt(Then then) : earlier_{}, earlierThen_(g_then) {
  g_noted = 0;
  g_then = then;
  struct sigaction action {};
  action.sa_handler = [](int signal) { g_noted = signal; };
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  for (std::size_t i = 0; i < std::size(kSignals); ++i) {
    sigaction(kSignals[i], nullptr, &earlier_[i]);
    if (earlier_[i].sa_handler != SIG_IGN) sigaction(kSignals[i], &action, nullptr);
  }
}

Interrupt::~Interrupt() {
  for (std::size_t i = 0; i < std::size(kSignals); ++i) {
    sigaction(kSignals[i], &earlier_[i], nullptr);
  }
  g_then = earlierThen_;
}

int Interrupt::Noted() { return g_noted; }

void Interrupt::Check() {
  if (g_then == Then::kAbort) Stop();
}

void Interrupt::Stop() {
  if (g_noted != 0) throw Failure(kInterrupted + g_noted, "Interrupted.");
}
