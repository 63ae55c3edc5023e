// What an interrupt does while a command runs.
#pragma once

#include <csignal>

/// While one lives, SIGINT, SIGTERM and SIGHUP are noted instead of ending the console; a second
/// one ends it. Signals that the console was told to ignore stay ignored.
class Interrupt {
 public:
  enum class Then {
    kFinish,  ///< the command looks at Noted() where it can stop
    kAbort    ///< the next wait for the line throws Failure
  };
  explicit Interrupt(Then then);
  ~Interrupt();
  Interrupt(const Interrupt&) = delete;
  Interrupt& operator=(const Interrupt&) = delete;

  /// The signal that was noted, or 0.
  static int Noted();

  /// Throws Failure(128 + signal) when one was noted that is to abort the command.
  static void Check();

  /// The same whatever it is to do: where a command can stop.
  static void Stop();

 private:
  static constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};
  struct sigaction earlier_[3];
  Then earlierThen_;
};
