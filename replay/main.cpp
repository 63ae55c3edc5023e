// Makes an exchange file of a recording, in the laboratory: the gateway itself tells which register
// has which number.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <stdexcept>

#include "exchange.h"
#include "lab.h"
#include "recording.h"
#include "responder.h"
#include "walk.h"

namespace {

struct Options {
  std::string recording;
  std::string walk;
  std::string secondWalk;
  std::vector<std::string> moves;
  std::string rows;
  std::string columns;
};

void AddOptions(CLI::App& app, Options& options) {
  app.add_option("RECORDING", options.recording, "What qmx-console --record wrote")
      ->required()
      ->check(CLI::ExistingFile);
  CLI::Option* walk = app.add_option("--walk", options.walk,
                                     "The instrument's objects, as snmpwalk -On prints them")
                          ->check(CLI::ExistingFile);
  app.add_option("--second-walk", options.secondWalk,
                 "A later walk: registers that differ are those that move")
      ->check(CLI::ExistingFile)
      ->needs(walk);
  app.add_option("--moves", options.moves,
                 "Further registers that move, such as qmxStatusCondition.0");
  app.add_option("--rows", options.rows, "A dump of table LogEntry, made after the recording")
      ->check(CLI::ExistingFile);
  app.add_option("--columns", options.columns, "The instrument's orderNV.conf")
      ->check(CLI::ExistingFile);
}

/// Does something with a file; what goes wrong is told with its name.
template <typename Result>
Result Read(const std::string& file, Result (*parse)(std::istream&)) {
  std::ifstream text(file, std::ios::binary);
  try {
    return parse(text);
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(file + ": " + error.what());
  }
}

/// The object's name where a MIB module has one.
std::string Readable(const std::string& name) {
  char text[512];
  const Identifier object = Resolve(name);
  snprint_objid(text, sizeof text, object.data(), object.size());
  return text[0] == 'q' ? text : name;
}

/// The objects of the walk, or the plain instrument of the exchanges.
std::vector<Walked> ReadInstrument(const Options& options) {
  if (!options.walk.empty()) return Read(options.walk, ParseWalk);
  std::vector<Walked> objects;
  std::ifstream steps(std::string(EXCHANGES) + "/_instrument.txt");
  for (std::string step; std::getline(steps, step);) {
    std::istringstream words(step);
    Walked object{};
    std::string word;
    if (words >> word >> object.name >> object.type && word == "register") {
      std::getline(words.ignore(), object.value);
      objects.push_back(object);
    }
  }
  return objects;
}

/// What the gateway itself writes for its requests.
const std::set<std::string> kWritten = {"qmxDatabasePointer.0", "qmxOperatingMode.0",
                                        "qmxCommand.0"};

std::map<std::string, char> FindMoving(const Options& options, const std::vector<Walked>& objects) {
  std::map<std::string, char> moving;
  std::map<Identifier, std::string> later;
  if (!options.secondWalk.empty()) {
    for (const Walked& object : Read(options.secondWalk, ParseWalk)) {
      later[Resolve(object.name)] = object.value;
    }
  }
  std::vector<Identifier> named;
  for (const std::string& name : options.moves) named.push_back(Resolve(name));
  for (const Walked& object : objects) {
    const Identifier identifier = Resolve(object.name);
    const auto other = later.find(identifier);
    const bool differs = other != later.end() && other->second != object.value &&
                         kWritten.count(Readable(object.name)) == 0;
    if (differs || std::count(named.begin(), named.end(), identifier) > 0) {
      moving[Readable(object.name)] = object.type;
    }
  }
  return moving;
}

/// The statements of a dump that make and fill tables, each in one line.
std::vector<std::string> ParseDump(std::istream& text) {
  std::vector<std::string> statements;
  std::string statement;
  for (std::string line; std::getline(text, line);) {
    if (statement.empty() && line.compare(0, 7, "CREATE ") != 0 &&
        line.compare(0, 7, "INSERT ") != 0) {
      continue;
    }
    statement += (statement.empty() ? "" : " ") + line;
    if (line.empty() || line.back() != ';') continue;
    statement.pop_back();
    statements.push_back(std::move(statement));
    statement.clear();
  }
  if (statements.empty()) throw std::runtime_error("no dump of a table: no CREATE, no INSERT");
  return statements;
}

std::map<int, std::string> RegisterNumbers(Responder& agent) {
  const Line line;
  Child gateway({Program("qmx-gateway"), line.Device()});
  if (!WaitFor([&] { return agent.ModeReads() > 0; })) {
    throw std::runtime_error("the gateway does not serve this instrument: " + gateway.Errors());
  }
  std::map<int, std::string> numbers;
  std::istringstream list(ReadFile("/home/qmx/register.txt"));
  std::string number;
  for (std::string name; std::getline(list, number, ';') && std::getline(list, name, ';');) {
    numbers[std::atoi(number.c_str())] = name;
  }
  return numbers;
}

void Say(const std::string& step) { std::printf("%s\n", step.c_str()); }

void Run(const Options& options) {
  const std::vector<Turn> turns = TakeTurns(Read(options.recording, ReadRecording));
  if (turns.empty()) throw std::runtime_error(options.recording + ": no request");
  Responder agent;
  Database database;
  Known known;
  const std::vector<Walked> objects = ReadInstrument(options);
  known.moving = FindMoving(options, objects);
  Say("# From " + options.recording + ", which begins at " + turns[0].request.time + ".");
  for (const Walked& object : objects) {
    const std::string step = "register " + Readable(object.name) + " " + object.type;
    agent.Follow(step + " " + object.value);
    Say(step + (object.value.empty() ? "" : " " + Written(object.value)));
    if (IsReadOnly(Resolve(object.name))) known.readOnly.insert(Readable(object.name));
    if (Readable(object.name) == "qmxRS232Mode.0") known.mode = std::atoi(object.value.c_str());
  }
  if (!options.rows.empty()) {
    std::vector<std::string> statements = Read(options.rows, ParseDump);
    // What was logged later comes when it is time.
    const std::string behind = "LogEntry WHERE time_stamp > '" + LoggedUntil(turns)[0] + "'";
    statements.insert(statements.end(),
                      {"CREATE TABLE later SELECT * FROM " + behind, "DELETE FROM " + behind});
    for (const std::string& statement : statements) {
      database.Run(statement);
      Say("sql " + Written(statement));
    }
    known.logged = [&](const std::string& from, const std::string& to) {
      return database.Run("SELECT COUNT(*) FROM later WHERE time_stamp > '" + from +
                          "' AND time_stamp <= '" + to + "'")[0] != "0";
    };
  }
  if (!options.columns.empty()) {
    Say("file /usr/share/snmp/orderNV.conf " + Written(ReadFile(options.columns)));
  }
  known.registers = RegisterNumbers(agent);
  const std::vector<std::string> steps = WriteSteps(turns, known);
  Say("unheard");
  const bool switched = steps[0].compare(0, 23, "register qmxRS232Mode.0") == 0;
  if (switched) Say(steps[0]);
  Say("serve");
  for (std::size_t i = switched ? 1 : 0; i < steps.size(); ++i) Say(steps[i]);
}

}  // namespace

int main(int argc, char* argv[]) {
  Options options;
  CLI::App app{"Makes an exchange file of a recording and prints it"};
  AddOptions(app, options);
  CLI11_PARSE(app, argc, argv);
  try {
    Run(options);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "from-recording: %s\n", failure.what());
    return 1;
  }
  return 0;
}
