// From register number to object name.
#pragma once

#include <cstdio>
#include <functional>
#include <map>
#include <string>

/// Register number as the register list file writes it ("12") to the object name with its instance
/// suffix ("qmxRS232Mode.0").
using RegisterMap = std::map<std::string, std::string>;

/// Register list file: one line "%d;%s;\n" per register (number, object name).
constexpr char kRegisterListPath[] = "/home/qmx/register.txt";

/// Bytes of the buffer that the register list is read through; a longer line is read in pieces,
/// each of which is handled as a line of its own.
constexpr int kRegisterLineSize = 200;

/// Takes over one line of the register list: its first field is the number, its second the name.
/// A number that the map has already keeps its name. Returns the line's name, which lives in
/// `line`, or null for a line of fewer than two fields.
const char* TakeRegisterLine(char* line, RegisterMap& registers);

/// Reads the register list to its end, closes it, and calls `taken` for each line with the line's
/// number, from 1, and its name. A read that fails ends the process with exit status 255.
void LoadRegisterList(std::FILE* file, RegisterMap& registers,
                      const std::function<void(int line, const char* name)>& taken);

/// The object name stored under exactly this number text, or null.
const char* FindRegister(const RegisterMap& registers, const char* number);
