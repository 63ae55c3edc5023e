// Headings of docs/operation.md that findings lead to.
#pragma once

constexpr char kModulesPage[] = "Unknown object name";
constexpr char kAgentPage[] = "snmpget: Timeout";
constexpr char kSessionPage[] = "something horrible happened!!!";
constexpr char kRegisterPage[] = "A register has the wrong type or value";
constexpr char kListPage[] = "an empty register list";
constexpr char kConnectPage[] = "Error: Unable to open the database.";
constexpr char kSelectPage[] = "Error: select data fails.";
constexpr char kMissingPage[] = "A dependency job for qmx-gateway@";
constexpr char kNamePage[] = "The adapter is ttyUSB0 today and ttyUSB1 tomorrow.";
constexpr char kOpenPage[] = "Error: Unable to open device";
constexpr char kPortPage[] = "is in use by";
constexpr char kLinesPage[] = "More than one line.";
constexpr char kSilentPage[] = "The logger gets no reply.";
constexpr char kClockPage[] = "The clock, SF26 and time synchronisation.";
