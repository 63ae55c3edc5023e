// What it means that no reply came.
#pragma once

#include <string>

#include "logger/address.h"

/// A sentence for a reader: what came instead of a reply, and what that may be due to.
///   echoed  whether the request itself came back
///   heard   the bytes that came and belong to no frame
std::string WhyNoReply(bool echoed, const std::string& heard, const Address& address, bool gnp);

/// The same when the request itself came back.
extern const char kEchoed[];
