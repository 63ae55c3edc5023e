// The control bytes of both protocols.
#pragma once

constexpr char kSTX = 0x02;  ///< start of a frame
constexpr char kETX = 0x03;  ///< end of a frame's text
constexpr char kCR = 0x0D;
constexpr char kLF = 0x0A;
