#include "record_log.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>

namespace {

/// Seconds for which a server that hangs is left alone.
constexpr int kRest = 20;

enum State { kOff = 0, kLogging = 1, kUnreachable = 2 };

/// How the data table stores a register's value, or that of one that was taken away.
const char* ColumnType(const Value* value) {
  switch (value == nullptr ? ASN_OCTET_STR : value->type) {
    case ASN_OCTET_STR:
      return "VARCHAR(255)";
    case ASN_OPAQUE_FLOAT:
      return "DECIMAL(10,3)";
    case ASN_OPAQUE_DOUBLE:
      return "DOUBLE";
    default:
      return "INT UNSIGNED";
  }
}

std::string Literal(MYSQL* connection, const Value* value) {
  if (value == nullptr) return "NULL";
  if (value->type != ASN_OCTET_STR) return std::to_string(Number(*value));
  const std::string& bytes = value->bytes;
  std::string escaped(2 * bytes.size() + 1, '\0');
  escaped.resize(mysql_real_escape_string(connection, escaped.data(), bytes.data(), bytes.size()));
  return "'" + escaped + "'";
}

}  // namespace

RecordLog::RecordLog(Registers& registers, int interval, int history)
    : registers_(registers), interval_(interval), history_(history) {}

RecordLog::~RecordLog() {
  if (connection_ != nullptr) mysql_close(connection_);
}

void RecordLog::Tick() {
  if (interval_ == 0 || --untilNext_ > 0) return;
  untilNext_ = interval_;
  // A clock that is being set gives no time stamps.
  const Value* mode = registers_.Find(kOperatingMode);
  if (mode != nullptr && Number(*mode) == 5) return;
  const auto begin = std::chrono::steady_clock::now();
  const bool logged = (connection_ != nullptr || Connect()) && Insert("NOW()");
  if (Value* state = registers_.Find(kRegLogState)) {
    SetNumber(*state, logged ? kLogging : kUnreachable);
  }
  if (logged) return;
  // While a server that hangs is waited for, the agent does not answer.
  const bool hangs = std::chrono::steady_clock::now() - begin > std::chrono::seconds(1);
  if (hangs) untilNext_ = std::max(interval_, kRest);
  std::fprintf(stderr, "qmx-instrument: no record logged: %s\n", mysql_error(connection_));
  mysql_close(connection_);
  connection_ = nullptr;
}

bool RecordLog::Connect() {
  connection_ = mysql_init(nullptr);
  const unsigned seconds = 3;
  mysql_options(connection_, MYSQL_OPT_CONNECT_TIMEOUT, &seconds);
  mysql_options(connection_, MYSQL_OPT_READ_TIMEOUT, &seconds);
  mysql_options(connection_, MYSQL_OPT_WRITE_TIMEOUT, &seconds);
  return mysql_real_connect(connection_, "127.0.0.1", "root", "", nullptr, 0, nullptr, 0) !=
             nullptr &&
         Run("CREATE DATABASE IF NOT EXISTS twinex") && Run("USE twinex") && CreateTable() &&
         FillHistory();
}

bool RecordLog::CreateTable() {
  std::string columns = "time_stamp DATETIME NOT NULL";
  for (const Measured& reg : registers_.All()) {
    if (reg.column != nullptr) {
      columns += std::string(", ") + reg.column + " " + ColumnType(registers_.Find(reg.object));
    }
  }
  return Run("CREATE TABLE IF NOT EXISTS LogEntry (" + columns + ", INDEX (time_stamp))");
}

bool RecordLog::FillHistory() {
  if (!Run("SELECT 1 FROM LogEntry LIMIT 1")) return false;
  MYSQL_RES* rows = mysql_store_result(connection_);
  const bool empty = rows != nullptr && mysql_num_rows(rows) == 0;
  mysql_free_result(rows);
  if (!empty) return true;
  // All of it or none: a table that has some is taken for filled.
  if (!Run("START TRANSACTION")) return false;
  for (int i = history_; i > 0; --i) {
    if (!Insert("NOW() - INTERVAL " + std::to_string(static_cast<long>(i) * interval_) +
                " SECOND")) {
      return false;
    }
    registers_.Drift();
  }
  return Run("COMMIT");
}

bool RecordLog::Insert(const std::string& timeStamp) {
  std::string values = timeStamp;
  for (const Measured& reg : registers_.All()) {
    if (reg.column != nullptr) values += ", " + Literal(connection_, registers_.Find(reg.object));
  }
  if (!Run("INSERT INTO LogEntry VALUES (" + values + ")")) return false;
  if (Value* records = registers_.Find(kRegLogRecords)) SetNumber(*records, Number(*records) + 1);
  if (!Run("SELECT MAX(time_stamp) FROM LogEntry")) return false;
  MYSQL_RES* rows = mysql_store_result(connection_);
  if (const MYSQL_ROW row = rows == nullptr ? nullptr : mysql_fetch_row(rows)) {
    registers_.Set(kRegLogLast, Encode('s', row[0] == nullptr ? "" : row[0]));
  }
  mysql_free_result(rows);
  return true;
}

bool RecordLog::Run(const std::string& statement) {
  return mysql_query(connection_, statement.c_str()) == 0;
}
