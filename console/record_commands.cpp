#include <charconv>
#include <csignal>
#include <iostream>
#include <memory>

#include "commands.h"
#include "line/failure.h"
#include "line/interrupt.h"
#include "line/visible.h"
#include "records/download.h"
#include "records/logger_source.h"
#include "records/record_file.h"
#include "records/record_page.h"
#include "views/outcome.h"

namespace {

void ShowRecords(Session& session, long count) {
  const Records records = session.logger.NextRecords(count);
  std::vector<Words> rows;
  std::string json;
  for (const std::string& record : records.lines) {
    rows.push_back(SplitSent(Visible(record)));
    json += (json.empty() ? "" : ",") + JsonList(SplitSent(record));
  }
  const bool none = rows.empty() && !records.reply.refused;
  session.report.Show("ASTO", records.reply, none ? "no further records\n" : Table(rows),
                      {{"records", "[" + json + "]"}});
  RequireDone(records.reply, "ASTO");
  if (!records.rest.empty()) {
    throw Failure(kBroken,
                  "The records are followed by something else than the next reply: a text has a "
                  "line end, or the line changed a byte.");
  }
  if (!records.pointerMoved) {
    throw Failure(kRefused, "The records came, but the database pointer could not be moved.");
  }
}

void ShowHeader(Session& session) {
  const AKReply reply = session.logger.Header();
  const std::string header = reply.refused ? "" : reply.fields;
  session.report.Show("LDHD", reply, reply.refused ? "" : Visible(header) + "\n",
                      {{"fields", JsonList(reply.refused ? Words() : SplitSent(header))}});
  RequireDone(reply, "LDHD");
}

void MovePointer(Session& session, const Words& words) {
  std::string where = words.size() == 1 ? words[0] : "";
  if (where == "b" || where == "e") where = where == "b" ? "B" : "E";
  int records = 0;
  const char* digits = where.data() + (where[0] == '+' && where[1] != '-' ? 1 : 0);
  const char* last = where.data() + where.size();
  const auto [end, error] = std::from_chars(digits, last, records);
  if (where != "B" && where != "E" && (error != std::errc() || end != last)) {
    throw Failure(
        kUsage,
        "ssto needs B (the oldest record), E (the newest) or a number of records, such as "
        "-3.");
  }
  AskPlain(session, "SSTO", where, "database pointer moved");
}

struct RecordOptions : DownloadOptions {
  bool gaps = false;
};

void DownloadRecords(Session& session, const RecordOptions& options) {
  // What nobody reads any more is an error of writing.
  std::signal(SIGPIPE, SIG_IGN);
  const bool json = session.report.Json() && options.file != "-";
  Outcome outcome;
  {
    LoggerSource source(session.logger, session.numbers);
    Progress progress;
    try {
      outcome = Download(source, options, progress);
    } catch (const Failure& failure) {
      if (failure.status < kInterrupted || options.file == "-") throw;
      throw Failure(failure.status, "Interrupted; the same command goes on from here.");
    }
  }
  std::cerr << OutcomeText(options.file, outcome, options.gaps && !json);
  if (json) std::cout << OutcomeJson("DOWNLOAD", options.file, outcome, options.gaps);
  RequireWhole(options.file, outcome);
}

/// Behind it the pointer is where it was.
Outcome Proved(Session& session, const RecordOptions& options) {
  LoggerSource source(session.logger, session.numbers);
  return Prove(source, options);
}

void ProveFile(Session& session, const RecordOptions& options) {
  const Outcome outcome = Proved(session, options);
  std::cout << (session.report.Json() ? OutcomeJson("PROVE", options.file, outcome, options.gaps)
                                      : OutcomeText(options.file, outcome, options.gaps))
            << std::flush;
  RequireWhole(options.file, outcome);
}

/// What download and prove have in common.
void AddRecordOptions(CLI::App& command, RecordOptions& options) {
  command.add_option("FILE", options.file, "File of comma-separated values")->required();
  command
      .add_option("--from", options.from,
                  "begin, pointer, a time stamp, a day, a month, or -7d back")
      ->capture_default_str();
  command.add_option("--to", options.to, "A time stamp, a day or a month, with all of it");
  command.add_flag("--gaps", options.gaps, "Tell each gap, and the share of each day");
}

/// The instrument as it is now, for the page.
Facts InstrumentFacts(Session& session) {
  const AKReply type = session.logger.Ask("LCFG");
  Facts facts = {{"status condition", std::to_string(type.status)},
                 {"instrument type (LCFG)", type.refused ? "refused" : type.fields}};
  for (const Register& reg : session.numbers.All()) {
    const AKReply reply = session.logger.ReadRegister(reg.number);
    facts.emplace_back(reg.name, reply.refused ? "refused" : Visible(reply.fields));
  }
  return facts;
}

/// Whether the files hold all from their first records on.
std::string ProofOf(Session& session, const std::vector<std::string>& files) {
  std::string proof;
  for (const std::string& name : files) {
    RecordOptions options;
    options.file = name;
    // A file that was begun at the pointer holds all from its first record on.
    RecordFile::Line first;
    if (RecordFile(name).Next(first)) options.from = "pointer";
    proof += HoldsText(name, Proved(session, options));
    Interrupt::Stop();
  }
  return proof;
}

void MakePage(Session* session, const RecordPageOptions& options) {
  if (session != nullptr && session->gnp) session = nullptr;  // Nothing of all that is to be had.
  const std::string proof = session == nullptr ? "" : ProofOf(*session, options.files);
  const Facts facts = session == nullptr ? Facts() : InstrumentFacts(*session);
  const std::string path = WriteRecordPage(options, facts, proof);
  if (path != "-") std::cout << path << " shows the records; it opens in any browser." << std::endl;
}

}  // namespace

void AddRecordCommands(const Commands& commands) {
  commands.AddWithWords("ssto", "Move the database pointer: ssto B, ssto E or ssto NUMBER",
                        {{"WHERE", "B, the oldest record; E, the newest; or so many records on"}},
                        "ssto -3", MovePointer);
  const auto count = std::make_shared<long>(0);
  commands
      .Add("asto", "The records behind the database pointer: asto NUMBER",
           [count](Session& s, const Words&) { ShowRecords(s, *count); })
      ->add_option("NUMBER", *count, "How many records at most")
      ->check(CLI::Range(0L, 2147483647L))
      ->required();
  commands.Add("ldhd", "The names of the record fields",
               [](Session& s, const Words&) { ShowHeader(s); });
  const auto download = std::make_shared<RecordOptions>();
  CLI::App* command =
      commands.Add("download", "Bring the records into a file, or continue it: download FILE.csv",
                   [download](Session& s, const Words&) { DownloadRecords(s, *download); });
  AddRecordOptions(*command, *download);
  command
      ->add_option("--batch", download->batch,
                   "Records asked for at a time; found out unless given")
      ->check(CLI::Range(2L, 1000000L));
  command->add_flag("--twice", download->twice, "Read all two times, and again where that differs");
  const auto proof = std::make_shared<RecordOptions>();
  command = commands.Add("prove", "Tell whether a file holds all records of the instrument",
                         [proof](Session& s, const Words&) { ProveFile(s, *proof); });
  AddRecordOptions(*command, *proof);
  const auto page = std::make_shared<RecordPageOptions>();
  command = commands.AddForDesk("report", "A page of records to look at: report FILE.csv...",
                                [page](Session* s) { MakePage(s, *page); });
  command->add_option("FILE", page->files, "Files that download has written")->required();
  command->add_option("-o,--output", page->page, "The page; the first file's name with .html");
}
