// The shipped console against the shipped gateway and the simulated instrument.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

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

class Console : public testing::Test {
 protected:
  Ended Ask(std::vector<std::string> words) {
    words.insert(words.begin(), {Program("qmx-console"), device_});
    return RunToEnd(words);
  }

  Database database_;
  Child instrument_{{Program("qmx-instrument"), "--type", "Twinex", "--diagnostics", "40"}};
  Child cable_{
      {"socat", "pty,rawer,link=" + LabPath("logger"), "pty,rawer,link=" + LabPath("port")}};
  const bool plugged_ = WaitFor([] { return access(LabPath("port").c_str(), F_OK) == 0; });
  Child gateway_{{Program("qmx-gateway"), LabPath("port")}};
  const std::string device_ = LabPath("logger");
};
