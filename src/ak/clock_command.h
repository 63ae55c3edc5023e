// The command that sets the controller's clock.
#pragma once

/// Room for a clock command.
constexpr int kClockCommandSize = 64;

/// Makes "date MMDDhhmmYYYY.ss" (or, without seconds, "date MMDDhhmmYYYY") from a text
/// "YYYY-MM-DD hh:mm[:ss]", which is split in place. Returns false when a part is missing or when
/// a part has a byte that is no decimal digit; white space behind the last part is tolerated.
/// Nothing but digits thus comes from the text into the command.
bool MakeClockCommand(char* time, char (&command)[kClockCommandSize]);
