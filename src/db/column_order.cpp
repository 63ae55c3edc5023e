#include "db/column_order.h"

#include <cstdio>
#include <cstring>

bool ReadColumnOrder(char (&line)[kColumnOrderSize]) {
  std::FILE* file = std::fopen(kColumnOrderPath, "r");
  if (file == nullptr) return false;
  const bool read = std::fgets(line, sizeof line, file) != nullptr;
  std::fclose(file);
  return read && std::strlen(line) > 1;
}
