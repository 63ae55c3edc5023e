#include "measure.h"

#include <cstdio>
#include <stdexcept>

void Row(const char* measure, const std::string& here, const std::string& floor, double ratio,
         const char* aim) {
  std::printf(ratio < 0.01 ? "| %s | %s | %s | %.5f | %s |\n" : "| %s | %s | %s | %.3f | %s |\n",
              measure, here.c_str(), floor.c_str(), ratio, aim);
  std::fflush(stdout);
}

std::string Number(double number, const char* unit, int digits) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f %s", digits, number, unit);
  return text;
}

std::string Milliseconds(double seconds) { return Number(seconds * 1e3, "ms", 3); }

std::string RequestFor(int number) { return Request("4AREG K0 " + std::to_string(number)); }

int RegisterNumber(Station& station, const std::string& name) {
  station.Ask(Request("4LPRC K0"), kEnd);
  const std::string listing = station.TheLine().ReceiveUntil("\r\n");
  const std::size_t at = ("," + listing).find("," + name + ",");
  if (at == std::string::npos) throw std::runtime_error("no register " + name);
  int number = 1;
  for (std::size_t i = 0; i < at; ++i) number += listing[i] == ',' ? 1 : 0;
  return number;
}

void Write(Station& station, const std::string& name, const std::string& value) {
  const std::string number = std::to_string(RegisterNumber(station, name));
  station.Ask(Request("4EREG K0 " + number + " " + value), kEnd);
}

double OnInstrumentSide(const std::function<void()>& work) {
  const InstrumentSide side;
  return Seconds(work);
}

void FillTable(Database& database, int records) {
  database.Run("DROP TABLE IF EXISTS LogEntry");
  database.Run(
      "CREATE TABLE LogEntry (time_stamp DATETIME, a DOUBLE, b DOUBLE, c DOUBLE, d DOUBLE, e "
      "DOUBLE, "
      "f DOUBLE, g DOUBLE, h INT, i VARCHAR(20), INDEX (time_stamp))");
  database.Run(
      "INSERT INTO LogEntry SELECT '2000-01-01' + INTERVAL seq SECOND, seq / 7, seq / 11, 16.67, "
      "11.25, "
      "64.5, 1009.25, 0.5, seq % 100, 'F-2291' FROM seq_1_to_" +
      std::to_string(records));
}
