// How a line is named and used: options, environment and configuration.
#pragma once

#include <CLI/CLI.hpp>
#include <chrono>
#include <string>

#include "logger/address.h"
#include "settings.h"

struct Options {
  std::string device;
  std::string station = "4";
  std::string channel = "K0";
  std::string id;
  std::string protocol = "ak";
  double timeout = 10;
  bool json = false;
  bool trace = false;
  std::string record;

  Address GetAddress() const { return {station[0], channel, id}; }
  std::chrono::milliseconds Patience() const;
};

/// Adds those that can be changed while the line is in use: --station, --channel, --id, --protocol,
/// --timeout and --json.
void AddLineOptions(CLI::App& app, Options& options);

/// Their names, "--" left out.
const std::vector<std::string>& SettableNames();

/// Gives an option added above, "--" left out, a value. Throws Failure(kUsage).
void SetOption(CLI::App& app, const std::string& name, const Setting& setting);

/// Fills in what the command line has not given, from the first of these that gives it: the line of
/// the configuration whose name stands for the device, the environment (QMX_DEVICE and so on), and
/// what the configuration says for all lines. The device may stay empty. Throws Failure(kUsage).
void FillIn(CLI::App& app, const Settings& settings, Options& options);
