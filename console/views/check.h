// Finds the instrument and judges it.
#pragma once

#include <string>

struct Session;

struct CheckOptions {
  bool newest = false;  ///< go to the newest record, and back
  std::string page;     ///< a page of all this and every register's value; empty is none
};

/// Says, a line each, what is as it should be, what is to be looked at, and what was found in place
/// of what was asked for; at the end with which options the instrument answers. Writes nothing and
/// moves nothing, unless the newest record is asked for. Throws Failure: kRefused when there is
/// something to look at, kNoReply when nothing was found.
void Check(Session& session, const CheckOptions& options);
