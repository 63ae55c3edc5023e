#include "logger/register_numbers.h"

#include <algorithm>
#include <cstdlib>

#include "line/failure.h"
#include "registers/walk_plan.h"

namespace {

/// The gaps of the instrument type whose numbers leave out so many, in order; empty when there is
/// none.
std::vector<int> GapsOf(int leftOut) {
  for (const WalkPlan& plan : kWalkPlans) {
    std::vector<int> gaps;
    int sum = 0;
    for (const PlannedWalk* walk = plan.walks; walk->subtree != nullptr; ++walk) {
      if (walk->gap != 0) gaps.push_back(walk->gap);
      sum += walk->gap;
    }
    if (sum == leftOut) return gaps;
  }
  return {};
}

}  // namespace

const std::vector<std::string>& RegisterNumbers::Names() {
  if (!names_.empty()) return names_;
  const RegisterListing listing = logger_.ListRegisters();
  RequireDone(listing.reply, "LPRC");
  names_ = listing.names;
  total_ = listing.highest;
  return names_;
}

void RegisterNumbers::Forget() {
  names_.clear();
  gaps_.clear();
  gapsKnown_ = false;
}

int RegisterNumbers::Position(const std::string& name) {
  const auto& names = Names();
  const auto found = std::find_if(names.begin(), names.end(), [&](const std::string& known) {
    return known == name || known == name + ".0";
  });
  return found == names.end() ? 0 : static_cast<int>(found - names.begin()) + 1;
}

int RegisterNumbers::Number(const std::string& word) {
  if (word.find_first_not_of("0123456789") == std::string::npos) {
    // No register has a number of more than nine digits.
    if (word.empty() || word.size() > 9)
      throw Failure(kUsage, "There is no register " + word + ".");
    return static_cast<int>(std::strtol(word.c_str(), nullptr, 10));
  }
  const int position = Position(word);
  if (position == 0) {
    throw Failure(kUsage, "There is no register " + word + "; \"registers\" lists them.");
  }
  FindGaps();
  int number = position;
  for (const auto& [behind, leftOut] : gaps_) {
    if (position > behind) number += leftOut;
  }
  return number;
}

/// The numbers have gaps of sizes that belong to the instrument type, behind positions that depend
/// on how many registers the instrument has. They are found by trying: of numbers that lie one
/// gap's size apart, one falls into the gap.
void RegisterNumbers::FindGaps() {
  if (gapsKnown_) return;
  const int leftOut = total_ - static_cast<int>(Names().size());
  const std::vector<int> sizes = GapsOf(leftOut);
  bool certain = (leftOut == 0 || !sizes.empty()) && Exists(total_);
  int last = 1;  // a number that a register has
  int passed = 0;
  for (const int size : sizes) {
    int missing = last + size;
    while (missing < total_ && Exists(missing)) {
      last = missing;
      missing += size;
    }
    while (missing - last > 1) {
      const int middle = (last + missing) / 2;
      (Exists(middle) ? last : missing) = middle;
    }
    gaps_[last - passed] = size;
    passed += size;
    last += size + 1;
    certain = certain && last <= total_ && !Exists(last - 1) && Exists(last);
  }
  if (!certain) {
    throw Failure(kUsage, "The numbers of the registers are not certain here: give a number.");
  }
  gapsKnown_ = true;
}
