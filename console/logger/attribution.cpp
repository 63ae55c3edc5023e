#include "logger/attribution.h"

#include <algorithm>
#include <string_view>

namespace {

constexpr std::string_view kCharacters =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";

/// The codes of the functions that the gateway knows begin with a digit.
constexpr std::size_t kLetters = 52;

}  // namespace

Attribution::Doubt Attribution::InDoubt() const {
  if (!open_.empty()) return Doubt::kOwn;
  return others_ ? Doubt::kOthers : Doubt::kNone;
}

std::string Attribution::Mark() {
  const unsigned number = next_++;
  std::string code = {'S', 'F', kCharacters[number / kCharacters.size() % kLetters],
                      kCharacters[number % kCharacters.size()]};
  open_.push_back({code, "", true});
  return code;
}

void Attribution::Sent(const std::string& code, const std::string& repeated) {
  open_.push_back({code, repeated, false});
}

bool Attribution::Fits(const Request& request, const AKReply& reply) {
  if (reply.code == kUnknown) return true;
  if (reply.code != request.code) return false;
  const std::string first = reply.fields.substr(0, reply.fields.find(' '));
  return reply.refused || request.repeated.empty() || request.repeated == first;
}

Attribution::Answers Attribution::Take(const AKReply& reply) {
  const auto found = std::find_if(open_.begin(), open_.end(),
                                  [&](const Request& request) { return Fits(request, reply); });
  if (found == open_.end()) return Answers::kNone;
  if (found->mark && reply.code == found->code) others_ = false;
  const bool latest = found + 1 == open_.end();
  open_.erase(open_.begin(), found + 1);
  return latest ? Answers::kLatest : Answers::kEarlier;
}
