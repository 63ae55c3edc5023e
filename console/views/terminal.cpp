#include "views/terminal.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <iostream>

Keys::Keys() : terminal_(tcgetattr(0, &earlier_) == 0 && tcgetpgrp(0) == getpgrp()) {
  if (!terminal_) return;
  termios keys = earlier_;
  keys.c_lflag &= static_cast<tcflag_t>(~(ICANON | ECHO));
  keys.c_cc[VMIN] = 0;
  keys.c_cc[VTIME] = 0;
  tcsetattr(0, TCSANOW, &keys);
}

Keys::~Keys() {
  if (terminal_) tcsetattr(0, TCSANOW, &earlier_);
}

bool Keys::Pressed(char key) const {
  char typed = 0;
  pollfd ready{0, POLLIN, 0};
  while (terminal_ && poll(&ready, 1, 0) > 0 && read(0, &typed, 1) == 1) {
    if (typed == key) return true;
  }
  return false;
}

void Canvas::Measure() {
  winsize window{};
  if (ioctl(1, TIOCGWINSZ, &window) != 0 || window.ws_col == 0 || window.ws_row == 0) return;
  if (drawn_ != 0 && (window.ws_col != columns_ || window.ws_row != lines_)) {
    // What was drawn has wrapped otherwise.
    std::cout << "\x1b[H\x1b[J";
    drawn_ = 0;
  }
  columns_ = window.ws_col;
  lines_ = window.ws_row;
}

void Canvas::Draw(const std::vector<std::string>& lines) {
  if (drawn_ != 0) std::cout << "\x1b[" << drawn_ << "A\r\x1b[J";
  for (const std::string& line : lines) std::cout << line << "\n";
  std::cout << std::flush;
  drawn_ = lines.size();
}
