// What the gateway's messages mean, from its man page.
#pragma once

#include <string>

/// The man page's paragraph on this line of the journal, in one line; empty when it has none.
std::string Explanation(const std::string& message);
