#include "serial/control_bytes.h"
#include "serial/serial_port.h"

//   ignored ... | STX | content, 0 to 255 bytes | ETX
//                 02    stored from index 0       03, stored as the terminator
//
// A further STX discards what came before it. A frame that is too long leaves the buffer full of
// its bytes, the last of them a terminator: later and shorter requests may look at what is left of
// it.
int CSerialPort::ReceiveAKFrame(char (&buffer)[kFrameBufferSize]) const {
  int index = 0;
  bool started = false;
  while (index < kFrameBufferSize) {
    if (ReadByte(portDescriptor, buffer[index]) != 0) continue;
    if (buffer[index] == kSTX) {
      started = true;
      index = 0;
    } else if (started && buffer[index] == kETX) {
      buffer[index] = 0;
      return 0;
    } else if (started) {
      ++index;
    }
  }
  buffer[kFrameBufferSize - 1] = 0;
  return -1;
}
