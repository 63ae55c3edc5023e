// The result of a statement, freed on every path.
#pragma once

#include <mysql.h>

#include <memory>

struct FreeResult {
  void operator()(MYSQL_RES* result) const { mysql_free_result(result); }
};
using QueryResult = std::unique_ptr<MYSQL_RES, FreeResult>;
