// The database, reached as the gateway reaches it, but with an end to each wait.
#pragma once

#include <errmsg.h>
#include <mysql.h>

#include <string>

#include "db/query_result.h"
#include "db/records.h"

class Connection {
 public:
  enum class Over { kTCP, kTLS };

  explicit Connection(Over over = Over::kTCP) {
    mysql_init(&mysql_);
    const unsigned connecting = 2;
    const unsigned reading = 3;
    mysql_options(&mysql_, MYSQL_OPT_CONNECT_TIMEOUT, &connecting);
    mysql_options(&mysql_, MYSQL_OPT_READ_TIMEOUT, &reading);
    // What the library does by itself, the gateway's connection does, too.
    if (over == Over::kTLS) DemandTLS();
    open_ = mysql_real_connect(&mysql_, kDatabaseHost, kDatabaseUser, kDatabasePassword,
                               kDatabaseName, 0, nullptr, 0) != nullptr;
  }
  ~Connection() { mysql_close(&mysql_); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  bool IsOpen() const { return open_; }
  unsigned Error() { return mysql_errno(&mysql_); }
  std::string Reason() { return mysql_error(&mysql_); }

  /// Whether it ended at a statement that was not answered in time; whatever is asked then fails.
  bool IsLost() { return open_ && (Error() == CR_SERVER_LOST || Error() == CR_SERVER_GONE_ERROR); }

  /// Null when the statement fails.
  QueryResult Ask(const std::string& statement) {
    // Without a connection the reason stays what it was.
    if (!open_ || mysql_query(&mysql_, statement.c_str()) != 0) return nullptr;
    return QueryResult(mysql_store_result(&mysql_));
  }

  /// The first field of the first row; empty when there is none.
  std::string AskOne(const std::string& statement) {
    const QueryResult result = Ask(statement);
    const MYSQL_ROW row = result ? mysql_fetch_row(result.get()) : nullptr;
    return row == nullptr || row[0] == nullptr ? "" : row[0];
  }

 private:
  void DemandTLS() {
#ifdef MARIADB_PACKAGE_VERSION
    const my_bool demanded = 1;
    mysql_options(&mysql_, MYSQL_OPT_SSL_ENFORCE, &demanded);
#else
    const unsigned demanded = SSL_MODE_REQUIRED;
    mysql_options(&mysql_, MYSQL_OPT_SSL_MODE, &demanded);
#endif
  }

  MYSQL mysql_{};
  bool open_ = false;
};
