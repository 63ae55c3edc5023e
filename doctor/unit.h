// The service unit of a line.
#pragma once

#include <string>
#include <vector>

struct Unit {
  std::string name;    ///< such as "qmx-gateway@ttyS0.service"; empty when there is none
  std::string device;  ///< such as "/dev/ttyS0"; empty without a name
  bool enabled = false;
  std::string properties;  ///< as systemctl show prints them; empty without systemd

  /// One property's value, or an empty text.
  std::string Property(const std::string& property) const;

  /// Its user; that of the package where systemd does not tell.
  std::string User() const;

  /// The command that restarts it, or all lines without a name.
  std::string Restart() const;
};

/// Units that are enabled or known to systemd.
std::vector<Unit> FindUnits();

/// The one that serves the device under any of its names, or one without a name.
Unit UnitOf(const std::string& device, const std::vector<Unit>& units);
