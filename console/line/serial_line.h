// A serial device of this machine.
#pragma once

#include "line/descriptor.h"
#include "line/line.h"
#include "port/lock.h"

class SerialLine : public Line {
 public:
  /// Opens the device with the settings of the gateway (9600 baud, 8N2, raw), for nobody else: not
  /// if another program has it locked or open.
  SerialLine(std::string device, std::shared_ptr<Transcript> transcript);

  int ToPoll() const override { return port_.Number(); }

 protected:
  bool Open() override;
  void Write(const std::string& bytes) override;
  bool Read(char& byte, std::chrono::milliseconds wait) override;

 private:
  [[noreturn]] void Lost(int error);

  std::string device_;
  PortLock lock_;
  Descriptor port_;
};
