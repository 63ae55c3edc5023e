#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/text.h"
#include "snmp/agent.h"
#include "snmp/snmp.h"

namespace {

/// Makes the library print identifiers with their module, whatever its configuration asks for, and
/// puts the configured form back.
class ModuleQualifiedNames {
 public:
  ModuleQualifiedNames()
      : configured_(netsnmp_ds_get_int(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_OID_OUTPUT_FORMAT)) {
    Use(NETSNMP_OID_OUTPUT_MODULE);
  }
  ~ModuleQualifiedNames() { Use(configured_); }
  ModuleQualifiedNames(const ModuleQualifiedNames&) = delete;
  ModuleQualifiedNames& operator=(const ModuleQualifiedNames&) = delete;

 private:
  static void Use(int format) {
    netsnmp_ds_set_int(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_OID_OUTPUT_FORMAT, format);
  }
  int configured_;
};

struct Identifier {
  oid parts[MAX_OID_LEN];
  std::size_t length = MAX_OID_LEN;
};

/// One walk in progress.
struct SubtreeWalk {
  Identifier root;
  Identifier current;
  std::FILE* file = nullptr;
  bool running = true;
  int result = 0;

  void Stop(int outcome) {
    running = false;
    result = outcome;
  }
};

bool IsException(unsigned char type) {
  return type == SNMP_NOSUCHOBJECT || type == SNMP_NOSUCHINSTANCE || type == SNMP_ENDOFMIBVIEW;
}

bool IsInside(const netsnmp_variable_list& binding, const Identifier& root) {
  return binding.name_length >= root.length &&
         std::memcmp(binding.name, root.parts, root.length * sizeof(oid)) == 0;
}

void ReportRefusal(const Response& response) {
  std::fprintf(stderr, "SNMP_ERR_NOSUCHNAME = %d\n", SNMP_ERR_NOSUCHNAME);
  std::fprintf(stderr, "errstat = %d\n", static_cast<int>(response->errstat));
  std::fprintf(stderr, "Error in packet.\nReason: %s\n", Reason(response));
  if (response->errindex == 0) return;
  std::fprintf(stderr, "Failed object: ");
  const netsnmp_variable_list* binding = response->variables;
  for (long i = 1; binding != nullptr && i != response->errindex; ++i) {
    binding = binding->next_variable;
  }
  if (binding != nullptr) fprint_objid(stderr, binding->name, binding->name_length);
  std::fprintf(stderr, "\n");
}

/// Takes over one binding of an answer: its line, and where the walk goes on. A walk that must end
/// at once has the result -1 afterwards.
void TakeBinding(const netsnmp_variable_list& binding, SubtreeWalk& walk, std::int32_t& count) {
  if (!IsInside(binding, walk.root) || IsException(binding.type)) {
    walk.running = false;
    return;
  }
  if (snmp_oid_compare(walk.current.parts, walk.current.length, binding.name,
                       binding.name_length) >= 0) {
    std::fprintf(stderr, "Error: OID not increasing: ");
    fprint_objid(stderr, walk.current.parts, walk.current.length);
    std::fprintf(stderr, " >= ");
    fprint_objid(stderr, binding.name, binding.name_length);
    std::fprintf(stderr, "\n");
    walk.Stop(1);
  }
  std::memcpy(walk.current.parts, binding.name, binding.name_length * sizeof(oid));
  walk.current.length = binding.name_length;

  char printed[4096];  // room for every identifier: one that is skipped may be of any length
  const int length = snprint_objid(printed, sizeof printed, binding.name, binding.name_length);
  char* rest = nullptr;
  const char* module = length < 0 ? nullptr : strtok_r(printed, ":", &rest);
  if (module != nullptr && std::strcmp(module, kSkippedModule) == 0) return;
  const char* label = module == nullptr ? nullptr : strtok_r(nullptr, ":", &rest);
  if (label == nullptr) {
    walk.Stop(-1);
    return;
  }
  if (length > 255) {
    std::fprintf(stderr, "Error: object name is too long: ");
    fprint_objid(stderr, binding.name, binding.name_length);
    walk.Stop(-1);
    return;
  }
  std::fprintf(walk.file, "%d;%s;\n", ++count, label);
}

}  // namespace

int CSNMP::Walk(const char* subtree, const char* path, const char* mode) {
  const ModuleQualifiedNames qualified;
  SubtreeWalk walk;
  if (snmp_parse_oid(subtree, walk.root.parts, &walk.root.length) == nullptr) {
    snmp_perror("snmp_parse_oid");
    std::exit(1);
  }
  walk.current = walk.root;
  walk.file = std::fopen(path, mode);
  if (walk.file == nullptr) {
    std::perror("Unable to open the file.\n");
    std::exit(-1);
  }

  int status = STAT_SUCCESS;
  while (walk.running) {
    netsnmp_pdu* request = snmp_pdu_create(SNMP_MSG_GETNEXT);
    snmp_add_null_var(request, walk.current.parts, walk.current.length);
    Response response;
    status = Exchange(request, response);
    if (status == STAT_TIMEOUT) {
      std::fprintf(stderr, "Timeout: No Response from %s\n", session.peername);
      walk.Stop(1);
    } else if (status != STAT_SUCCESS) {
      snmp_sess_perror("snmpwalk", handle);
      walk.Stop(1);
    } else if (response->errstat == SNMP_ERR_NOSUCHNAME) {
      walk.running = false;  // past the last object of the agent
    } else if (response->errstat != SNMP_ERR_NOERROR) {
      ReportRefusal(response);
      walk.Stop(2);
    } else if (response->variables == nullptr) {
      std::fprintf(stderr, "Error: answer without an object from %s\n", session.peername);
      walk.Stop(1);
    } else {
      for (const netsnmp_variable_list* binding = response->variables;
           binding != nullptr && walk.result >= 0; binding = binding->next_variable) {
        TakeBinding(*binding, walk, count);
      }
    }
  }

  const bool written = std::ferror(walk.file) == 0;
  // What does not fit on the disk may show no earlier than here.
  if (std::fclose(walk.file) != 0 || !written) {
    std::perror("Unable to write the file.\n");
    if (walk.result == 0) walk.result = 1;
  }
  if (walk.result >= 0 && count == 0 && status == STAT_SUCCESS) {
    GetAndPrint(walk.root.parts, walk.root.length);
  }
  return walk.result;
}

void CSNMP::GetAndPrint(const oid* name, std::size_t length) {
  netsnmp_pdu* request = snmp_pdu_create(SNMP_MSG_GET);
  snmp_add_null_var(request, name, length);
  Response response;
  if (Exchange(request, response) != STAT_SUCCESS) return;
  if (response->errstat != SNMP_ERR_NOERROR) return;
  for (const netsnmp_variable_list* binding = response->variables; binding != nullptr;
       binding = binding->next_variable) {
    ++count;
    print_variable(binding->name, binding->name_length, binding);
  }
}
