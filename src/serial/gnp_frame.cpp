#include "serial/control_bytes.h"
#include "serial/serial_port.h"

//   ignored ... | STX | content | ETX | check characters | stored: STX content ETX c1 c2 00
//                 02              03    c1  c2
//   ignored ... | STX | content | ETX | CR               | stored: STX content ETX CR CR 00
//                 02              03    0D
//
// A further STX before the ETX restarts the frame. Behind the ETX every byte but CR is a check
// character.
int CSerialPort::ReceiveGNPFrame(char (&buffer)[kFrameBufferSize], int& length) const {
  length = 0;
  int index = 0;
  int checkCharacters = 0;
  bool started = false;
  bool ended = false;
  while (index < kFrameBufferSize) {
    if (ReadByte(portDescriptor, buffer[index]) != 0) continue;
    const char byte = buffer[index];
    if (ended) {
      const bool carriageReturn = byte == kCR;
      // The last stored byte needs room for the terminator behind it.
      const int last = carriageReturn ? index + 1 : index;
      if (last + 1 >= kFrameBufferSize) break;
      if (!carriageReturn && ++checkCharacters < 2) {
        ++index;
        continue;
      }
      buffer[last] = byte;
      buffer[last + 1] = 0;
      length = last + 1;
      return 0;
    }
    if (byte == kSTX) {
      started = true;
      index = 1;
    } else if (started) {
      ended = byte == kETX;
      ++index;
    }
  }
  buffer[kFrameBufferSize - 1] = 0;
  return -1;
}
