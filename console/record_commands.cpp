#include <charconv>
#include <iostream>
#include <memory>

#include "commands.h"
#include "line/failure.h"
#include "line/visible.h"
#include "records/download.h"
#include "records/record_page.h"

namespace {

void ShowRecords(Session& session, long count) {
  const Records records = session.logger.NextRecords(count);
  std::vector<Words> rows;
  std::string json;
  for (const std::string& record : records.lines) {
    rows.push_back(Fields(Visible(record)));
    json += (json.empty() ? "" : ",") + JsonList(Fields(record));
  }
  const bool none = rows.empty() && !records.reply.refused;
  session.report.Show("ASTO", records.reply, none ? "no further records\n" : Table(rows),
                      {{"records", "[" + json + "]"}});
  RequireDone(records.reply, "ASTO");
  if (!records.pointerMoved) {
    throw Failure(kRefused, "The records came, but the database pointer could not be moved.");
  }
}

void ShowHeader(Session& session) {
  const AKReply reply = session.logger.Header();
  const std::string header = reply.refused ? "" : reply.fields;
  session.report.Show("LDHD", reply, reply.refused ? "" : Visible(header) + "\n",
                      {{"fields", JsonList(Fields(header))}});
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

void MakePage(Session* session, const RecordPageOptions& options) {
  const Facts facts = session == nullptr ? Facts() : InstrumentFacts(*session);
  const std::string path = WriteRecordPage(options, facts, "");
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
  const auto download = std::make_shared<DownloadOptions>();
  CLI::App* command = commands.Add(
      "download", "Bring the records into a file, or continue it: download FILE.csv",
      [download](Session& s, const Words&) { Download(s.logger, s.numbers, *download); });
  command->add_option("FILE", download->file, "File of comma-separated values; - prints them")
      ->required();
  command->add_option("--from", download->from, "begin, pointer, or a time stamp")
      ->capture_default_str();
  command->add_option("--batch", download->batch, "Records asked for at a time")
      ->check(CLI::Range(2L, 1000000L))
      ->capture_default_str();
  const auto page = std::make_shared<RecordPageOptions>();
  command = commands.AddForDesk("report", "A page of records to look at: report FILE.csv...",
                                [page](Session* s) { MakePage(s, *page); });
  command->add_option("FILE", page->files, "Files that download has written")->required();
  command->add_option("-o,--output", page->page, "The page; the first file's name with .html");
}
