#include <cstdarg>

#include "core/gateway.h"

// Every AK reply: station character, code as received, blank, status condition, then the fields,
// each behind a blank, or " SE".

int CGateway::Reply(const char* code) { return Reply(code, "%s", ""); }

int CGateway::Reply(const char* code, const char* fields, ...) {
  char text[sizeof replyBuffer];
  std::va_list values;
  va_start(values, fields);
  const bool fits = FormatText(text, sizeof text, fields, values);
  va_end(values);
  if (!fits ||
      !FormatText(replyBuffer, "%c%s %d%s", stationCharacter[0], code, statusCondition, text)) {
    return -1;
  }
  return SendFrame(replyBuffer);
}

int CGateway::ReplyWith(const char* code, const char* line) {
  FormatText(replyBuffer, "%c%s %d ", stationCharacter[0], code, statusCondition);
  return SendFrame(replyBuffer, line);
}

int CGateway::Refuse(const char* code) {
  Reply(code, " SE");
  return -1;
}
