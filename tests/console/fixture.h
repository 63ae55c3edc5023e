// The shipped console against the shipped gateway and the simulated instrument.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <regex>
#include <string>
#include <vector>

#include "lab.h"

/// A command that has ended.
struct Ended {
  int status;
  std::string output;
  std::string errors;
};

inline Ended RunToEnd(const std::vector<std::string>& command) {
  Child child(command);
  const int status = child.Wait(60000);
  return {status, child.Output(), child.Errors()};
}

/// A trace or a recording with TIME and START in place of its times.
inline std::string Timeless(const std::string& text) {
  static const std::regex kTime(
      "(\\d{4}-\\d\\d-\\d\\dT)?\\d\\d:\\d\\d:\\d\\d[.]\\d{3}((\\d{3})?[+-]\\d{4})?");
  static const std::regex kStart("\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d[+-]\\d{4}");
  return std::regex_replace(std::regex_replace(text, kTime, "TIME"), kStart, "START");
}

/// Whether this is the text, where … stands for anything.
inline bool Fits(const std::string& text, const std::string& wanted) {
  static const std::string kAny = "…";
  std::size_t at = 0;
  std::size_t from = 0;
  for (std::size_t gap = 0; (gap = wanted.find(kAny, from)) != std::string::npos;) {
    const std::string part = wanted.substr(from, gap - from);
    const std::size_t found = from == 0 ? text.rfind(part, 0) : text.find(part, at);
    if (found == std::string::npos) return false;
    at = found + part.size();
    from = gap + kAny.size();
  }
  const std::string last = wanted.substr(from);
  if (from == 0) return text == wanted;
  return text.size() >= at + last.size() && text.rfind(last) == text.size() - last.size();
}

class Console : public testing::Test {
 protected:
  Ended Ask(std::vector<std::string> words) {
    words.insert(words.begin(), {Program("qmx-console"), device_});
    return RunToEnd(words);
  }

  static constexpr char kRegisterList[] = "/home/qmx/register.txt";

  Database database_;
  Child instrument_{{Program("qmx-instrument"), "--type", "Twinex", "--diagnostics", "40"}};
  const bool serves_ =
      WaitFor([this] { return instrument_.Output().find("udp port") != std::string::npos; });
  Child cable_{
      {"socat", "pty,rawer,link=" + LabPath("logger"), "pty,rawer,link=" + LabPath("port")}};
  const bool plugged_ = WaitFor([] { return access(LabPath("port").c_str(), F_OK) == 0; });
  const bool old_ = std::remove(kRegisterList) == 0;
  Child gateway_{{Program("qmx-gateway"), LabPath("port")}};
  // It lists the registers once it has opened the line, and forgotten what came before.
  const bool opened_ = WaitFor([] { return access(kRegisterList, F_OK) == 0; });
  const std::string device_ = LabPath("logger");
};
