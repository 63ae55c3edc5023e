#include "core/gateway.h"
#include "db/column_order.h"
#include "db/query_result.h"

// LDHD names the fields of the record lines that ASTO sends.
//   request  "LDHD K0"
//   reply    "%cLDHD %d "  station, status condition, and the header line: "Date,Time," and names
//   error    "%cLDHD %d SE"
int CGateway::HandleLDHD() {
  constexpr char kDateAndTime[] = "Date,Time,";
  char line[kColumnOrderSize] = {};
  char header[50000] = {};
  std::size_t used = 0;
  if (ReadColumnOrder(line)) {
    AppendText(header, used, kDateAndTime);
    AppendText(header, used, line);
    return ReplyWith("LDHD", header);
  }

  FormatText(line, "SHOW columns FROM %s;\n", tableName);
  const QueryResult result(QueryDatabase(database, line));
  if (!result || mysql_num_fields(result.get()) == 0) return Refuse("LDHD");
  const my_ulonglong rows = mysql_num_rows(result.get());
  for (my_ulonglong i = 0; i < rows; ++i) {
    const MYSQL_ROW row = mysql_fetch_row(result.get());
    if (row == nullptr || row[0] == nullptr) continue;
    // Date and time stand for the first column, the time stamp.
    const char* name = i == 0 ? kDateAndTime : row[0];
    const char* separator = i == 0 || i + 1 == rows ? "" : ",";
    if (!AppendText(header, used, name) || !AppendText(header, used, separator)) {
      return Refuse("LDHD");
    }
  }
  return ReplyWith("LDHD", header);
}
