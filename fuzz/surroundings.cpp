#include "surroundings.h"

#include <fnmatch.h>
#include <mysql.h>
#include <sys/mman.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <optional>
#include <vector>

#include "db/column_order.h"
#include "objects.h"
#include "registers/register_map.h"

namespace {

/// One row of a result; null where SQL has NULL.
struct Row {
  std::deque<std::string> texts;
  std::vector<char*> fields;
  std::vector<unsigned long> lengths;
};

struct World {
  std::string line;
  std::string bytes;
  Objects agent;
  std::size_t lineRead = 0;
  std::size_t bytesRead = 0;
  std::jmp_buf end = {};
  std::string file = {};  // a file being read
  // The result at hand.
  std::vector<Row> rows = {};
  std::size_t rowsRead = 0;
  unsigned fields = 0;
};
std::optional<World> g_world;

const std::string kRegisterList =
    "/proc/self/fd/" + std::to_string(memfd_create("register list", 0));

std::uint8_t Byte() {
  if (g_world->bytesRead == g_world->bytes.size()) return 0;
  return static_cast<std::uint8_t>(g_world->bytes[g_world->bytesRead++]);
}

std::string Text() {
  // Mostly short, sometimes longer than every field.
  const std::size_t length = static_cast<std::size_t>(Byte()) * (Byte() > 250 ? 40 : 1);
  const std::string text = g_world->bytes.substr(g_world->bytesRead, length);
  g_world->bytesRead += text.size();
  return text;
}

// An exception would not pass the C functions in between.
[[noreturn]] void End() { std::longjmp(g_world->end, 1); }  // NOLINT(cert-err52-cpp)

Objects HonestAgent() {
  static const char* const kObjects[] = {"qmxInstrumentType.0 s Twinex",
                                         "qmxInstrumentID.0 i 1",
                                         "qmxLocationID.0 i 1",
                                         "qmxDisplayRegister.0 o .1.3.6.1",
                                         "qmxOperatingMode.0 i 1",
                                         "qmxStatusCondition.0 i 0",
                                         "qmxAKStationCode.0 i 4",
                                         "qmxAKChannelNumber.0 s K0",
                                         "qmxPRCNumber.0 i 1014015",
                                         "qmxResponseEnd.0 i 13010",
                                         "qmxAKSetTime.0 s 2007-03-15 14:30:45",
                                         "qmxCommand.0 s none",
                                         "qmxRegLogState.0 i 1",
                                         "qmxDatabasePointer.0 s 2009-06-30 14:00:00",
                                         "qmxTotalMass.0 D 412.75",
                                         "qmxFlowRate.0 F 16.67",
                                         "qmxKORVAState.0 i 1",
                                         "qmxKORVBState.0 i 1",
                                         "qmxHeaterPower.0 i 1"};
  init_snmp("fuzz");
  // Values of any type for any object.
  netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_CHECK_RANGE, 1);
  Objects agent;
  for (const std::string object : kObjects) agent.Follow("register " + object);
  return agent;
}

void AnswerStrangely(netsnmp_pdu& answer, const netsnmp_pdu& request) {
  // The library keeps values of a type in so many bytes, or in any number of them.
  static constexpr std::pair<u_char, std::size_t> kTypes[] = {{ASN_INTEGER, sizeof(long)},
                                                              {ASN_GAUGE, sizeof(long)},
                                                              {ASN_OPAQUE_FLOAT, sizeof(float)},
                                                              {ASN_OPAQUE_DOUBLE, sizeof(double)},
                                                              {ASN_OCTET_STR, 0},
                                                              {ASN_OBJECT_ID, 0},
                                                              {ASN_COUNTER, sizeof(long)},
                                                              {ASN_TIMETICKS, sizeof(long)},
                                                              {ASN_IPADDRESS, 4},
                                                              {ASN_COUNTER64, sizeof(counter64)},
                                                              {ASN_NULL, 0},
                                                              {ASN_OPAQUE, 0}};
  Identifier name = AskedFor(request);
  for (int more = Kind(request) == "next" ? Byte() % 32 : 0; more > 0; --more) {
    name.push_back(Byte());
  }
  const auto [type, size] = kTypes[Byte() % std::size(kTypes)];
  std::string value = Text();
  if (size > 0) value.resize(size);
  if (type == ASN_OBJECT_ID) {
    value.resize(std::min<std::size_t>(value.size(), MAX_OID_LEN) * sizeof(oid));
  }
  snmp_pdu_add_variable(&answer, name.data(), std::min<std::size_t>(name.size(), MAX_OID_LEN), type,
                        value.data(), value.size());
}

}  // namespace

extern "C" {

ssize_t __wrap_read(int, void* buffer, size_t) {
  if (g_world->lineRead == g_world->line.size()) End();
  *static_cast<char*>(buffer) = g_world->line[g_world->lineRead++];
  return 1;
}

int __real_open(const char* path, int flags, ...);
int __wrap_open(const char* path, int flags, ...) {
  // One for all, as an end may keep a gateway from closing its own.
  static const int line = __real_open(path, flags);
  return line;
}

int __wrap_close(int) { return 0; }
int __wrap_tcsetattr(int, int, const termios*) { return 0; }
unsigned __wrap_sleep(unsigned) { return 0; }
int __wrap_usleep(useconds_t) { return 0; }

[[noreturn]] void __real_exit(int status);
[[noreturn]] void __wrap_exit(int status) {
  if (g_world) End();
  __real_exit(status);
}

int __wrap_system(const char* command) {
  if (fnmatch("date +([0-9])?(.+([0-9]))", command, FNM_EXTMATCH) != 0) std::abort();
  return Byte() & 1;
}

FILE* __real_fopen(const char* path, const char* mode);
FILE* __wrap_fopen(const char* path, const char* mode) {
  const bool list = std::strcmp(path, kRegisterListPath) == 0;
  if (!list && std::strcmp(path, kColumnOrderPath) != 0) return __real_fopen(path, mode);
  const std::uint8_t which = *mode == 'r' ? Byte() : 0;
  if (list && which < 200) return __real_fopen(kRegisterList.c_str(), mode);
  if (which >= 240) return nullptr;
  g_world->file = Text();
  // An empty buffer would not open.
  if (g_world->file.empty()) return __real_fopen("/dev/null", "r");
  return fmemopen(g_world->file.data(), g_world->file.size(), "r");
}

netsnmp_session* __wrap_snmp_open(netsnmp_session*) {
  static netsnmp_session session;
  return &session;
}

int __wrap_snmp_synch_response(netsnmp_session*, netsnmp_pdu* request, netsnmp_pdu** response) {
  const std::uint8_t how = Byte();
  netsnmp_pdu* answer = nullptr;
  if (how < 160) {
    answer = g_world->agent.Answer(request);
  } else if (how < 240 || how >= 250) {
    answer = snmp_pdu_create(SNMP_MSG_RESPONSE);
    answer->errstat = SNMP_ERR_NOERROR;
  }
  if (how >= 160 && how < 230) AnswerStrangely(*answer, *request);
  if (how > 220 && how < 230) answer->variables->type = Byte();
  if (how >= 230 && how < 240) {
    answer->errstat = Byte() % 20;
    answer->errindex = Byte();
  }
  snmp_free_pdu(request);
  *response = answer;
  return answer != nullptr ? STAT_SUCCESS : how % 2 == 1 ? STAT_TIMEOUT : STAT_ERROR;
}

int __wrap_mysql_query(MYSQL*, const char* statement) {
  // Nothing that the database pointer has is outside of its apostrophes.
  static constexpr char kSelect[] =
      "SELECT * FROM LogEntry?( WHERE [(]time_stamp[<>]'*([!'\\\\])'[)])"
      " ORDER BY time_stamp?( ASC| DESC) LIMIT +([0-9]);\n";
  if (fnmatch(kSelect, statement, FNM_EXTMATCH) != 0 &&
      std::strcmp(statement, "SHOW columns FROM LogEntry;\n") != 0) {
    std::abort();
  }
  return Byte() > 240;
}

MYSQL_RES* __wrap_mysql_store_result(MYSQL*) {
  g_world->rows.assign(Byte() % 8, {});
  g_world->rowsRead = 0;
  g_world->fields = Byte() % 6;
  for (Row& row : g_world->rows) {
    for (unsigned field = 0; field < g_world->fields; ++field) {
      std::string& text = row.texts.emplace_back(Text());
      const bool null = text[0] == '\xFF';
      row.fields.push_back(null ? nullptr : text.data());
      row.lengths.push_back(null ? 0 : text.size());
    }
    // A result has at least one field where rows are looked at.
    row.fields.push_back(nullptr);
    row.lengths.push_back(0);
  }
  return Byte() > 240 ? nullptr : reinterpret_cast<MYSQL_RES*>(&g_world->rows);
}

unsigned __wrap_mysql_num_fields(MYSQL_RES*) { return g_world->fields; }
my_ulonglong __wrap_mysql_num_rows(MYSQL_RES*) { return g_world->rows.size(); }
void __wrap_mysql_free_result(MYSQL_RES*) { g_world->rows.clear(); }
void __wrap_mysql_data_seek(MYSQL_RES*, unsigned long long row) {
  g_world->rowsRead = static_cast<std::size_t>(row);
}

MYSQL_ROW __wrap_mysql_fetch_row(MYSQL_RES*) {
  if (g_world->rowsRead >= g_world->rows.size()) return nullptr;
  return g_world->rows[g_world->rowsRead++].fields.data();
}

unsigned long* __wrap_mysql_fetch_lengths(MYSQL_RES*) {
  return g_world->rows[g_world->rowsRead - 1].lengths.data();
}

}  // extern "C"

void WithSurroundings(const std::string& line, const std::string& bytes,
                      const std::function<void()>& served) {
  static const Objects honest = HonestAgent();
  if (truncate(kRegisterList.c_str(), 0) != 0) std::abort();
  g_world.emplace(World{line, bytes, honest});
  if (setjmp(g_world->end) == 0) served();  // NOLINT(cert-err52-cpp): as above
  g_world.reset();
}
