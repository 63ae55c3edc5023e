#include "surroundings.h"

#include <mysql.h>
#include <net-snmp/net-snmp-config.h>
// The library's main header asks for its configuration first.
#include <net-snmp/net-snmp-includes.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <csetjmp>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <vector>

#include "db/column_order.h"
#include "registers/register_map.h"

namespace {

constexpr int kLineDescriptor = 1000;

struct World {
  std::string line;
  std::size_t lineRead = 0;
  const std::uint8_t* bytes = nullptr;
  std::size_t left = 0;
  bool running = false;
  std::jmp_buf end;
  char* list = nullptr;  // the register list as last written
  std::size_t listSize = 0;
  std::string file;  // a file being read
  // The result at hand: rows of texts, null where SQL has NULL.
  std::vector<std::vector<std::string>> texts;
  std::vector<char*> row;
  std::vector<unsigned long> lengths;
  std::size_t rowRead = 0;
  unsigned fields = 0;
} g_world;

std::uint8_t Byte() {
  if (g_world.left == 0) return 0;
  --g_world.left;
  return *g_world.bytes++;
}

std::string Text() {
  std::string text;
  // Mostly short, sometimes longer than every field.
  const std::size_t length = static_cast<std::size_t>(Byte()) * (Byte() > 250 ? 40 : 1);
  while (text.size() < length && g_world.left > 0) text += static_cast<char>(Byte());
  return text;
}

// An exception would not pass the C functions in between.
[[noreturn]] void End() { std::longjmp(g_world.end, 1); }  // NOLINT(cert-err52-cpp)

/// What the registers hold that are asked for by name.
void AnswerHonestly(netsnmp_pdu& answer, const netsnmp_variable_list& asked) {
  static const std::map<std::string, std::pair<char, const char*>> kValues = {
      {"qmxAKStationCode.0", {'i', "4"}},
      {"qmxAKChannelNumber.0", {'s', "K0"}},
      {"qmxStatusCondition.0", {'i', "0"}},
      {"qmxInstrumentType.0", {'s', "Twinex"}},
      {"qmxDatabasePointer.0", {'s', "2009-06-30 14:00:00"}},
      {"qmxAKSetTime.0", {'s', "2007-03-15 14:30:45"}},
      {"qmxPRCNumber.0", {'i', "1002003"}},
      {"qmxResponseEnd.0", {'i', "13010"}},
      {"qmxFlowRate.0", {'F', "16.67"}},
      {"qmxTotalMass.0", {'D', "412.75"}},
      {"qmxDisplayRegister.0", {'o', ".1.3.6.1"}}};
  char name[256];
  netsnmp_ds_set_int(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_OID_OUTPUT_FORMAT,
                     NETSNMP_OID_OUTPUT_SUFFIX);
  snprint_objid(name, sizeof name, asked.name, asked.name_length);
  netsnmp_ds_set_int(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_OID_OUTPUT_FORMAT,
                     NETSNMP_OID_OUTPUT_MODULE);
  const auto known = kValues.find(name);
  const auto value = known == kValues.end() ? std::make_pair('i', "1") : known->second;
  snmp_add_var(&answer, asked.name, asked.name_length, value.first, value.second);
}

void AnswerStrangely(netsnmp_pdu& answer, const oid* name, std::size_t length) {
  static constexpr u_char kTypes[] = {
      ASN_INTEGER, ASN_GAUGE,     ASN_OPAQUE_FLOAT, ASN_OPAQUE_DOUBLE, ASN_OCTET_STR, ASN_OBJECT_ID,
      ASN_COUNTER, ASN_TIMETICKS, ASN_IPADDRESS,    ASN_COUNTER64,     ASN_NULL,      ASN_OPAQUE};
  const u_char type = kTypes[Byte() % std::size(kTypes)];
  std::string value = Text();
  switch (type) {
    case ASN_INTEGER:
    case ASN_GAUGE:
    case ASN_COUNTER:
    case ASN_TIMETICKS:
      value.resize(sizeof(long));
      break;
    case ASN_OPAQUE_FLOAT:
    case ASN_IPADDRESS:
      value.resize(4);
      break;
    case ASN_OPAQUE_DOUBLE:
      value.resize(8);
      break;
    case ASN_COUNTER64:
      value.resize(sizeof(counter64));
      break;
    case ASN_OBJECT_ID:
      value.resize(std::min<std::size_t>(value.size(), MAX_OID_LEN) * sizeof(oid));
      break;
    case ASN_NULL:
      value.clear();
      break;
    default:
      break;
  }
  snmp_pdu_add_variable(&answer, name, length, type, value.data(), value.size());
}

/// The objects that walks go through.
void AddNext(netsnmp_pdu& answer, const netsnmp_variable_list& asked) {
  static const char* const kObjects[] = {
      "qmxInstrumentType.0", "qmxDisplayRegister.0", "qmxAKSetTime.0",
      "qmxRegLogState.0",    "qmxTotalMass.0",       "qmxFlowRate.0",
      "qmxKORVAState.0",     "qmxKORVBState.0",      "qmxHeaterPower.0"};
  for (const char* object : kObjects) {
    oid name[MAX_OID_LEN];
    std::size_t length = MAX_OID_LEN;
    get_node(object, name, &length);
    if (snmp_oid_compare(name, length, asked.name, asked.name_length) <= 0) continue;
    snmp_add_var(&answer, name, length, 'i', "1");
    return;
  }
  answer.errstat = SNMP_ERR_NOSUCHNAME;
}

void CheckStatement(const char* statement) {
  const std::string text = statement;
  const bool select = text.compare(0, 7, "SELECT ") == 0;
  const bool show = text == "SHOW columns FROM LogEntry;\n";
  // Two apostrophes around the database pointer or none, and nothing that escapes one.
  const auto apostrophes = std::count(text.begin(), text.end(), '\'');
  const std::size_t pointer = text.find('\'');
  const std::size_t behind = text.rfind('\'');
  const bool plain = apostrophes == 0 || (apostrophes == 2 && text[pointer - 1] != '\\' &&
                                          behind - pointer <= 25 && text[behind - 1] != '\\');
  if (!(select || show) || (!plain && text.compare(0, 18, "SELECT time_stamp,") != 0)) std::abort();
}

}  // namespace

extern "C" {

ssize_t __real_read(int descriptor, void* buffer, size_t count);
ssize_t __wrap_read(int descriptor, void* buffer, size_t count) {
  if (descriptor != kLineDescriptor) return __real_read(descriptor, buffer, count);
  if (g_world.lineRead == g_world.line.size()) End();
  *static_cast<char*>(buffer) = g_world.line[g_world.lineRead++];
  return 1;
}

ssize_t __real_write(int descriptor, const void* buffer, size_t count);
ssize_t __wrap_write(int descriptor, const void* buffer, size_t count) {
  if (descriptor != kLineDescriptor) return __real_write(descriptor, buffer, count);
  return std::memchr(buffer, 0, count) == nullptr ? static_cast<ssize_t>(count) : 0;
}

int __real_open(const char* path, int flags, ...);
int __wrap_open(const char* path, int flags, ...) {
  std::va_list values;
  va_start(values, flags);
  const int mode = va_arg(values, int);
  va_end(values);
  return std::strcmp(path, kFuzzLine) == 0 ? kLineDescriptor : __real_open(path, flags, mode);
}

int __real_close(int descriptor);
int __wrap_close(int descriptor) {
  return descriptor == kLineDescriptor ? 0 : __real_close(descriptor);
}

int __wrap_tcgetattr(int, termios*) { return 0; }
int __wrap_tcsetattr(int, int, const termios*) { return 0; }
int __wrap_tcflush(int, int) { return 0; }
unsigned __wrap_sleep(unsigned) { return 0; }
int __wrap_usleep(useconds_t) { return 0; }

[[noreturn]] void __real_exit(int status);
[[noreturn]] void __wrap_exit(int status) {
  if (g_world.running) End();
  __real_exit(status);
}

int __wrap_system(const char* command) {
  const std::string text = command;
  const bool clock = text.compare(0, 5, "date ") == 0 && text.size() < 64 &&
                     text.find_first_not_of("0123456789.", 5) == std::string::npos &&
                     std::count(text.begin(), text.end(), '.') <= 1;
  if (!clock) std::abort();
  return Byte() & 1;
}

FILE* __real_fopen(const char* path, const char* mode);
FILE* __wrap_fopen(const char* path, const char* mode) {
  const bool list = std::strcmp(path, kRegisterListPath) == 0;
  if (!list && std::strcmp(path, kColumnOrderPath) != 0) return __real_fopen(path, mode);
  if (*mode != 'r') {
    // Appending goes on behind what an earlier walk has written.
    const std::string earlier = *mode == 'a' ? std::string(g_world.list, g_world.listSize) : "";
    std::free(g_world.list);
    FILE* file = open_memstream(&g_world.list, &g_world.listSize);
    std::fwrite(earlier.data(), 1, earlier.size(), file);
    return file;
  }
  const std::uint8_t which = Byte();
  if (list && which < 200) {
    g_world.file.assign(g_world.list, g_world.listSize);
  } else if (which < 240) {
    g_world.file = Text();
  } else {
    return nullptr;
  }
  // An empty buffer would not open.
  if (g_world.file.empty()) return __real_fopen("/dev/null", "r");
  return fmemopen(g_world.file.data(), g_world.file.size(), "r");
}

void __real_init_snmp(const char* type);
void __wrap_init_snmp(const char* type) {
  static const bool loaded = [type] {
    __real_init_snmp(type);
    // Values of any type for any object.
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_CHECK_RANGE, 1);
    return true;
  }();
  static_cast<void>(loaded);
}

netsnmp_session* __wrap_snmp_open(netsnmp_session*) {
  static netsnmp_session session;
  return &session;
}
int __wrap_snmp_close(netsnmp_session*) { return 1; }

int __wrap_snmp_synch_response(netsnmp_session*, netsnmp_pdu* request, netsnmp_pdu** response) {
  const netsnmp_variable_list& asked = *request->variables;
  netsnmp_pdu* answer = snmp_pdu_create(SNMP_MSG_RESPONSE);
  answer->errstat = SNMP_ERR_NOERROR;
  const std::uint8_t how = Byte();
  int status = STAT_SUCCESS;
  if (how < 160) {
    if (request->command == SNMP_MSG_GETNEXT) {
      AddNext(*answer, asked);
    } else if (request->command == SNMP_MSG_SET) {
      snmp_pdu_add_variable(answer, asked.name, asked.name_length, asked.type, asked.val.string,
                            asked.val_len);
    } else {
      AnswerHonestly(*answer, asked);
    }
  } else if (how < 230) {
    std::vector<oid> name(asked.name, asked.name + asked.name_length);
    for (int more = request->command == SNMP_MSG_GETNEXT ? Byte() % 32 : 0; more > 0; --more) {
      name.push_back(Byte());
    }
    AnswerStrangely(*answer, name.data(), std::min<std::size_t>(name.size(), MAX_OID_LEN));
    if (how > 220) answer->variables->type = Byte();
  } else if (how < 240) {
    answer->errstat = Byte() % 20;
    answer->errindex = Byte();
  } else if (how < 250) {
    status = how & 1 ? STAT_TIMEOUT : STAT_ERROR;
  }
  if (status != STAT_SUCCESS) {
    snmp_free_pdu(answer);
    answer = nullptr;
  }
  snmp_free_pdu(request);
  *response = answer;
  return status;
}

int __wrap_mysql_query(MYSQL*, const char* statement) {
  CheckStatement(statement);
  return Byte() > 240;
}

MYSQL_RES* __wrap_mysql_store_result(MYSQL*) {
  g_world.texts.assign(Byte() % 8, {});
  g_world.fields = Byte() % 6;
  for (auto& row : g_world.texts) {
    for (unsigned field = 0; field < g_world.fields; ++field) row.push_back(Text());
  }
  g_world.rowRead = 0;
  static char result;
  return Byte() > 240 ? nullptr : reinterpret_cast<MYSQL_RES*>(&result);
}

unsigned __wrap_mysql_num_fields(MYSQL_RES*) { return g_world.fields; }
my_ulonglong __wrap_mysql_num_rows(MYSQL_RES*) { return g_world.texts.size(); }
void __wrap_mysql_free_result(MYSQL_RES*) { g_world.texts.clear(); }
void __wrap_mysql_data_seek(MYSQL_RES*, unsigned long long row) {
  g_world.rowRead = static_cast<std::size_t>(row);
}

MYSQL_ROW __wrap_mysql_fetch_row(MYSQL_RES*) {
  if (g_world.rowRead >= g_world.texts.size()) return nullptr;
  g_world.row.clear();
  g_world.lengths.clear();
  for (std::string& text : g_world.texts[g_world.rowRead++]) {
    const bool null = !text.empty() && text[0] == '\xFF';
    g_world.row.push_back(null ? nullptr : text.data());
    g_world.lengths.push_back(null ? 0 : text.size());
  }
  // A result has at least one field where rows are looked at.
  g_world.row.push_back(nullptr);
  g_world.lengths.push_back(0);
  return g_world.row.data();
}

unsigned long* __wrap_mysql_fetch_lengths(MYSQL_RES*) { return g_world.lengths.data(); }

}  // extern "C"

void WithSurroundings(const std::string& line, const std::uint8_t* bytes, std::size_t size,
                      const std::function<void()>& served) {
  std::free(g_world.list);
  g_world.list = nullptr;
  g_world.listSize = 0;
  g_world.line = line;
  g_world.lineRead = 0;
  g_world.bytes = bytes;
  g_world.left = size;
  g_world.running = true;
  if (setjmp(g_world.end) == 0) served();  // NOLINT(cert-err52-cpp): as above
  g_world.running = false;
}
