#include "logger/register_numbers.h"

#include <algorithm>

#include "line/failure.h"
#include "logger/register_words.h"
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
  reply_ = listing.reply;
  names_ = listing.names;
  total_ = listing.highest;
  return names_;
}

void RegisterNumbers::Forget() {
  names_.clear();
  gaps_.clear();
  gapsKnown_ = learned_ = false;
}

int RegisterNumbers::Highest() {
  Names();
  return total_;
}

int RegisterNumbers::Position(const std::string& name) {
  const std::vector<std::size_t> places = PlacesOf(name, Names());
  return places.empty() ? 0 : static_cast<int>(places.front()) + 1;
}

int RegisterNumbers::NumberAt(std::size_t place) const {
  const int position = static_cast<int>(place) + 1;
  int number = position;
  for (const auto& [behind, leftOut] : gaps_) {
    if (position > behind) number += leftOut;
  }
  return number;
}

std::string RegisterNumbers::Name(int number) const {
  for (std::size_t place = 0; gapsKnown_ && place < names_.size(); ++place) {
    if (NumberAt(place) == number) return names_[place];
  }
  return "";
}

std::vector<Register> RegisterNumbers::All() {
  Names();
  FindGaps();
  std::vector<Register> all;
  for (std::size_t place = 0; place < names_.size(); ++place) {
    all.push_back({NumberAt(place), names_[place], names_[place]});
  }
  return all;
}

void RegisterNumbers::Learn() {
  if (learned_) return;
  learned_ = true;
  try {
    All();
  } catch (const Failure& failure) {
    if (failure.status == kNoDevice || failure.status >= kInterrupted) throw;
  }
}

std::vector<Register> RegisterNumbers::Find(const std::vector<std::string>& words) {
  std::vector<Register> found;
  for (const std::string& word : words) {
    std::pair<int, int> range;
    if (ParseNumbers(word, range)) {
      for (int number = range.first; number <= range.second; ++number) {
        const bool one = range.first == range.second;
        found.push_back({number, "", one ? word : std::to_string(number)});
      }
      continue;
    }
    const std::vector<std::size_t> places = PlacesOf(word, Names());
    if (places.empty()) {
      throw Failure(kUsage, "There is no register " + word + "; \"registers\" lists them.");
    }
    FindGaps();
    for (const std::size_t place : places) {
      const std::string& name = names_[place];
      found.push_back({NumberAt(place), "", IsPattern(word) ? name : word});
    }
  }
  for (Register& reg : found) reg.name = Name(reg.number);
  return found;
}

Register RegisterNumbers::FindOne(const std::string& word) {
  const std::vector<Register> found = Find({word});
  if (found.size() != 1) throw Failure(kUsage, "One register is wanted, not " + word + ".");
  return found.front();
}

/// The numbers have gaps of sizes that belong to the instrument type, behind positions that depend
/// on how many registers the instrument has. They are found by trying: of numbers that lie one
/// gap's size apart, one falls into the gap.
void RegisterNumbers::FindGaps() {
  if (gapsKnown_) return;
  gaps_.clear();  // An earlier try may have left some that were not certain.
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
