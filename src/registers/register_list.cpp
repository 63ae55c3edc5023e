#include <cstdio>
#include <cstdlib>

#include "core/gateway.h"
#include "registers/walk_plan.h"

int CGateway::WriteRegisterList(const char* path) {
  const int type = GetInstrumentType();
  snmp.count = 0;
  for (const WalkPlan& plan : kWalkPlans) {
    if (plan.instrumentType != type) continue;
    const char* mode = "w";
    for (const PlannedWalk* walk = plan.walks; walk->subtree != nullptr; ++walk) {
      snmp.count += walk->gap;
      if (snmp.Walk(walk->subtree, path, mode) != 0) {
        std::perror("Error: Unable to get register list from SNMP\n");
        return -1;
      }
      mode = "a";
    }
  }
  return 0;
}

int CGateway::BuildRegisterList(RegisterMap& map) {
  if (WriteRegisterList(kRegisterListPath) != 0) return -1;
  snmp.count = 0;
  map.clear();
  std::FILE* file = std::fopen(kRegisterListPath, "r");
  if (file == nullptr) {
    std::perror("Unable to open lookup file.\n");
    std::exit(255);
  }
  LoadRegisterList(file, map, [](int, const char*) {});
  return 0;
}
