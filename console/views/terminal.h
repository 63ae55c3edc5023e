// The terminal that a view is shown in.
#pragma once

#include <termios.h>

#include <cstddef>
#include <string>
#include <vector>

/// While one lives, keys are read one by one and not shown, if the standard input is a terminal.
class Keys {
 public:
  Keys();
  ~Keys();
  Keys(const Keys&) = delete;
  Keys& operator=(const Keys&) = delete;

  /// Whether the key was pressed; takes the others away.
  bool Pressed(char key) const;

 private:
  termios earlier_{};
  bool terminal_;
};

/// Lines that are drawn again and again in one place of the standard output.
class Canvas {
 public:
  std::size_t Columns() const { return columns_; }
  std::size_t Lines() const { return lines_; }

  /// Asks the terminal for its size, which may change.
  void Measure();

  /// Draws over what was drawn before.
  void Draw(const std::vector<std::string>& lines);

 private:
  std::size_t columns_ = 80;
  std::size_t lines_ = 24;
  std::size_t drawn_ = 0;
};
