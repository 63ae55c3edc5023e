// What the measures have in common: rows of the table that is printed, registers, records.
#pragma once

#include <functional>
#include <string>

#include "station.h"

/// What ends an AK reply.
constexpr char kEnd[] = "\x03\r\n";

/// Prints a row of the table: the measure, what was measured here and of the floor, their ratio,
/// and what it is to be at the most.
void Row(const char* measure, const std::string& here, const std::string& floor, double ratio,
         const char* aim);

std::string Number(double number, const char* unit, int digits = 2);
std::string Milliseconds(double seconds);

/// The request for a register.
std::string RequestFor(int number);

/// The position of a register in the list, which is its number for this type of instrument.
int RegisterNumber(Station& station, const std::string& name);

/// Writes a register over the line.
void Write(Station& station, const std::string& name, const std::string& value);

/// Seconds of something that has the instrument's processor.
double OnInstrumentSide(const std::function<void()>& work);

/// Makes the table of records anew: ten columns, a record a second from 2000 on.
void FillTable(Database& database, int records);
