#include "doctor/bundle.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "ak/pointer_text.h"
#include "db/column_order.h"
#include "doctor/command.h"
#include "doctor/connection.h"
#include "registers/register_map.h"

namespace {

namespace fs = std::filesystem;

/// A statement's rows, fields with tabs.
std::string Rows(Connection& connection, const std::string& statement) {
  const QueryResult result = connection.Ask(statement);
  if (!result) return connection.Reason() + "\n";
  std::string text;
  while (const MYSQL_ROW row = mysql_fetch_row(result.get())) {
    for (unsigned i = 0; i < mysql_num_fields(result.get()); ++i) {
      text += (i == 0 ? "" : "\t") + std::string(row[i] == nullptr ? "NULL" : row[i]);
    }
    text += '\n';
  }
  return text;
}

/// Ten records on either side of the pointer; the last ones without a pointer.
std::string Records(Connection& connection, const std::string& pointer) {
  const std::string side = Text("(SELECT * FROM %s", kDataTable);
  if (pointer.empty() || !StaysQuoted(pointer.c_str())) {
    return Rows(connection, side + " ORDER BY time_stamp DESC LIMIT 20)");
  }
  return Rows(connection, side + " WHERE time_stamp<='" + pointer +
                              "' ORDER BY time_stamp DESC LIMIT 10) UNION ALL " + side +
                              " WHERE time_stamp>'" + pointer +
                              "' ORDER BY time_stamp LIMIT 10) ORDER BY 1");
}

std::string Versions(Connection& connection) {
  return Run({"dpkg-query", "-W", "qmx-*", "libsnmp40*", "libmariadb3", "mariadb-server",
              "systemd"})
             .output +
         "database server\t" + Rows(connection, "SELECT VERSION()") +
         Run({"uname", "-srvm"}).output + ReadFile("/etc/os-release");
}

}  // namespace

std::string WriteBundle(const std::string& path, const Report& report, Agent& agent,
                        const Instrument& instrument, const Unit& unit) {
  char scratch[] = "/tmp/qmx-bundle.XXXXXX";
  if (mkdtemp(scratch) == nullptr) return "";
  const fs::path folder = fs::path(scratch) / "qmx-fault-report";
  fs::create_directory(folder);
  std::string contents;
  const auto add = [&](const char* name, const char* what, const std::string& text) {
    std::ofstream(folder / name) << text;
    contents += Text("  %-14s %8zu bytes  %s\n", name, text.size(), what);
  };
  add("report.txt", "what qmx-doctor found", AsText(report));
  add("report.json", "the same with its figures", AsJson(report));
  add("journal.txt", "the service's messages of the last week",
      Run({"journalctl", "-u", unit.name.empty() ? "qmx-gateway@*" : unit.name, "-o",
           "short-iso-precise", "--no-hostname", "--since=-7d", "-n", "5000", "--no-pager", "-q"})
          .output);
  add("unit.txt", "the unit and its drop-ins", Run({"systemctl", "cat", "--", unit.name}).output);
  add("register.txt", "the register list", ReadFile(kRegisterListPath));
  add("walk.txt", "every register with its value, as snmpwalk -On prints it",
      instrument.answers ? agent.Walk("cobaltRGX") : "");
  Connection connection;
  add("table.txt", "columns and indexes of the table",
      Rows(connection, Text("SHOW CREATE TABLE %s", kDataTable)));
  add("records.txt", "up to twenty records around the database pointer",
      Records(connection, instrument.pointer.value_or("")));
  add("orderNV.conf", "the column order", ReadFile(kColumnOrderPath));
  add("versions.txt", "packages, kernel, system", Versions(connection));
  const Ended packed =
      Run({"tar", "--force-local", "-C", scratch, "-czf", path, folder.filename().string()});
  std::error_code error;
  fs::remove_all(scratch, error);
  return packed.status == 0 ? contents : "";
}
