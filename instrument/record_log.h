// The instrument's own logging: a record of its measured values, at an interval, into table
// "LogEntry" of database "twinex".
#pragma once

#include <mysql.h>

#include <string>

#include "registers.h"

class RecordLog {
 public:
  /// Logs a record every `interval` seconds; 0 logs none. An empty table is first filled with
  /// `history` records of that interval, the last of them dated now.
  RecordLog(Registers& registers, int interval, int history);
  ~RecordLog();
  RecordLog(const RecordLog&) = delete;
  RecordLog& operator=(const RecordLog&) = delete;

  /// To be called once a second. A database that cannot be reached is tried again with the next
  /// record, one that hangs some records later; qmxRegLogState.0 tells it.
  void Tick();

 private:
  bool Connect();
  bool CreateTable();
  bool FillHistory();
  bool Insert(const std::string& timeStamp);
  bool Run(const std::string& statement);

  Registers& registers_;
  int interval_;
  int history_;
  int untilNext_ = 0;
  MYSQL* connection_ = nullptr;
};
