// What the proof finds and in how many requests; what a bad line and a bad record cost.
#include <fstream>
#include <regex>
#include <sstream>

#include "line/failure.h"
#include "record_model.h"

namespace {

class ProofOfFiles : public Downloads {
 protected:
  /// So many records, at an interval in seconds.
  void Log(int count, const std::string& begin = "2025-10-25", int interval = 300) {
    for (int i = 0; i < count; ++i) {
      instrument_.Log(
          RecordAt(*MomentOf(begin) + kSecond * interval * i, std::to_string(i) + ",N"));
    }
    lines_ = instrument_.Records();
  }

  Outcome ProveWith(const std::vector<std::string>& lines) {
    std::ofstream file(options_.file);
    file << kHeader << "\n";
    for (const std::string& line : lines) file << line << "\n";
    file.close();
    instrument_.requests = 0;
    return Prove(instrument_, options_);
  }

  /// An outcome, and how many requests it took.
  std::string Text(const Outcome& of) {
    std::string text = (of.whole ? "all " : "of ") + std::to_string(of.records) + "+" +
                       std::to_string(of.older) + "+" + std::to_string(of.rejected) + "=" +
                       std::to_string(of.capture.All().present) + " " + of.oldest + ">" + of.newest;
    for (const Part& part : of.parts) {
      text += " [" + part.from + ">" + part.to + " -" + std::to_string(part.lacks) + "+" +
              std::to_string(part.more) + (part.atLeast ? "...]" : "]");
    }
    static const std::regex kStamp("20..-(..)-(..) (..):(..):");
    return std::regex_replace(text, kStamp, "$1$2 $3$4 ") + " in " +
           std::to_string(std::exchange(instrument_.requests, 0));
  }

  /// Those of a proof of these lines, and of a download that goes on from them.
  std::string Told(const std::vector<std::string>& lines) {
    try {
      const std::string proof = Text(ProveWith(lines));
      return proof + "; " + Text(Download()) + "\n";
    } catch (const Failure& failure) {
      return std::to_string(failure.status) + " " + failure.what() + " in " +
             std::to_string(instrument_.requests) + "\n";
    }
  }

  std::vector<std::string> lines_;
};

TEST_F(ProofOfFiles, TakeFewRequests) {
  Log(100000);
  EXPECT_TRUE(Download().whole);
  EXPECT_LE(instrument_.requests, 40);
  // The list of registers, the pointer read and put back, and a mark for late replies come on top.
  constexpr long kBesides = 4;
  EXPECT_TRUE(ProveWith(lines_).whole);
  EXPECT_LE(instrument_.requests + kBesides, 12);
  lines_.erase(lines_.begin() + 65536);
  EXPECT_EQ(ProveWith(lines_).parts.size(), 1U);
  EXPECT_LE(instrument_.requests + kBesides, 12 + 40);
}

TEST_F(ProofOfFiles, TellsAllOfWhatDiffers) {
  options_.batch = 40;
  Log(1000);
  // Then records come faster, and the last ones at once, when the clock was set forward.
  Log(950, "2025-10-28 11:20:00", 10);
  Log(50, "2026-11-01", 0);
  // From where, up to where; where in the file, how many lines are taken out, how many are doubled.
  std::string told;
  for (const char* row :
       {"begin||", "begin||0 2000 0", "begin||1 1999 0", "begin|2026-11|500 1500 0",
        "begin||1900 0 50 1700 100 0 400 1000 0", "begin||1700 0 1 400 1 0",
        "begin||800 1 0 700 0 1", "begin||1998 0 2 777 0 30 0 1 0", "begin||600 0 40 300 40 0",
        "begin||1000 900 0", "-369d||1999 1 0 860 1 0", "-1d|2025-10|",
        "2025-10-26|2025-10-26|574 2 1 287 2 0",
        "2025-10-26 00:01|2025-10-26 00:54|298 3 0 288 1 0", "pointer||1990 10 0 5 1 0 0 3 0",
        "yesterday||", "begin|now|"}) {
    std::istringstream words(row);
    std::getline(words, options_.from, '|');
    std::getline(words, options_.to, '|');
    std::vector<std::string> lines = lines_;
    for (long at, removed, doubled; words >> at >> removed >> doubled;) {
      for (long i = 0; i < doubled; ++i)
        lines.insert(lines.begin() + at + 2 * i, *(lines.begin() + at + 2 * i));
      lines.erase(lines.begin() + at, lines.begin() + at + removed);
    }
    told += Told(lines);
  }
  options_.from = "begin";
  options_.to.clear();
  options_.batch = 20;
  // Records that the instrument no longer has, and later ones, make no difference.
  instrument_.Clear(300);
  told += Told({lines_.begin(), lines_.begin() + 1900});
  // No more parts than these are told.
  for (long at = 1770; at > 300; at -= 70) lines_.erase(lines_.begin() + at);
  const Outcome outcome = ProveWith(lines_);
  EXPECT_EQ(outcome.parts.size(), 20U);
  EXPECT_TRUE(outcome.parts.at(19).atLeast);
  EXPECT_EQ(told, R"(all 2000+0+0=2000 >1101 0000 00 in 14; all 2000+0+0=2000 >1101 0000 00 in 20
of 0+0+0=0 > [1025 0000 00>1028 1358 10 -1950+0] [1101 0000 00>1101 0000 00 -50+0] in 84; all 2000+0+0=2000 >1101 0000 00 in 73
all 1+0+0=1 >1025 0000 00 in 10; all 2000+0+0=2000 >1101 0000 00 in 73
of 500+0+0=500 >1026 1735 00 [1026 1740 00>1028 1358 10 -1450+0] [1101 0000 00>1101 0000 00 -50+0] in 97; all 2000+0+0=2000 >1101 0000 00 in 61
of 950+0+0=950 >1101 0000 00 [1026 0920 00>1028 1226 30 -1000+0] [1028 1316 40>1028 1333 10 -100+0] [1028 1350 00>1028 1358 10 -0+50] in 111; of 2050+0+0=2050 >1101 0000 00 [1028 1350 00>1028 1358 10 -0+50] in 151
of 2000+0+0=2000 >1101 0000 00 [1026 0920 00>1026 0920 00 -1+0] [1028 1316 40>1028 1316 40 -0+1] in 66; of 2001+0+0=2001 >1101 0000 00 [1028 1316 40>1028 1316 40 -0+1] in 101
of 2000+0+0=2000 >1101 0000 00 [1027 1020 00>1027 1020 00 -0+1] [1027 1840 00>1027 1840 00 -1+0] in 68; of 2001+0+0=2001 >1101 0000 00 [1027 1020 00>1027 1020 00 -0+1] in 103
of 2031+0+0=2031 >1101 0000 00 [1027 1645 00>1027 1910 00 -0+30] [1101 0000 00>1101 0000 00 -0+2] in 40; of 2031+0+0=2031 >1101 0000 00 [1027 1645 00>1027 1910 00 -0+30] [1101 0000 00>1101 0000 00 -0+2] in 43
of 2000+0+0=2000 >1101 0000 00 [1026 0100 00>1026 0415 00 -40+0] [1027 0200 00>1027 0515 00 -0+40] in 72; of 2040+0+0=2040 >1101 0000 00 [1027 0200 00>1027 0515 00 -0+40] in 112
of 1100+0+0=1100 >1101 0000 00 [1028 1120 00>1028 1349 50 -900+0] in 36; all 2000+0+0=2000 >1101 0000 00 in 96
of 1135+0+0=1135 1028 0000 00>1101 0000 00 [1101 0000 00>1101 0000 00 -1+0] in 26; all 1136+0+0=1136 1028 0000 00>1101 0000 00 in 41
all 0+0+0=0 > in 14; all 0+0+0=0 > in 25
of 286+0+0=286 1026 0005 00>1026 2355 00 [1026 0000 00>1026 0000 00 -1+0] [1026 2350 00>1026 2350 00 -1+0] in 38; all 288+0+0=288 1026 0000 00>1026 2355 00 in 54
of 9+0+0=9 1026 0005 00>1026 0045 00 [1026 0050 00>1026 0050 00 -1+0] in 18; all 10+0+0=10 1026 0005 00>1026 0050 00 in 21
of 1986+0+0=1986 1025 0015 00>1101 0000 00 [1025 0025 00>1025 0025 00 -1+0] [1101 0000 00>1101 0000 00 -10+0] in 40; all 1997+0+0=1997 1025 0015 00>1101 0000 00 in 61
1 --from takes begin, pointer, a time stamp such as '2009-06-30 14:00:00', 2009-06-30 or 2009-06, or how far back from the newest record, such as -7d. in 0
1 --to takes a time stamp such as '2009-06-30 14:00:00', 2009-06-30 or 2009-06. in 0
all 1600+300+0=1900 >1028 1349 50 in 8; all 1700+300+0=2000 >1101 0000 00 in 23
)");
}

/// As many lines as were announced; what a text has more is behind them.
void Split(RecordSource::Batch& batch) {
  std::string all;
  for (const std::string& line : batch.lines) all += line + "\r\n";
  for (std::string& line : batch.lines) {
    line = all.substr(0, all.find("\r\n"));
    all.erase(0, line.size() + 2);
  }
  batch.rest = all;
}

TEST_F(ProofOfFiles, SaysWhatItCannotSettle) {
  options_.batch = 10;
  Log(100);
  std::vector<std::string> lines = lines_;
  lines.erase(lines.begin() + 40, lines.begin() + 60);
  long count = 0;
  std::string told;
  const auto number = [&](std::string& line) { line += std::to_string(++count); };
  const std::pair<bool, std::function<void(std::string&)>> changes[] = {
      {false, number},
      {true, number},
      {true, [&](std::string& line) { line += ++count % 15 == 0 ? "!" : ""; }},
      {false, [&](std::string& line) { line.replace(0, 4, "2020"); }},
      {false, [&](std::string& line) { line.erase(0, line.find(",50,") < 30 ? 3 : 0); }},
  };
  for (const auto& [twice, change] : changes) {
    options_.twice = twice;
    instrument_.onTheLine = [&now = change](RecordSource::Batch& batch) {
      for (std::string& line : batch.lines) now(line);
    };
    told += Told(lines);
    std::filesystem::remove(options_.file + ".rejected");
  }
  options_.twice = false;
  // One that looks like two, among more of its time stamp than are brought at a time.
  for (int i = 0; i < 12; ++i) instrument_.Log("2025-10-25,04:00:00," + std::to_string(i) + ",N");
  instrument_.Log("2025-10-25,04:00:00,12,\r\n2025-10-25,04:00:00,13,N");
  instrument_.onTheLine = Split;
  told += Told(lines);
  Anew();
  Log(100);
  instrument_.miscounted = "100";
  told += Told(lines_) + Told(lines);
  EXPECT_EQ(
      told,
      R"(of 80+0+0=80 >1025 0815 00 [1025 0225 00>1025 0635 00 -29+9] in 26; of 1595+0+0=1595 >1025 0815 00 [1025 0200 00>1025 0815 00 -0+1495] in 814
5 The record behind 2025-10-25 02:20:00 comes differently each time. in 41
of 80+0+0=80 >1025 0815 00 [1025 0320 00>1025 0635 00 -20+0] in 44; all 100+0+0=100 >1025 0815 00 in 73
5 Behind 2025-10-25 02:20:00 the instrument gives earlier records, and so never comes to later ones: its table is not ordered by the text of its time stamps. in 15
of 80+0+0=80 >1025 0815 00 [1025 0320 00>1025 0635 00 -20+0] in 123; all 99+0+1=100 >1025 0815 00 in 96
of 80+0+0=80 >1025 0815 00 [1025 0320 00>1025 0530 00 -33+0] in 33; of 109+0+0=109 >1025 0815 00 in 261
of 100+0+0=100 >1025 0815 00 in 80; of 100+0+0=100 >1025 0815 00 in 83
of 80+0+0=80 >1025 0815 00 [1025 0320 00>1025 0635 00 -20+0] in 30; of 100+0+0=100 >1025 0815 00 in 113
)");
}

TEST_F(ProofOfFiles, SettlesWhatChangesMeanwhile) {
  options_.batch = 10;
  std::string told;
  for (const long cleared : {0, 1, 30, 70}) {
    long requests = 0;
    for (long at = 1; at < 42; at += 3) {
      Anew();
      Log(100);
      std::vector<std::string> lines = lines_;
      lines.erase(lines.begin() + 40, lines.begin() + 60);
      lines.insert(lines.begin() + 10, lines[10]);
      if (at % 2 == 1) ProveWith(lines);
      instrument_.beforeEach = [&] {
        if (cleared == 1 ? instrument_.requests > at : instrument_.requests != at) return;
        instrument_.Clear(cleared);
        if (cleared == 0) instrument_.Log("2025-10-25,01:00:00,1,N");
      };
      instrument_.requests = 0;
      if (at % 2 == 0) told += ProveWith(lines).whole ? " =" : " -";
      const Outcome outcome = Download();
      told += (outcome.whole ? " " : " !") + std::to_string(outcome.records) + "+" +
              std::to_string(outcome.older);
      requests += instrument_.requests;
    }
    told += " in " + std::to_string(requests) + "\n";
  }
  options_.file = "-";
  instrument_.requests = 0;
  instrument_.beforeEach = [&] {
    if (instrument_.requests == 5) instrument_.Log("2025-10-25,00:10:01,1,N");
  };
  testing::internal::CaptureStdout();
  told += Text(Download()) + "\n";
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(
      told,
      R"( !102+0 - !102+0 !102+0 - !102+0 !102+0 - !102+0 !102+0 - !102+0 !102+0 - !102+0 !102+0 - !102+0 101+0 - !102+0 in 1588
 !100+1 - !97+4 !94+7 - 90+11 87+14 - 84+17 81+20 - 78+23 75+26 - 72+29 69+32 - 66+35 63+38 - 60+41 in 915
 70+31 - 70+31 70+31 - 70+31 70+31 - 70+31 70+31 - 70+31 70+31 - 70+31 70+31 - 70+31 70+31 - 70+31 in 907
 30+51 = 30+51 30+51 = 30+51 30+51 = 30+51 30+59 - 30+51 30+71 - 30+51 30+71 - 30+51 30+71 - 30+51 in 591
of 30+0+0=30 >1025 0815 00 [0001-01-01 00:00:00>1025 0815 00 -0+0] in 27
)");
}

/// A month's file at the month's turn.
TEST_F(ProofOfFiles, TakesNothingEarlierThanItIsToldTo) {
  options_.from = "2025-12";
  for (long at = 1; at < 20; ++at) {
    Anew();
    Log(10);
    instrument_.beforeEach = [&] {
      if (instrument_.requests == at) instrument_.Log("2025-11-30,23:59:59,1,N");
    };
    EXPECT_TRUE(Download().whole && LinesOf(options_.file).empty()) << at;
    instrument_.Log("2025-12-01,00:00:00,2,N");
    EXPECT_TRUE(Download().whole);
    EXPECT_EQ(LinesOf(options_.file).size(), 1u) << at;
  }
}

TEST_F(ProofOfFiles, TellsWhatNoPositionReaches) {
  EXPECT_TRUE(Download().whole);
  instrument_.Set("0000-00-00 00:00:00");
  EXPECT_TRUE(Prove(instrument_, options_).whole);
  Log(10);
  instrument_.Log("0000-00-00,00:00:00,7,N");
  EXPECT_FALSE(Download().whole);
  options_.from = "2025-10";
  EXPECT_TRUE(Prove(instrument_, options_).whole);
}

TEST_F(ProofOfFiles, OneBadRecordCostsItselfAlone) {
  Log(200);
  const std::string bad[] = {"2025-10-25,00:01:00,7,a\r\nb", "2025-10-25,00:06:00,7",
                             "2025-10-25,00:11:00,7,\r\n2025-10-25,x\r\n",
                             "2025-10-25,00:16:00,7,\r\nx,y,z\r\n,"};
  for (const std::string& record : bad) instrument_.Log(record);
  instrument_.onTheLine = Split;
  for (const long batch : {2, 3, 25, 1000}) {
    options_.batch = batch;
    std::filesystem::remove(options_.file);
    std::filesystem::remove(options_.file + ".rejected");
    for (int run = 0; run < 2; ++run) {
      const Outcome outcome = Download();
      EXPECT_EQ(std::tuple(outcome.whole, outcome.rejected, outcome.records),
                std::tuple(true, 4, 200));
      EXPECT_EQ(LinesOf(options_.file), Lines(lines_.begin(), lines_.end()));
    }
  }
  // Nor once the instrument no longer has it.
  instrument_.Clear(2);
  const Outcome outcome = Prove(instrument_, options_);
  EXPECT_EQ(std::tuple(outcome.rejected, outcome.records, outcome.older), std::tuple(3, 199, 2));
}

}  // namespace
