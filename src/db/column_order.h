// The columns that a data logger wants, and their order.
#pragma once

/// Column order file; its first line is a comma-separated list of columns of the data table.
constexpr char kColumnOrderPath[] = "/usr/share/snmp/orderNV.conf";

/// Room for that line, with its line end when it has one.
constexpr int kColumnOrderSize = 2048;

/// Reads the first line of the column order file, at most 2047 characters. Returns false when the
/// file is missing, unreadable or empty, or when the line is shorter than two characters.
bool ReadColumnOrder(char (&line)[kColumnOrderSize]);
