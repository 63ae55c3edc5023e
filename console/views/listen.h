// What others say to each other on the line.
#pragma once

#include <string>

struct Session;

struct ListenOptions {
  std::string other;   ///< a second line, for the other direction; empty is none
  double seconds = 0;  ///< 0 is until interrupted
};

/// Shows what is heard on the session's line and on the other one, frame by frame, in words and
/// bytes, with the requests that got no reply, and tells the transcript. Sends nothing. Ends with
/// the time given or an interrupt and then counts on standard error what was heard. Throws Failure.
void Listen(Session& session, const ListenOptions& options);
