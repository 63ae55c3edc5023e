#include <cstdio>
#include <cstdlib>

#include "ak/pointer_text.h"
#include "base/number.h"
#include "core/gateway.h"
#include "db/query_result.h"
#include "registers/own_registers.h"

namespace {

constexpr char kOldest[] = "SELECT time_stamp FROM %s ORDER BY time_stamp ASC LIMIT 1;\n";
constexpr char kNewest[] = "SELECT time_stamp FROM %s ORDER BY time_stamp DESC LIMIT 1;\n";
constexpr char kForward[] =
    "SELECT time_stamp FROM %s WHERE (time_stamp>'%s') ORDER BY time_stamp ASC LIMIT %lld;\n";
constexpr char kBack[] =
    "SELECT time_stamp FROM %s WHERE (time_stamp<'%s') ORDER BY time_stamp DESC LIMIT %lld;\n";

}  // namespace

// SSTO moves the database pointer: to the oldest (B) or the newest (E) record, or by a number of
// records.
//   request  "SSTO K0 B", "SSTO K0 E", "SSTO K0 -12"
//   reply    "%cSSTO %d"  station, status condition
//   error    "%cSSTO %d SE"
int CGateway::HandleSSTO() {
  if (!HasArguments()) return Refuse("SSTO");
  if (!ReadText(kDatabasePointer)) {
    std::perror("Error: Could not get the register value.\n");
    return Refuse("SSTO");
  }
  // B and E do without the old pointer, and so lead out of one that is of no use.
  const bool pointerFits = CopyText(databasePointer, value.strValue);
  const bool pointerUsable = pointerFits && StaysQuoted(databasePointer);

  char statement[512];  // has room for every table name and every pointer
  if (*Arguments() == 'B') {
    FormatText(statement, kOldest, tableName);
  } else if (*Arguments() == 'E') {
    FormatText(statement, kNewest, tableName);
  } else if (!pointerUsable) {
    std::perror(pointerFits ? "Error: select data fails.\n"
                            : "Error: The database pointer is too long.\n");
    return Refuse("SSTO");
  } else {
    std::int32_t records = 0;
    ReadNumber(Arguments(), records);
    const long long distance = records;
    FormatText(statement, distance >= 0 ? kForward : kBack, tableName, databasePointer,
               std::abs(distance));
  }
  const QueryResult result(QueryDatabase(database, statement));
  if (!result) {
    std::perror("Error: select data fails.\n");
    return Refuse("SSTO");
  }

  // Whichever way the pointer goes, the last row is the farthest; without one it stays.
  const char* timeStamp = nullptr;
  while (const MYSQL_ROW row = mysql_fetch_row(result.get())) {
    if (row[0] != nullptr) timeStamp = row[0];
  }
  if (timeStamp != nullptr && !CopyText(databasePointer, timeStamp)) {
    std::perror("Error: The time stamp is too long for the database pointer.\n");
    return Refuse("SSTO");
  }
  if (timeStamp == nullptr && !pointerUsable) {
    std::perror("Error: No record for the database pointer.\n");
    return Refuse("SSTO");
  }
  if (snmp.SetString(kDatabasePointer, databasePointer) != 0) {
    std::perror("Error: Could not set the register value.\n");
    return Refuse("SSTO");
  }
  return Reply("SSTO");
}
