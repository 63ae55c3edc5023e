// The one setting of the line: 9600 baud, 8 data bits, no parity, 2 stop bits, raw.
#pragma once

#include <termios.h>

/// Changes `line` to 9600 8N2 without flow control and without any translation of bytes; a read
/// returns after at most 0.1 s, with or without a byte. The line discipline and the other control
/// characters stay as they are.
inline void SetLine(termios& line) {
  line.c_cflag = B9600 | CS8 | CSTOPB | CREAD | CLOCAL;
  line.c_iflag = 0;
  line.c_oflag = 0;
  line.c_lflag = 0;
  line.c_cc[VTIME] = 1;
  line.c_cc[VMIN] = 0;
}
