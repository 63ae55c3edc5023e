#include "core/gateway.h"

// LCFG answers with the instrument type number.
//   request  "LCFG K0"
//   reply    "%cLCFG %d %d"  station, status condition, instrument type number
//   error    "%cLCFG %d SE"
int CGateway::HandleLCFG() {
  const int type = GetInstrumentType();
  if (type == -1) return Refuse("LCFG");
  return Reply("LCFG", " %d", type);
}
