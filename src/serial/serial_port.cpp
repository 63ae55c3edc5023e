#include "serial/serial_port.h"

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "serial/control_bytes.h"
#include "serial/line_settings.h"

int CSerialPort::Open() {
  portDescriptor = open(devicePath, O_RDWR | O_NOCTTY);
  if (portDescriptor < 0) {
    std::printf("Error: Unable to open device %s for input!\n", devicePath);
    std::exit(255);
  }
  termios line{};
  tcgetattr(portDescriptor, &line);
  SetLine(line);
  tcflush(portDescriptor, TCIOFLUSH);
  if (tcsetattr(portDescriptor, TCSANOW, &line) != 0) {
    std::printf("Unable to configure device %s for input!\n", devicePath);
    std::exit(255);
  }
  return 0;
}

int CSerialPort::Close() const {
  if (close(portDescriptor) != 0) {
    std::perror("Unable to close the serial port.");
    std::exit(1);
  }
  return 0;
}

int CSerialPort::WriteChar(int descriptor, char byte) {
  if (write(descriptor, &byte, 1) < 0) std::exit(255);
  return 0;
}

int CSerialPort::WriteBuffer(int descriptor, const char* text) {
  if (text == nullptr) return -1;
  if (write(descriptor, text, std::strlen(text)) < 0) std::exit(255);
  return 0;
}

int CSerialPort::ReadByte(int descriptor, char& byte) {
  using std::chrono::milliseconds, std::chrono::steady_clock;
  const auto start = steady_clock::now();
  const ssize_t count = read(descriptor, &byte, 1);
  if (count == 1) return 0;
  // A line that is gone (unplugged, or the other end of a pseudo-terminal closed) answers at once
  // and for ever. The rest of the wait keeps the receivers from burning a core on it.
  if (steady_clock::now() < start + milliseconds(50)) {
    std::this_thread::sleep_until(start + milliseconds(100));
  }
  return count == 0 ? -1 : -2;
}

int CSerialPort::SendFrame(const char* text) const { return SendTexts({text}); }

int CSerialPort::SendFrame(const char* first, const char* second) const {
  return SendTexts({first, second});
}

int CSerialPort::SendTexts(std::initializer_list<const char*> texts) const {
  WriteChar(portDescriptor, kSTX);
  for (const char* text : texts) {
    if (WriteBuffer(portDescriptor, text) != 0) {
      std::perror("Error: write buffer to serial port failed\n");
      return -1;
    }
  }
  WriteChar(portDescriptor, kETX);
  WriteChar(portDescriptor, kCR);
  WriteChar(portDescriptor, kLF);
  return 0;
}
