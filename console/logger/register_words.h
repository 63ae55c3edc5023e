// How registers are named by a user.
#pragma once

#include <string>
#include <utility>
#include <vector>

/// Whether a word names registers by their numbers, "21" or "18-24"; sets the first and the last of
/// them. Throws Failure(kUsage) for numbers that no registers have.
bool ParseNumbers(const std::string& word, std::pair<int, int>& range);

/// The places in a list of names that fit a word, which may be a name in any case, without its ".0"
/// if need be, or a pattern with * and ?.
std::vector<std::size_t> PlacesOf(const std::string& word, const std::vector<std::string>& names);

/// Whether a word is a pattern, which may fit several names.
bool IsPattern(const std::string& word);

/// Whether the text holds another one, in any case.
bool Holds(const std::string& text, const std::string& part);
