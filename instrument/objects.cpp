#include "objects.h"

#include <chrono>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>

namespace {

/// What is left of a line behind the blank that follows a word.
std::string Rest(std::istringstream& words) {
  words.ignore();
  return {std::istreambuf_iterator<char>(words), {}};
}

Objects::Fault ParseFault(const std::string& text) {
  Objects::Fault fault;
  std::istringstream words(text);
  words >> fault.what;
  if (fault.what == "late") {
    words >> fault.number;
  } else if (fault.what == "error") {
    words >> fault.number >> fault.index;
  } else if (fault.what == "value") {
    char type = 0;
    words >> type;
    fault.value = Encode(type, Rest(words));
  } else if (fault.what == "as") {
    fault.name = Resolve(Rest(words));
  } else if (fault.what != "silent" && fault.what != "empty") {
    words.setstate(std::ios::failbit);
  }
  if (words.fail()) throw std::runtime_error("no such fault: " + text);
  return fault;
}

}  // namespace

std::string Kind(const netsnmp_pdu& request) {
  return request.command == SNMP_MSG_GET ? "get" : request.command == SNMP_MSG_SET ? "set" : "next";
}

Identifier AskedFor(const netsnmp_pdu& request) {
  const netsnmp_variable_list& first = *request.variables;
  return {first.name, first.name + first.name_length};
}

void Objects::Put(const std::string& name, char type, const std::string& text) {
  objects_[Resolve(name)] = Encode(type, text);
}

void Objects::Remove(const std::string& name) { objects_.erase(Resolve(name)); }

void Objects::Misanswer(const std::string& kind, const std::string& name,
                        const std::string& fault) {
  if (kind != "get" && kind != "set" && kind != "next") {
    throw std::runtime_error("a fault is one of get, set or next, not of " + kind);
  }
  faults_[{kind, name == "*" ? Identifier() : Resolve(name)}] = ParseFault(fault);
}

bool Objects::Follow(const std::string& line) {
  std::istringstream words(line);
  std::string step;
  std::string first;
  std::string second;
  words >> step;
  if (step == "behave") {
    Behave();
  } else if (step == "absent" && words >> first) {
    Remove(first);
  } else if (step == "register" && words >> first >> second) {
    Put(first, second[0], Rest(words));
  } else if (step == "fault" && words >> first >> second) {
    Misanswer(first, second, Rest(words));
  } else {
    return false;
  }
  return true;
}

const Objects::Fault* Objects::FaultOf(const netsnmp_pdu& request) const {
  const std::string kind = Kind(request);
  auto found = faults_.find({kind, AskedFor(request)});
  if (found == faults_.end()) found = faults_.find({kind, {}});
  return found == faults_.end() ? nullptr : &found->second;
}

Objects::Map::iterator Objects::Find(const netsnmp_pdu& request) {
  const Identifier asked = AskedFor(request);
  return Kind(request) == "next" ? objects_.upper_bound(asked) : objects_.find(asked);
}

netsnmp_pdu* Objects::Answer(netsnmp_pdu* request) {
  static const Fault kNone;
  const Fault* misanswer = FaultOf(*request);
  const Fault& fault = misanswer == nullptr ? kNone : *misanswer;
  if (fault.what == "silent") return nullptr;
  if (fault.what == "late" && std::exchange(lastLate_, request->reqid) != request->reqid) {
    std::this_thread::sleep_for(std::chrono::milliseconds(fault.number));
  }

  const Identifier asked = AskedFor(*request);
  const auto found = Find(*request);
  netsnmp_pdu* answer = snmp_clone_pdu(request);
  answer->command = SNMP_MSG_RESPONSE;
  answer->errstat = SNMP_ERR_NOERROR;
  const bool replaced = fault.what == "value" || fault.what == "as";
  if (fault.what == "error") {
    answer->errstat = fault.number;
    answer->errindex = fault.index;
    return answer;
  }
  if (found == objects_.end() && !replaced && fault.what != "empty") {
    answer->errstat = SNMP_ERR_NOSUCHNAME;
    answer->errindex = 1;
    return answer;
  }
  snmp_free_varbind(answer->variables);
  answer->variables = nullptr;
  if (fault.what == "empty") return answer;
  if (request->command == SNMP_MSG_SET && found != objects_.end()) {
    found->second = Copy(*request->variables);
  }
  const Identifier& name = fault.what == "as"        ? fault.name
                           : found == objects_.end() ? asked
                                                     : found->first;
  const Value& value = fault.what == "value"     ? fault.value
                       : found == objects_.end() ? kNone.value
                                                 : found->second;
  snmp_pdu_add_variable(answer, name.data(), name.size(), value.type, value.bytes.data(),
                        value.bytes.size());
  return answer;
}
