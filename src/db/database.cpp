#include <unistd.h>

#include <cstdio>

#include "core/gateway.h"
#include "db/records.h"

int CGateway::ConnectDatabase() {
  for (int attempt = 1; attempt <= 10; ++attempt) {
    // A failed attempt makes the library forget its options: a server that came up late would be
    // lost at its first restart, and MariaDB's 3.4.10 would take no result with a column.
    if (attempt > 1) mysql_close(&database);
    mysql_init(&database);
    const char reconnect = 1;
    const int refused = mysql_options(&database, MYSQL_OPT_RECONNECT, &reconnect);
    if (refused != 0) return refused;
    if (mysql_real_connect(&database, kDatabaseHost, kDatabaseUser, kDatabasePassword,
                           kDatabaseName, 0, nullptr, 0) != nullptr) {
      return 0;
    }
    sleep(1);
  }
  std::puts("Error: Unable to open the database.");
  return -1;
}

MYSQL_RES* CGateway::QueryDatabase(MYSQL& connection, const char* statement) {
  if (mysql_query(&connection, statement) != 0) return nullptr;
  return mysql_store_result(&connection);
}
