// What another user of this machine may do.
#pragma once

#include <functional>
#include <optional>
#include <string>

/// Does something as that user, with the user's groups and these (names with blanks between them),
/// in a process of its own. Returns what it returned; nothing when there is no such user or group,
/// or when this one may not become that one.
std::optional<bool> AsUser(const std::string& user, const std::string& groups,
                           const std::function<bool()>& something);
