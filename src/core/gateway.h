// The gateway: everything that the requests of the serial line work with, and the operations that
// serve them. There is one thread and one gateway, for the life of the process.
#pragma once

#include <mysql.h>

#include <cstddef>
#include <cstdint>

#include "base/text.h"
#include "db/records.h"
#include "registers/register_map.h"
#include "serial/serial_port.h"
#include "snmp/snmp.h"

/// Serial device that the next gateway opens, set from the command line.
extern char g_devicePath[kDevicePathSize];

/// Room for the text of any PRC number: up to three register numbers of three digits, more digits
/// where a value is out of range.
constexpr int kPRCTextSize = 12;

class CGateway : private CSerialPort {
 public:
  /// Opens the SNMP session and the serial device (failures end the process, with exit status 2
  /// and 255), builds the register list (BuildRegisterList), and pauses for 2 s.
  CGateway();

  /// Closes the serial device, then the SNMP session. The database connection stays open.
  ~CGateway();

  CGateway(const CGateway&) = delete;
  CGateway& operator=(const CGateway&) = delete;

  /// Connects to the database and serves requests for ever, each in the protocol that
  /// qmxRS232Mode.0 names when the gateway starts to wait for it: 0 is AK, 1 is GNP.
  [[noreturn]] void Run();

  /// Waits for one AK request and serves it.
  void HandleAKRequest();

  /// Waits for one GNP request and serves it. A request that is refused gets no reply.
  void HandleGNPRequest();

  /// Writes a value as "+dddd+ee": its first four significant digits, cut, as an integer without
  /// trailing zeros, and the power of ten that belongs to it; zero, and what is not finite, as
  /// "+0000+00". `text` has room for 9 bytes, or is null.
  static void FormatMantissaExponent(float number, char* text);

 private:
  /// Hands the AK request to the handler of its function code, or refuses an unknown code.
  void DispatchAKRequest();

  // The AK function codes. Each handler sends its own reply and returns 0 after a success reply,
  // -1 after an error reply or none. HandleLPRC can end the process as WriteRegisterList does,
  // and with exit status 255 when the register list cannot be read.
  int HandleAREG();
  int HandleEREG();
  int HandleSF();
  int HandleASTO();
  int HandleSSTO();
  int HandleLPRC(RegisterMap& map, const char* path);
  int HandleLCFG();
  int HandleLDHD();

  /// Sets the clock of the controller from qmxAKSetTime.0 and tells the instrument. Returns null,
  /// or the message of the step that failed.
  const char* SetClock();

  /// Sends one record of `fields` fields as a raw line; splits its first field in place.
  void SendRecord(char** row, unsigned fields);

  /// Sends an AK reply: the station character, the code, a blank, the status condition and the
  /// text that `fields` gives. Returns 0, or -1 with nothing sent when the reply is longer than
  /// the reply buffer.
  [[gnu::format(printf, 3, 4)]] int Reply(const char* code, const char* fields, ...);
  int Reply(const char* code);

  /// Sends an AK reply whose only field, of any length, is `line`. Returns 0.
  int ReplyWith(const char* code, const char* line);

  /// Sends the AK error reply, which ends in " SE". Returns -1, the result of a handler after it.
  int Refuse(const char* code);

  /// Whether the request has a blank at index 8, between the channel text and the arguments.
  bool HasArguments() const { return receiveBuffer[8] == ' '; }
  const char* Arguments() const { return receiveBuffer + 9; }

  /// Zeroes both buffers and the requested PRC number and pauses for 50 ms: the end of every
  /// request that was served.
  void FinishRequest();

  /// The GNP command DA: sends the complete MD frame. Returns 0, or -1 with a message when nothing
  /// could be sent.
  int HandleDA();

  /// Appends one 30-byte value block to the `used` bytes of the reply buffer. `registerNumber` is
  /// the block's three-digit register number, `block` its position from 0. With `noRegister`, or
  /// when the instrument id cannot be read, the block has the value "+0000+00" and the number 999.
  void AppendDAValue(const char* registerNumber, std::size_t& used, bool noRegister, int block);

  /// Writes the register's value as FormatMantissaExponent does, into 9 bytes; leaves `number` as
  /// it is when there is no such register, or, with a message, when it has no value that can be
  /// written so.
  void ReadDANumber(const char* registerNumber, char* number);

  /// Appends the bytes that qmxResponseEnd.0 codes as groups of three digits.
  void AppendResponseEnd(std::size_t& used);

  /// Reads a register into the value record. Returns false when the agent did not give one of the
  /// wanted type; the caller reports it.
  bool ReadRegister(const char* name);
  bool ReadInteger(const char* name);
  bool ReadText(const char* name);

  /// Instrument type number from the text in qmxInstrumentType.0: 1, 2, 4 or 5, or -1 with a
  /// message when it cannot be read or is unknown.
  int GetInstrumentType();

  /// Writes qmxPRCNumber.0 with 3, 6 or 9 digits (more when it needs them, a sign when negative).
  /// Returns 1, 2 or 3 for that width, or 0 with a message and no text when it cannot be read or
  /// when `text`, of kPRCTextSize bytes, is null.
  int GetPRCNumber(char* text);

  /// Walks the subtrees of the instrument's type into the register list file; for an unknown type
  /// the file stays as it is. Returns 0 with the highest register number in the SNMP client's
  /// count, or -1 with a message when a walk failed. Ends the process with exit status 1 when a
  /// subtree is unknown, with 255 when the file cannot be opened.
  int WriteRegisterList(const char* path);

  /// Writes the register list and loads it. Returns 0, or -1 with the map unchanged when a walk
  /// failed. Ends the process as WriteRegisterList does, and with exit status 255 when the file
  /// cannot be read.
  int BuildRegisterList(RegisterMap& map);

  /// Connects to the instrument's database: ten attempts, one second apart. Returns 0 when
  /// connected, -1 when all attempts failed, another value when the client library has no
  /// reconnection.
  int ConnectDatabase();

  /// Runs a statement. Returns its result, which the caller frees, or null when the statement
  /// failed or has no result.
  static MYSQL_RES* QueryDatabase(MYSQL& connection, const char* statement);

  // The first two fields are those of CSerialPort: the device path and the port descriptor.
  char receiveBuffer[kFrameBufferSize];  ///< request last received
  char replyBuffer[256];                 ///< reply being built
  char stationCharacter[2];      ///< first character of qmxAKStationCode.0, leads every AK reply
  char channelText[3];           ///< qmxAKChannelNumber.0, such as "K0"
  std::int32_t statusCondition;  ///< qmxStatusCondition.0, repeated by every AK reply
  CSNMP snmp;
  SNMPValue value;                       ///< last value read from the agent
  std::int32_t requestedPRCNumber;       ///< register number of an AREG or EREG request
  char sfCode[3];                        ///< two-character code of an SF request
  char databasePointer[kTimeStampSize];  ///< time stamp of the record that the logger read last
  char setTime[25];               ///< date and time for the clock, as qmxAKSetTime.0 gives them
  char tableName[256];            ///< table of the logged records
  MYSQL database;                 ///< connection to the logged records
  std::int32_t requestedRecords;  ///< records asked for by an ASTO request
  std::int32_t returnedRows;      ///< records found for it
  RegisterMap registers;
  std::int32_t currentMode;      ///< qmxRS232Mode.0 as last read: 0 AK, 1 GNP
  std::int32_t operatingStatus;  ///< GNP code of qmxOperatingMode.0 as last sent
};
