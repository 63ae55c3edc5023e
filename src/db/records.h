// The database that the instrument logs its records into, and how they are asked for.
#pragma once

constexpr char kDatabaseHost[] = "127.0.0.1";
constexpr char kDatabaseUser[] = "root";
constexpr char kDatabasePassword[] = "";
constexpr char kDatabaseName[] = "twinex";
constexpr char kDataTable[] = "LogEntry";

/// Room for a time stamp, of at most 24 characters.
constexpr int kTimeStampSize = 25;

/// Records behind a time stamp: columns, table, time stamp, number of records.
constexpr char kChosenColumns[] =
    "SELECT time_stamp,%s FROM %s WHERE (time_stamp>'%s') ORDER BY time_stamp LIMIT %d;\n";

/// The same with all columns of the table.
constexpr char kAllColumns[] =
    "SELECT * FROM %s WHERE (time_stamp>'%s') ORDER BY time_stamp LIMIT %d;\n";
