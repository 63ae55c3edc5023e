// A logged record: as the gateway sends it, "2009-06-30,14:00:00,12.5", and as a line of a file of
// comma-separated values (RFC 4180), which is the same but for texts with quotation marks or
// commas.
#pragma once

#include <string>
#include <vector>

using FieldTexts = std::vector<std::string>;

/// The fields of a record as it is sent: what stands between its commas.
FieldTexts SplitSent(const std::string& sent);

/// The fields of a line of a file. One that is not quoted as it should be is taken as it stands.
FieldTexts SplitLine(const std::string& line);

/// The line of a file that has these fields.
std::string JoinLine(const FieldTexts& fields);

/// The line of a file for a record as it was sent. A record that has more commas than the header
/// has names stays as it was sent: which field has them cannot be known, unless there is but one
/// field behind date and time.
std::string LineOf(const std::string& sent, const FieldTexts& names);

/// "2009-06-30,14:00:00,12.5" was logged at "2009-06-30 14:00:00"; date and time have no commas, so
/// this holds for sent records and for lines.
std::string TimeStamp(const std::string& record);

/// Why these are no fields of a record with these names: "no date", "no time", "fewer fields than
/// names" or "a line end in a text"; empty when they are. A record may have more fields than names,
/// from commas in its texts, and one of a table of time stamps alone is its time stamp.
std::string FlawOf(const FieldTexts& fields, const FieldTexts& names);
