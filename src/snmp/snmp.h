// The client of the instrument's SNMP agent: one SNMP version 1 session to "localhost", community
// "pelmar". Every request blocks until the agent answers or the library gives up (about 6 s).
// What fails is reported on standard error.
#pragma once

#include <cstddef>
#include <cstdint>

#include "snmp/response.h"
#include "snmp/snmp_value.h"

class CSNMP {
 public:
  /// Opens the session. Ends the process with exit status 2 when that fails.
  CSNMP();
  ~CSNMP();
  CSNMP(const CSNMP&) = delete;
  CSNMP& operator=(const CSNMP&) = delete;

  /// Reads one object. `name` is an object name of at most 255 characters and may be the record's
  /// own. Returns 0, or -1 with the record unchanged: the name is unknown, no answer came, the
  /// agent refused, or it answered without a value or with one of more than 255 bytes.
  int Get(const char* name, SNMPValue& value);

  /// The sets write one object, whose name has at most 255 characters, and return 0 when the agent
  /// accepted and, the text excepted, answered with the type that was set (the numbers also with
  /// the same value; for SetInteger any integer type will do); otherwise 1. Floats and doubles that
  /// are infinite or no number are set to 0.
  int SetInteger(const char* name, std::int32_t value);
  int SetString(const char* name, const char* value);
  int SetFloat(const char* name, float value);
  int SetDouble(const char* name, double value);
  int SetObjectID(const char* name, const char* value);

  /// Walks one subtree and writes a line "%d;%s;\n" (number, object name) for each of its objects
  /// to the file, opened with `mode`; objects of module QMX-REGLOG-MIB get none. `count` is
  /// advanced before each line and gives its number. Returns
  ///   0  the subtree, or all that the agent has, was walked and written,
  ///   1  no answer, one without an object, an identifier that does not increase, or the file could
  ///      not be written,
  ///   2  the agent refused,
  ///  -1  an object without a module or a name, or with a name of more than 255 characters.
  /// The lines that were written before a failure stay in the file.
  /// A subtree that is unknown ends the process with exit status 1, a file that cannot be opened
  /// with 255.
  int Walk(const char* subtree, const char* path, const char* mode);

  /// Text for a type code in messages; valid until the next call.
  static const char* TypeName(unsigned char code);

  std::int32_t count;  ///< number given to the last line of the register list

 private:
  /// What differs between the sets of the two real types.
  struct RealSet;

  /// Sends the request, which the library consumes in every outcome, and waits for the answer.
  /// Returns the library's status; the response is there when it is STAT_SUCCESS.
  int Exchange(netsnmp_pdu* request, Response& response);

  template <typename Real>
  int SetReal(const char* name, Real value, const RealSet& set);

  /// Reads the object itself and prints its value on standard output; each value advances `count`.
  void GetAndPrint(const oid* name, std::size_t length);

  netsnmp_session session;
  netsnmp_session* handle;  ///< open from construction to destruction
};
