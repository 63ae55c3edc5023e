// The RS-232 device: one byte in, bytes and texts out, the request frames of both protocols and
// the reply frame. Knows the bytes that make a frame and nothing of what stands between them.
#pragma once

#include <cstdint>
#include <initializer_list>

/// Room for the path of the device, of at most 63 characters.
constexpr int kDevicePathSize = 64;

/// Bytes of the buffer that a request frame is received into.
constexpr int kFrameBufferSize = 256;

/// The serial part of the gateway.
///
/// A serial write that fails ends the process with exit status 255: there is nobody left to answer.
class CSerialPort {
 public:
  /// Opens the device path with the fixed line settings (line_settings.h) and discards what is
  /// unread or unsent. Returns 0; a device that cannot be opened or configured is reported on
  /// standard output and ends the process with exit status 255.
  int Open();

  /// Closes the device. Returns 0; a failure ends the process with exit status 1.
  int Close() const;

  /// Writes one byte with one call. Returns 0.
  static int WriteChar(int descriptor, char byte);

  /// Writes the text, without its terminator, with one call; a short write is not completed.
  /// Returns 0, or -1 when `text` is null.
  static int WriteBuffer(int descriptor, const char* text);

  /// Reads one byte. Returns 0 with the byte stored, -1 when none came within 0.1 s, -2 when the
  /// read failed. Takes about 0.1 s whenever it brings no byte, also on a line that is gone.
  static int ReadByte(int descriptor, char& byte);

  /// Waits, without limit, for an AK request and stores its content (0 to 255 bytes, without STX
  /// and ETX) as a text. Returns 0, or -1 when 256 bytes came without an ETX.
  int ReceiveAKFrame(char (&buffer)[kFrameBufferSize]) const;

  /// Waits, without limit, for a GNP request and stores it from its STX to its check characters,
  /// terminated; a CR in place of the check characters is stored twice. `length` is the number of
  /// stored bytes. Returns 0, or -1 with the length 0 when the frame does not fit the buffer.
  int ReceiveGNPFrame(char (&buffer)[kFrameBufferSize], int& length) const;

  /// Sends STX, the text, ETX, CR, LF. Returns 0, or, behind the STX, -1 with a message when the
  /// text is null.
  int SendFrame(const char* text) const;

  /// Sends STX, both texts, ETX, CR, LF. Returns 0, or -1 with a message when a text is null; what
  /// stands before it has been sent by then.
  int SendFrame(const char* first, const char* second) const;

 protected:
  char devicePath[kDevicePathSize];  ///< serial device
  std::int32_t portDescriptor;       ///< set by Open

 private:
  int SendTexts(std::initializer_list<const char*> texts) const;
};
