#include "views/report.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <sstream>

#include "line/failure.h"
#include "line/visible.h"

std::string JsonText(const std::string& text) {
  std::string json = "\"";
  for (const char byte : text) {
    const auto code = static_cast<unsigned char>(byte);
    if (byte == '"' || byte == '\\') json += '\\';
    if (code < 0x20 || code >= 0x7F) {
      // A byte above 0x7F stands for the character with its code: the line knows no encoding.
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", code);
      json += escape;
    } else {
      json += byte;
    }
  }
  return json + "\"";
}

std::string JsonObject(const std::vector<std::pair<std::string, std::string>>& members) {
  std::string json;
  for (const auto& [name, value] : members) {
    json += (json.empty() ? "{" : ",") + JsonText(name) + ":" + value;
  }
  return json + "}";
}

std::string JsonList(const std::vector<std::string>& texts) {
  std::string json;
  for (const std::string& text : texts) json += (json.empty() ? "" : ",") + JsonText(text);
  return "[" + json + "]";
}

std::vector<std::pair<std::string, std::string>> JsonMembers(int number, const std::string& name) {
  return {{"register", std::to_string(number)}, {"name", name.empty() ? "null" : JsonText(name)}};
}

std::vector<std::string> TableLines(const std::vector<std::vector<std::string>>& rows) {
  std::vector<std::size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  std::vector<std::string> lines;
  for (const auto& row : rows) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      line += row[i] + std::string(widths[i] - row[i].size() + 2, ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    lines.push_back(line);
  }
  return lines;
}

std::string Table(const std::vector<std::vector<std::string>>& rows) {
  std::string table;
  for (const std::string& line : TableLines(rows)) table += line + "\n";
  return table;
}

void RequireOutput() {
  if (!std::cout.flush()) throw Failure(kUsage, "The output cannot be written.");
}

void Report::Show(const std::string& command, const AKReply& reply, const std::string& text,
                  const std::vector<std::pair<std::string, std::string>>& members) const {
  if (json_) {
    std::vector<std::pair<std::string, std::string>> all = {
        {"command", JsonText(command)}, {"status", std::to_string(reply.status)}};
    all.insert(all.end(), members.begin(), members.end());
    if (reply.refused) all.emplace_back("refused", "true");
    std::cout << JsonObject(all) << std::endl;
    return;
  }
  std::cout << text;
  if (reply.status != 0) std::cout << "status condition " << reply.status << "\n";
  std::cout << std::flush;
}

void Report::Show(const MDFrame& frame, const RegisterNumbers& numbers) const {
  std::string json;
  std::ostringstream text;
  for (const MDBlock& block : frame.blocks) {
    const std::string name = numbers.Name(std::atoi(block.registerNumber.c_str()));
    json +=
        (json.empty() ? "" : ",") + JsonObject({{"register", JsonText(block.registerNumber)},
                                                {"name", name.empty() ? "null" : JsonText(name)},
                                                {"value", block.Decimal()},
                                                {"component", JsonText(block.component)},
                                                {"location", JsonText(block.location)},
                                                {"operating", JsonText(block.OperatingMode())},
                                                {"errors", JsonList(block.Errors())}});
    text << (block.registerNumber == "999" ? "no register" : "register " + block.registerNumber)
         << (name.empty() ? "" : "  " + Visible(name)) << "  " << block.Decimal() << "  ("
         << block.value << ")\n"
         << "  component " << block.component << ", location " << block.location
         << ", operating status: " << block.OperatingMode() << "\n";
    for (const std::string& error : block.Errors()) text << "  " << error << "\n";
  }
  if (json_) {
    std::cout << JsonObject({{"command", JsonText("DA")},
                             {"blocks", "[" + json + "]"},
                             {"check", JsonText(frame.checkValue)},
                             {"end", JsonText(frame.responseEnd)}});
  } else {
    std::cout << text.str() << "check value " << frame.checkValue << " is right";
    if (!frame.responseEnd.empty()) std::cout << ", response end " << Visible(frame.responseEnd);
  }
  std::cout << std::endl;
}

void Report::Answer(const std::string& bytes) const {
  std::cout << (json_ ? JsonObject({{"command", JsonText("raw")}, {"answer", JsonText(bytes)}})
                      : Visible(bytes))
            << std::endl;
}

void Report::ShowRegister(const Register& asked, const AKReply& reply) const {
  auto members = JsonMembers(asked.number, asked.name);
  members.emplace_back("value", JsonText(reply.refused ? "" : reply.fields));
  Show("AREG", reply,
       asked.label + "  " + (reply.refused ? "refused" : Visible(reply.fields)) + "\n", members);
}
