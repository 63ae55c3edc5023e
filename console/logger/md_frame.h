// The MD frame, the data reply of the GNP protocol.
#pragma once

#include <string>
#include <vector>

struct MDBlock {
  std::string component;       ///< component number, three digits
  std::string value;           ///< "+dddd+ee"
  int operatingStatus = 0;     ///< code of the operating mode
  unsigned errorStatus = 0;    ///< error status byte
  std::string location;        ///< location id, three digits
  std::string registerNumber;  ///< register number, three digits; "999" is none

  /// The value as a plain decimal number.
  std::string Decimal() const;

  /// What the operating status code stands for.
  std::string OperatingMode() const;

  /// For each bit of the error status that is set, the status-condition bits that may have set it.
  std::vector<std::string> Errors() const;
};

struct MDFrame {
  std::vector<MDBlock> blocks;
  std::string checkValue;   ///< two digits
  std::string responseEnd;  ///< bytes behind the check value
};

/// What the gateway says to a GNP request that it does not know.
constexpr char kUnknownCommand[] = "Unknown command.";

/// The check value of a GNP frame from its STX to its ETX.
std::string CheckValueOf(const std::string& frame);

/// Takes the text between STX and ETX apart. Throws Failure(kBroken).
std::vector<MDBlock> ParseMDText(const std::string& text);
