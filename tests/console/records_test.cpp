// Records as lines and files, without a line or a database.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>

#include "line/failure.h"
#include "page/page.h"
#include "records/capture.h"
#include "records/crowds.h"
#include "records/pace.h"
#include "records/record.h"
#include "records/record_file.h"
#include "records/record_page.h"
#include "records/record_store.h"
#include "records/series.h"

namespace {

const std::string kPath = testing::TempDir() + "records." + std::to_string(getpid());

void Put(const std::string& text, const std::string& end = "") {
  std::ofstream(kPath + end, std::ios::binary) << text;
}

std::string TextOf(const std::string& end = "") {
  std::ifstream file(kPath + end, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// How it fails, with FILE for the file's name; empty when it does not.
std::string Failing(const std::function<void()>& what) {
  try {
    what();
  } catch (const Failure& failure) {
    std::string text = failure.what();
    if (text.compare(0, kPath.size(), kPath) == 0) text.replace(0, kPath.size(), "FILE");
    return text + (failure.status == kUsage ? "" : " ?");
  }
  return "";
}

TEST(Record, KeepsEachTextInItsField) {
  const FieldTexts names = {"Date", "Time", "note", "level"};
  const std::tuple<FieldTexts, const char*, const char*, const char*> cases[] = {
      {names, "2009-06-30,14:00:00,,5", "2009-06-30,14:00:00,,5", "2009-06-30|14:00:00||5|"},
      {names, "d,t,say \"x\",", "d,t,\"say \"\"x\"\"\",", "d|t|say \"x\"||"},
      {names, "d,t,\",\"", "d,t,\"\"\"\",\"\"\"\"", "d|t|\"|\"|"},
      {names, "d,t,\"a,b\",c", "d,t,\"a,b\",c", "d|t|a,b|c|"},  // as it was sent
      {names, "d,t,a,\"b,c", "d,t,a,\"b,c", "d|t|a|\"b|c|"},
      {{"Date", "Time", "note"}, "d,t,a,\"b\"", "d,t,\"a,\"\"b\"\"\"", "d|t|a,\"b\"|"},
  };
  for (const auto& [its, sent, line, fields] : cases) {
    EXPECT_EQ(LineOf(sent, its), line);
    std::string split;
    for (const std::string& field : SplitLine(line)) split += field + "|";
    EXPECT_EQ(split, fields) << line;
  }
}

TEST(Record, TellsWhatIsNone) {
  std::string told;
  for (const char* sent :
       {"2009-06-30,14:00:00,1,2", "2009-06-30,14:00:00.2,1,2,3", "2016-12-31,23:59:60,,",
        "2009-06-30,,1,2", "2009-06-30,14:00:00,1", "2009-06-30 14:00:00",
        "2009-13-30,14:00:00,1,2", "2009-06-32,14:00:00,1,2", "b,1", "", "2009-06-30,24:00:00,1,2",
        "2009-06-30,14:60:00,1,2", "2009-06-30,14:00:61,1,2", "2009-06-30,14:00:00.,1,2",
        "2009-06-30,14:00:00,1\n,2"}) {
    told += FlawOf(SplitSent(sent), {"Date", "Time", "a", "b"}) + "; ";
  }
  for (const char* sent : {"2009-06-30 14:00:00", "2009-06-30", "2009-06-30 1400"}) {
    told += FlawOf(SplitSent(sent), {"Date", "Time", ""}) + "; ";
  }
  EXPECT_EQ(told,
            "; ; ; ; fewer fields than names; no date; no date; no date; no date; no date; "
            "no time; no time; no time; no time; a line end in a text; ; ; no time; ");
}

TEST(RecordStore, TakesNoFileOfAnother) {
  const std::string header = "Date,Time,a b";
  const std::string other = "FILE is not of this download; its first line would be: " + header;
  const std::string copy = "let the download have its file, and work on a copy.";
  const std::string saved = "FILE was saved by another program, ";
  const std::string sheet = "\nA spreadsheet may have rewritten it: " + copy;
  const std::string rewritten =
      saved + "a spreadsheet perhaps, which wrote its lines in another way: " + copy;
  const std::string endings = saved + "which ended its lines in CR LF: " + copy;
  const std::string rejected =
      "FILE.rejected is not of this download; its first line would be: Time stamp,Why,Bytes";
  const struct {
    std::string text, rejected, header, failure;
  } cases[] = {
      {"Date,Ti", "", header, ""},
      {"Date,Ti", "", "", "FILE has no records."},
      {"Date,Tx", "", header, other},
      {header, "Time st", header, ""},
      {"Date,Time,a\n", "", header, other},
      {"\"Date\";Time;\"a b\"\n", "", header, rewritten},
      {"\"Date\";Time;\"a b\"", "", header, other},
      {header + "\r\n1.2.,\n", "", header, endings},
      {header + "\n2020-01-01,,1\r\n", "", "", endings},
      {header + "\n2020-01-01,,1\n2020-01-01,1", "", header, ""},
      {header + "\n1.1.,,1\n", "", header, "FILE, line 2: no record (no date): 1.1.,,1" + sheet},
      {header + "\n2020-01-01,\n", "", header,
       "FILE, line 2: no record (fewer fields than names): 2020-01-01,"},
      {header + "\n", "Time stamp,Why\n", header, rejected},
  };
  for (const auto& row : cases) {
    Put(row.text);
    Put(row.rejected, ".rejected");
    EXPECT_EQ(Failing([&] { RecordStore(kPath, row.header); }), row.failure) << row.text;
  }
  unlink((kPath + ".rejected").c_str());
  unlink(kPath.c_str());
  EXPECT_EQ(Failing([] { RecordStore(kPath, ""); }), "FILE cannot be read.");
  EXPECT_EQ(Failing([] { RecordFile file(testing::TempDir()); }),
            testing::TempDir() + " is no plain file.");
  EXPECT_EQ(Failing([] { DiskFile(kPath + "/x", DiskFile::How::kNew); }),
            "FILE/x cannot be written: No such file or directory.");
  std::cout.setstate(std::ios::badbit);
  EXPECT_EQ(Failing([] { RecordStore("-", "Date").Add({Record()}); }),
            "The records cannot be written.");
  std::cout.clear();
}

TEST(RecordStore, PutsRecordsIntoTheirPlaces) {
  const std::string header = "Date,Time,a,b";
  const std::string flaw = "a line end in a text";
  const auto record = [](const std::string& date, const std::string& texts,
                         const std::string& its = "") {
    return Record{date, date + ",," + texts, its};
  };
  // More than a piece of it, and a line that was cut off.
  std::string text = "2020-01-02,,1,\n";
  for (int i = 0; i < 40000; ++i) text += "2020-01-04,,12345678901234567890,\n";
  Put(header + "\n" + text + "2020-01-05");
  chmod(kPath.c_str(), 0604);
  ASSERT_EQ(symlink(kPath.c_str(), (kPath + ".link").c_str()), 0);
  {
    RecordStore store(kPath + ".link", header);
    store.Begin();
    store.Add({record("2020-01-05", "1,"), record("2020-01-05", "1,2,3")});
    text += "2020-01-05,,1,\n2020-01-05,,1,2,3\n";
    EXPECT_TRUE(TextOf() == header + "\n" + text);
    store.Add({record("2020-01-06", "new,"), record("2020-01-03", "a\r\n\\n,b", flaw),
               record("2020-01-02", "b,\"x\""), record("2020-01-02", "a,"),
               record("2020-01-01", "old,")});
    text.insert(text.find("2020-01-04"), "2020-01-02,,b,\"\"\"x\"\"\"\n2020-01-02,,a,\n");
    text = header + "\n2020-01-01,,old,\n" + text + "2020-01-06,,new,\n";
    EXPECT_TRUE(TextOf() == text);
    EXPECT_EQ(store.Unclear(), 1);
    EXPECT_EQ(TextOf(".rejected"),
              "Time stamp,Why,Bytes\n2020-01-03,a line end in a text,"
              "\"2020-01-03,,a\\r\\n\\\\n,b\"\n");
    store.Add({record("2020-01-07", "l ast,")});
    EXPECT_TRUE(TextOf() == text + "2020-01-07,,l ast,\n");
  }
  struct stat status {};
  EXPECT_EQ(stat(kPath.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0604U);

  RecordStore store(kPath, header);
  const Record rejected = store.Rejected().at(0);
  EXPECT_EQ(rejected.sent, "2020-01-03,,a\r\n\\n,b");
  // What was quoted otherwise, what an earlier version wrote, and what comes out of order, as a
  // TIMESTAMP column's in a repeated hour.
  std::vector<std::string> others;
  const auto missing = store.Missing(
      {record("2020-01-02", "a,"), record("2020-01-02", "a,"), record("2020-01-02", "b,\"x\""),
       record("2020-01-05", "1,"), rejected, rejected, record("2020-01-07", "l\nast,", flaw)},
      "2020-01-02", "2020-01-04", others);
  ASSERT_EQ(missing.size(), 2U);
  EXPECT_EQ(missing[0].sent, "2020-01-02,,a,");
  EXPECT_EQ(others, std::vector<std::string>{"2020-01-02,,1,"});

  store.Begin();
  std::filesystem::rename(kPath + ".rejected", kPath);
  EXPECT_EQ(Failing([&] { store.Add({record("2020-01-08", "1,")}); }),
            "FILE was removed or replaced while it was written.");
  for (const char* end : {"", ".link"}) unlink((kPath + end).c_str());
}

TEST(Crowds, AreWhereRecordsStandTooClose) {
  // How many records each of the minutes has, two by two but where a letter is; C has two.
  std::string told;
  for (const std::string records :
       {"112111112121111a1", "2222222222b2222", "2111",
        "11121112111211121112111211121112111211121112", "112", "11111111aaCaa"}) {
    std::vector<std::string> stamps;
    Moment moment = 0;
    for (const char count : records) {
      moment += count > '9' ? 60000 : 120000;
      const int several = count == 'C' ? 2 : count > '9' ? 1 : count - '0';
      stamps.insert(stamps.end(), static_cast<std::size_t>(several), TimeStampOf(moment));
    }
    const Held held(stamps);
    for (const Crowd& crowd : Crowds(held, 1, held.Stamps())) {
      told += std::to_string(crowd.begin) + "-" + std::to_string(crowd.end) + " ";
    }
    told += "\n";
  }
  EXPECT_EQ(told,
            "2-3 8-11 15-16 \n10-11 \n\n3-4 7-8 11-12 19-20 23-24 27-28 35-36 39-40 \n\n8-10 10-11 "
            "11-13 \n");
}

TEST(Pace, GrowsUntilABatchTakesItsTime) {
  std::string told;
  for (Pace pace : {Pace(7), Pace(0)}) {
    for (const long records : {0L, 40L, 160L, 640L, 2560L, 10000L}) {
      pace.Start();
      pace.Took(records);
      told += std::to_string(pace.Records()) + " ";
    }
  }
  EXPECT_EQ(told, "7 7 7 7 7 7 40 160 640 2560 10000 10000 ");
}

TEST(Page, ShowsEveryByteAsText) {
  EXPECT_EQ(
      HtmlText("a\n\t<&>\"\x1f \x7f\x80\xc1\x80\xc2\x80\xc2\xc0\xdf\xbf\xe0\x9f\xbf\xe0\xa0\x80"
               "\xed\x9f\xbf\xed\xa0\x80\xef\xbf\xbf\xf0\x8f\xbf\xbf\xf0\x90\x80\x80"
               "\xf4\x8f\xbf\xbf\xf4\x90\x80\x80\xf5\x80\xe2\x82"),
      "a\n&lt;x09&gt;&lt;&amp;&gt;&quot;&lt;x1F&gt; &lt;x7F&gt;&lt;x80&gt;&lt;xC1&gt;&lt;x80&gt;"
      "\xc2\x80&lt;xC2&gt;&lt;xC0&gt;\xdf\xbf&lt;xE0&gt;&lt;x9F&gt;&lt;xBF&gt;\xe0\xa0\x80"
      "\xed\x9f\xbf&lt;xED&gt;&lt;xA0&gt;&lt;x80&gt;\xef\xbf\xbf&lt;xF0&gt;&lt;x8F&gt;&lt;xBF&gt;"
      "&lt;xBF&gt;\xf0\x90\x80\x80\xf4\x8f\xbf\xbf&lt;xF4&gt;&lt;x90&gt;&lt;x80&gt;&lt;x80&gt;"
      "&lt;xF5&gt;&lt;x80&gt;&lt;xE2&gt;&lt;x82&gt;");
}

TEST(Page, TellsOfTheInstrument) {
  Put("Date,Time,a\n2020-01-01,,1\n");
  WriteRecordPage({{kPath}, kPath + ".html"}, {{"<a>", "\"b\""}}, "All is <there>.");
  const std::string page = TextOf(".html");
  for (const char* part : {"<p>All is &lt;there&gt;.</p>\n<h2>Plots</h2>",
                           "<tr><th>&lt;a&gt;</th><td>&quot;b&quot;</td></tr>\n</table>"}) {
    EXPECT_NE(page.find(part), std::string::npos) << part;
  }
  for (const char* end : {"", ".html"}) unlink((kPath + end).c_str());
  std::string units;
  std::istringstream ends(
      "ug_m3 mg_m3 l_min l_h m3_h m_s degC C K hPa mbar kPa Pa mV V mA A W Hz pct percent ug mg s "
      "min h x [°C]");
  for (std::string end; ends >> end;) units += UnitOf("a_" + end) + " ";
  EXPECT_EQ(
      units + UnitOf("_K"),
      R"(µg/m³ mg/m³ l/min l/h m³/h m/s °C °C K hPa mbar kPa Pa mV V mA A W Hz % % µg mg s min h   )");
}

}  // namespace
