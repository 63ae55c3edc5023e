#include <mysqld_error.h>

#include <chrono>
#include <cstring>
#include <ctime>

#include "ak/pointer_text.h"
#include "base/text.h"
#include "db/column_order.h"
#include "db/records.h"
#include "doctor/checks.h"
#include "doctor/command.h"
#include "doctor/connection.h"
#include "doctor/listener.h"
#include "doctor/pages.h"
#include "port/owner.h"
#include "registers/own_registers.h"

namespace {

constexpr double kSlowSort = 0.5;

void TellWhyNotOpen(Connection& connection, Report& report) {
  const std::string reason = ": " + connection.Reason();
  switch (connection.Error()) {
    case ER_ACCESS_DENIED_ERROR:
    case ER_ACCESS_DENIED_NO_PASSWORD_ERROR:
      if (Connection(Connection::Over::kTLS).IsOpen()) {
        report.Fault("database",
                     "root may log in over TLS only, which the gateway does not use" + reason,
                     "mysql --ssl -e 'SET GLOBAL require_secure_transport=OFF; "
                     "ALTER USER root@localhost REQUIRE NONE'",
                     kConnectPage);
        return;
      }
      report.Fault(
          "database", "root may not log in over TCP without a password" + reason,
          "mysql -e \"ALTER USER root@localhost IDENTIFIED VIA mysql_native_password USING "
          "PASSWORD('')\"",
          kConnectPage);
      return;
    case ER_BAD_DB_ERROR:
    case ER_DBACCESS_DENIED_ERROR:
      report.Fault("database", Text("there is no database \"%s\"", kDatabaseName) + reason,
                   Text("mysql -e 'CREATE DATABASE %s'", kDatabaseName), kConnectPage);
      return;
    default:
      break;
  }
  // Timed out: the kernel takes connections for a server that does not run on.
  const bool silent = connection.Error() == CR_SERVER_LOST;
  const long server = ProcessNamed({"mariadbd", "mysqld"});
  if (server == 0) {
    report.Fault("database", "no database server runs" + reason, "systemctl restart mariadb",
                 kConnectPage);
  } else if (TCPListener(3306).empty()) {
    report.Fault("database",
                 Text("the database server (process %ld) does not listen on tcp port 3306", server),
                 "grep -rE 'skip.networking|bind.address|^port' /etc/mysql", kConnectPage);
  } else if (silent) {
    report.Fault(
        "database",
        Text("the database server (process %ld) takes the connection and says nothing", server) +
            reason,
        "systemctl restart mariadb", kConnectPage);
  } else {
    report.Fault("database", "the database server does not let root in" + reason,
                 Text("mysql -h %s -u %s %s", kDatabaseHost, kDatabaseUser, kDatabaseName),
                 kConnectPage);
  }
}

std::string AlterTable(const std::string& how) {
  return Text("mysql -e 'ALTER TABLE %s.%s %s'", kDatabaseName, kDataTable, how.c_str());
}

/// Whether the table is one that records can be taken from.
bool CheckTable(Connection& connection, Report& report) {
  const QueryResult columns = connection.Ask(Text("SHOW COLUMNS FROM %s", kDataTable));
  if (connection.IsLost()) return false;
  if (!columns) {
    report.Fault("table", connection.Reason() + ": ASTO, SSTO and LDHD are refused",
                 Text("mysql -e 'SHOW TABLES' %s", kDatabaseName), kSelectPage);
    return false;
  }
  const MYSQL_ROW first = mysql_fetch_row(columns.get());
  if (std::strcmp(first[0], "time_stamp") != 0) {
    const bool elsewhere =
        !connection.AskOne(Text("SHOW COLUMNS FROM %s LIKE 'time_stamp'", kDataTable)).empty();
    report.Fault("table",
                 Text("the first column of %s is %s, not time_stamp: %s", kDataTable, first[0],
                      elsewhere ? "the pointer is set to what is no time stamp"
                                : "ASTO and SSTO are refused"),
                 AlterTable(elsewhere ? "MODIFY time_stamp DATETIME FIRST"
                                      : "ADD time_stamp DATETIME FIRST"),
                 kSelectPage);
    return false;
  }
  // A DATETIME(6) has 26 characters.
  const std::string longest =
      connection.AskOne(Text("SELECT MAX(LENGTH(time_stamp)) FROM (SELECT time_stamp FROM %s LIMIT "
                             "100) AS some",
                             kDataTable));
  if (std::atoi(longest.c_str()) >= kTimeStampSize) {
    report.Fault("table",
                 Text("time stamps have %s characters (type %s), more than %d: ASTO is refused",
                      longest.c_str(), first[1], kTimeStampSize - 1),
                 AlterTable("MODIFY time_stamp DATETIME FIRST"), kSelectPage);
    return false;
  }
  return !connection.IsLost();
}

void CheckIndex(Connection& connection, Report& report) {
  const QueryResult index = connection.Ask(
      Text("SHOW INDEX FROM %s WHERE Column_name='time_stamp' AND Seq_in_index=1", kDataTable));
  if (!index || mysql_num_rows(index.get()) > 0) return;
  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  connection.Ask(Text(kAllColumns, kDataTable, "1970-01-01", 1));
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  const std::string text =
      Text("time_stamp has no index: every ASTO sorts the whole table, %s%.2f s now",
           connection.IsLost() ? "more than " : "", seconds);
  const std::string cure = AlterTable("ADD INDEX (time_stamp)");
  if (seconds > kSlowSort) {
    report.Fault("index", text, cure, kSelectPage);
  } else {
    report.Look("index", text, cure, kSelectPage);
  }
}

/// Asks for a record just as ASTO does.
void CheckColumns(Connection& connection, const std::string& pointer, Report& report) {
  char columns[kColumnOrderSize] = {};
  char statement[kColumnOrderSize] = {};
  const bool ordered = ReadColumnOrder(columns);
  const bool fits =
      ordered ? FormatText(statement, kChosenColumns, columns, kDataTable, pointer.c_str(), 1)
              : FormatText(statement, kAllColumns, kDataTable, pointer.c_str(), 1);
  const std::string edit = Text("editor %s", kColumnOrderPath);
  if (!fits) {
    report.Fault(
        "columns",
        Text("the first line of %s is too long for a statement: ASTO is refused", kColumnOrderPath),
        edit, kSelectPage);
    return;
  }
  const QueryResult result = connection.Ask(statement);
  if (connection.IsLost()) return;
  if (result) {
    report.Ok("columns", Text("%u fields a record, %s", mysql_num_fields(result.get()),
                              ordered ? kColumnOrderPath : "all columns of the table"));
  } else {
    report.Fault("columns",
                 Text("%s (%s): ASTO is refused", connection.Reason().c_str(), kColumnOrderPath),
                 edit, kSelectPage);
  }
}

void CheckPointer(Connection& connection, const std::string& pointer, Report& report) {
  const std::string newest = connection.AskOne(Text("SELECT MAX(time_stamp) FROM %s", kDataTable));
  if (connection.IsLost()) return;
  if (newest.empty()) {
    report.Measure("records", 0);
    report.Ok("records", Text("%s is empty", kDataTable));
    return;
  }
  const std::string age =
      connection.AskOne("SELECT TIMESTAMPDIFF(SECOND, '" + newest + "', NOW())");
  report.Measure("newest_record_age_seconds", std::atof(age.c_str()));
  const bool ahead =
      !pointer.empty() && connection.AskOne("SELECT '" + pointer + "'>'" + newest + "'") == "1";
  // A table may be served well that cannot be counted in time: that costs a connection of its own.
  const auto count = [&report](const char* measure, const std::string& condition) {
    const std::string number =
        Connection().AskOne(Text("SELECT COUNT(*) FROM %s", kDataTable) + condition);
    if (number.empty()) return std::string("too many to be counted in 3 s");
    report.Measure(measure, std::atof(number.c_str()));
    return number;
  };
  std::string stands;
  if (pointer.empty()) {
    stands = "; no pointer yet, ASTO begins with the oldest";
  } else {
    stands = "; pointer " + pointer + ", " +
             count("records_behind_pointer", " WHERE time_stamp>'" + pointer + "'") + " behind it";
  }
  stands = count("records", "") + " records up to " + newest + stands;
  if (ahead) {
    report.Look("records", stands + ": nothing is sent until a newer one is logged",
                "qmx-console LINE ssto E", kSelectPage);
  } else {
    report.Ok("records", stands);
  }
}

void CheckRecords(Connection& connection, const std::string& pointer, Report& report) {
  if (!CheckTable(connection, report)) return;
  CheckIndex(connection, report);
  const bool usable =
      StaysQuoted(pointer.c_str()) &&
      (pointer.empty() || !connection.AskOne("SELECT CAST('" + pointer + "' AS DATETIME)").empty());
  if (connection.IsLost()) return;
  if (!usable) {
    report.Fault("pointer",
                 Text("%s is \"%s\", which is no time stamp: ASTO begins with the oldest record "
                      "again, or is refused",
                      kDatabasePointer, pointer.c_str()),
                 "qmx-console LINE ssto B", kSelectPage);
  }
  CheckColumns(connection, usable ? pointer : "", report);
  if (usable) CheckPointer(connection, pointer, report);
}

/// Whether the gateway that has the port got its connection: it gives up after ten attempts, and
/// for good. One that it lost it gets back with its next statement.
void CheckGateway(const std::string& device, const Unit& unit, Report& report) {
  for (const Owner& owner : PortOwners(device)) {
    if (owner.program != "qmx-gateway" || HasConnection(owner.process, 3306) != false) continue;
    const std::string said =
        Run({"journalctl", "-b", "-o", "cat", "-q", "--no-pager", "-n", "1", "-g",
             "^Error: Unable to open the database", Text("_PID=%ld", owner.process)})
            .output;
    if (said.empty()) {
      report.Look("database",
                  Describe(owner) +
                      " has no connection to it: if it gave up when it started, ASTO, SSTO and "
                      "LDHD are refused until it is restarted",
                  unit.Restart(), kConnectPage);
    } else {
      report.Fault("database",
                   Describe(owner) +
                       " gave up before the database could be reached: ASTO, SSTO and LDHD are "
                       "refused until it is restarted",
                   unit.Restart(), kConnectPage);
    }
    return;
  }
}

}  // namespace

void CheckDatabase(const Instrument& instrument, const std::string& device, const Unit& unit,
                   Report& report) {
  Connection connection;
  if (!connection.IsOpen()) {
    TellWhyNotOpen(connection, report);
    return;
  }
  report.Ok("database", Text("reached as %s at %s without a password, database \"%s\"",
                             kDatabaseUser, kDatabaseHost, kDatabaseName));
  CheckGateway(device, unit, report);
  CheckRecords(connection, instrument.pointer.value_or(""), report);
  if (connection.IsLost()) {
    report.Look("table",
                "a statement was not answered in 3 s: the table is large, locked or being altered",
                "mysql -e 'SHOW FULL PROCESSLIST'", kSelectPage);
  }
}
