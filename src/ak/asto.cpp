#include <cstdio>
#include <cstring>

#include "ak/pointer_text.h"
#include "base/number.h"
#include "core/gateway.h"
#include "db/column_order.h"
#include "db/query_result.h"
#include "db/records.h"
#include "registers/own_registers.h"
#include "serial/control_bytes.h"

namespace {

/// Whether every record's first field can become the database pointer, which a cut time stamp
/// would set to a wrong position. Leaves the result at its first row.
bool TimeStampsFit(MYSQL_RES* result, std::size_t size) {
  bool fit = true;
  while (mysql_fetch_row(result) != nullptr) {
    fit = fit && mysql_fetch_lengths(result)[0] < size;
  }
  mysql_data_seek(result, 0);
  return fit;
}

}  // namespace

// ASTO sends the records that follow the database pointer and moves the pointer to the last one.
//   request  "ASTO K0 20"
//   reply    "%cASTO %d %d"  station, status condition, number of records; behind the frame one
//            line for each, raw: date, time and the other fields with commas, CR LF
//   none     "%cASTO %d 0"
//   error    "%cASTO %d SE"
int CGateway::HandleASTO() {
  if (!HasArguments()) return Refuse("ASTO");
  requestedRecords = 0;
  ReadNumber(Arguments(), requestedRecords);
  if (requestedRecords < 0) return Refuse("ASTO");
  if (!ReadText(kDatabasePointer)) return Refuse("ASTO");
  if (!CopyText(databasePointer, value.strValue)) {
    std::perror("Error: The database pointer is too long.\n");
    return Refuse("ASTO");
  }
  if (!StaysQuoted(databasePointer)) {
    std::perror("Error: select data fails.\n");
    return Refuse("ASTO");
  }

  char columns[kColumnOrderSize] = {};
  char statement[2048] = {};
  const bool fits =
      ReadColumnOrder(columns)
          ? FormatText(statement, kChosenColumns, columns, tableName, databasePointer,
                       requestedRecords)
          : FormatText(statement, kAllColumns, tableName, databasePointer, requestedRecords);
  if (!fits) {
    std::perror("Error: The column list is too long.\n");
    return Refuse("ASTO");
  }
  const QueryResult result(QueryDatabase(database, statement));
  if (!result) {
    std::perror("Error: select data fails.\n");
    return Refuse("ASTO");
  }
  const unsigned fields = mysql_num_fields(result.get());
  if (fields == 0) return Refuse("ASTO");
  returnedRows = static_cast<std::int32_t>(mysql_num_rows(result.get()));
  if (returnedRows == 0) return Reply("ASTO", " 0");
  if (!TimeStampsFit(result.get(), sizeof databasePointer)) {
    std::perror("Error: The time stamp is too long for the database pointer.\n");
    return Refuse("ASTO");
  }

  Reply("ASTO", " %d", returnedRows);
  for (std::int32_t i = 0; i < returnedRows; ++i) {
    const MYSQL_ROW row = mysql_fetch_row(result.get());
    if (row == nullptr) continue;
    if (i == returnedRows - 1 && row[0] != nullptr) CopyText(databasePointer, row[0]);
    SendRecord(row, fields);
  }
  if (snmp.SetString(kDatabasePointer, databasePointer) != 0) return Refuse("ASTO");
  return 0;
}

void CGateway::SendRecord(char** row, unsigned fields) {
  // NULL, and a time stamp without a time, are sent as nothing between their commas.
  const auto writeField = [this](const char* text) {
    if (WriteBuffer(portDescriptor, text) != 0) {
      std::perror("Error: write buffer to serial port failed\n");
    }
  };
  if (fields > 1) {
    char* rest = nullptr;
    const char* date = row[0] == nullptr ? nullptr : strtok_r(row[0], " ", &rest);
    writeField(date);
    WriteChar(portDescriptor, ',');
    writeField(date == nullptr ? nullptr : strtok_r(nullptr, "", &rest));
    WriteChar(portDescriptor, ',');
  }
  for (unsigned field = 1; field + 1 < fields; ++field) {
    writeField(row[field]);
    WriteChar(portDescriptor, ',');
  }
  writeField(row[fields - 1]);
  WriteChar(portDescriptor, kCR);
  WriteChar(portDescriptor, kLF);
}
