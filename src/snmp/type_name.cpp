#include "base/text.h"
#include "snmp/snmp.h"

namespace {

struct TypeText {
  unsigned char code;
  const char* text;
};

constexpr TypeText kTypeTexts[] = {
    {0x01, "BOOLEAN"},      {0x02, "INTEGER"},       {0x03, "BIT-STR"},
    {0x04, "OCTET-STR"},    {0x05, "NULL"},          {0x06, "OBJECT-ID"},
    {0x10, "SEQUENCE"},     {0x11, "SET"},           {0x40, "IPADDRESS"},
    {0x41, "COUNTER"},      {0x42, "UNSIGNED"},      {0x43, "TIMETICKS"},
    {0x44, "OPAQUE"},       {0x45, "NSAP"},          {0x46, "COUNTER64"},
    {0x47, "UINTEGER"},     {0x48, "FLOAT"},         {0x49, "DOUBLE"},
    {0x4A, "INTEGER64"},    {0x4B, "UNSIGNED64"},    {0x76, "OPAQUE-COUNTER64"},
    {0x78, "OPAQUE-FLOAT"}, {0x79, "OPAQUE-DOUBLE"}, {0x7A, "OPAQUE_I64"},
    {0x7B, "OPAQUE_U64"},   {0xC1, "UNION"},
};

}  // namespace

const char* CSNMP::TypeName(unsigned char code) {
  for (const TypeText& type : kTypeTexts) {
    if (type.code == code) return type.text;
  }
  static char unknown[16];
  FormatText(unknown, "Unknown 0x%02x", code);
  return unknown;
}
