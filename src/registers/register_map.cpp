#include "registers/register_map.h"

#include <cstdlib>
#include <cstring>

const char* TakeRegisterLine(char* line, RegisterMap& registers) {
  char* rest = nullptr;
  const char* number = strtok_r(line, ";", &rest);
  const char* name = strtok_r(nullptr, ";", &rest);
  if (name == nullptr) return nullptr;
  registers.emplace(number, name);
  return name;
}

void LoadRegisterList(std::FILE* file, RegisterMap& registers,
                      const std::function<void(int line, const char* name)>& taken) {
  char text[kRegisterLineSize];
  for (int line = 1; std::fgets(text, sizeof text, file) != nullptr; ++line) {
    const char* name = TakeRegisterLine(text, registers);
    if (name != nullptr) taken(line, name);
  }
  const bool complete = std::ferror(file) == 0;
  if (!complete) std::perror("Reading failed\n");
  std::fclose(file);
  if (!complete) std::exit(255);
}

const char* FindRegister(const RegisterMap& registers, const char* number) {
  const auto found = registers.find(number);
  return found == registers.end() ? nullptr : found->second.c_str();
}
