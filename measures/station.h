// A laboratory with a simulated instrument and the gateway, for measuring.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "lab.h"

/// Seconds that something takes.
double Seconds(const std::function<void()>& work);
double Median(std::vector<double> numbers);

/// CPU seconds and resident memory, in kB, of a process; its open descriptors.
double CpuSeconds(pid_t process);
long ResidentMemory(pid_t process);
int Descriptors(pid_t process);

/// Where the scheduler puts two processes that wake each other decides more about a figure than all
/// that is measured here. So the instrument and whoever asks it, the gateway or a bare session,
/// share the last processor, and the logger's side of the line has the first one.
class InstrumentSide {
 public:
  InstrumentSide();   ///< moves this thread, and what it starts, there
  ~InstrumentSide();  ///< and back to the logger's side
  InstrumentSide(const InstrumentSide&) = delete;
  InstrumentSide& operator=(const InstrumentSide&) = delete;
};

/// Waits until the process reads this device. Throws std::runtime_error after a minute.
void WaitUntilItReads(pid_t process, const std::string& device);

class Station {
 public:
  /// Starts the instrument (type TwinexVARO, whose numbers have no gaps, unless `options` say
  /// otherwise) and the gateway, if need be through another program.
  explicit Station(std::vector<std::string> options, std::vector<std::string> through = {});

  /// Waits until the gateway reads the line: its pause behind a request is over, and the mode read.
  void WaitForGateway() const { WaitUntilItReads(gateway_->Id(), line_.Device()); }

  /// Waits until the gateway reads the line, sends the request and receives up to `end`. Returns
  /// the seconds from the last byte sent to the last byte received.
  double Ask(const std::string& request, const std::string& end, std::string* reply = nullptr);

  /// The same for a reply of known size, which is received in as few pieces as it comes in.
  double Ask(const std::string& request, std::size_t size);

  /// Sends the request but for its last byte, and gives the other side time to take it.
  static void SendAllButOne(const Line& line, const std::string& request);

  Line& TheLine() { return line_; }
  Child& Gateway() { return *gateway_; }

 private:
  std::unique_ptr<Child> instrument_;
  Line line_;
  std::unique_ptr<Child> gateway_;
};
