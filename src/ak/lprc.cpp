#include <cstdio>
#include <cstdlib>

#include "core/gateway.h"
#include "serial/control_bytes.h"

// LPRC builds the register list anew and lists the names of its registers.
//   request  "LPRC K0"
//   reply    "%cLPRC %d %d"  station, status condition, highest register number; behind the frame
//            the names, raw, with commas, and CR LF
//   error    "%cLPRC %d SE"
int CGateway::HandleLPRC(RegisterMap& map, const char* path) {
  if (WriteRegisterList(path) != 0) return -1;
  const int total = snmp.count;
  snmp.count = 0;
  map.clear();
  std::FILE* file = std::fopen(path, "r");
  if (file == nullptr) {
    std::perror("Unable to open lookup file.\n");
    Refuse("LPRC");
    std::exit(255);
  }
  Reply("LPRC", " %d", total);

  char listing[50000] = {};
  std::size_t used = 0;
  const auto append = [&](const char* text) {
    if (AppendText(listing, used, text)) return;
    WriteBuffer(portDescriptor, listing);
    used = 0;
    AppendText(listing, used, text);
  };
  LoadRegisterList(file, map, [&](int line, const char* name) {
    append(name);
    // Compared with the highest number, not with the number of lines: where the numbers have gaps,
    // the last name has its comma too.
    if (total > line) append(",");
  });
  WriteBuffer(portDescriptor, listing);
  WriteChar(portDescriptor, kCR);
  WriteChar(portDescriptor, kLF);
  return 0;
}
