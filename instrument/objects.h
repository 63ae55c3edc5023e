// The objects of an agent, and how it answers to requests for them: honestly, or as it is told.
#pragma once

#include <map>
#include <string>

#include "value.h"

/// What a request is, "get", "set" or "next", and the first object that it asks for.
std::string Kind(const netsnmp_pdu& request);
Identifier AskedFor(const netsnmp_pdu& request);

class Objects {
 public:
  using Map = std::map<Identifier, Value>;

  /// The type letters are those of snmpset(1). Throws std::runtime_error, as all that takes texts.
  void Put(const std::string& name, char type, const std::string& text);
  void Remove(const std::string& name);

  /// How requests of a kind (get, set or next) for an object, or "*" for all of them, are
  /// misanswered from now on:
  ///   silent               not at all
  ///   late MILLISECONDS    that much later, but honestly
  ///   error STATUS INDEX   with this error status and error index
  ///   empty                without a value
  ///   value TYPE VALUE     with this value in place of the object's own
  ///   as NAME              with this object's name
  void Misanswer(const std::string& kind, const std::string& name, const std::string& fault);
  void Behave() { faults_.clear(); }

  /// Does what a line says: "register NAME TYPE VALUE", "absent NAME", "fault KIND NAME FAULT" or
  /// "behave". Returns false for a line with another first word.
  bool Follow(const std::string& line);

  /// How the object that a request asks for is misanswered; nullptr where it is not.
  struct Fault {
    std::string what;  ///< first word
    long number = 0;   ///< milliseconds or error status
    long index = 0;    ///< error index
    Value value;
    Identifier name;
  };
  const Fault* FaultOf(const netsnmp_pdu& request) const;

  /// The object whose value answers a request; All().end() where there is none.
  Map::iterator Find(const netsnmp_pdu& request);

  /// The answer to a request that asks for one object, to be freed or sent by the caller; nullptr
  /// when there is to be none. Sets are obeyed. Waits where it is to be late, but not again for a
  /// request that was sent again.
  netsnmp_pdu* Answer(netsnmp_pdu* request);

  /// All objects; the map's order is that of a walk.
  Map& All() { return objects_; }

 private:
  Map objects_;
  std::map<std::pair<std::string, Identifier>, Fault> faults_;  // kind and object; none: all
  long lastLate_ = -1;                                          // identity of the request
};
