// What the proof finds and in how many requests; what a bad line and a bad record cost.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "line/failure.h"
#include "record_model.h"
#include "records/capture.h"
#include "records/download.h"
#include "records/record_file.h"

namespace {

class Proof100000 : public testing::Test {
 protected:
  Proof100000() { options_.file = testing::TempDir() + "proof." + std::to_string(getpid()); }
  ~Proof100000() override {
    std::filesystem::remove(options_.file);
    std::filesystem::remove(options_.file + ".rejected");
  }

  void Log(int count) {
    for (int i = 0; i < count; ++i) {
      const std::string stamp = TimeStampOf(*MomentOf("2025-10-25") + 300000LL * i);
      instrument_.Log(stamp.substr(0, 10) + "," + stamp.substr(11) + "," + std::to_string(i) +
                      ",N");
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

  std::vector<std::string> Lines() const {
    std::vector<std::string> lines;
    RecordFile file(options_.file);
    for (RecordFile::Line line; file.Next(line);) lines.push_back(line.text);
    return lines;
  }

  RecordModel instrument_;
  DownloadOptions options_;
  DownloadObserver observer_;
  std::vector<std::string> lines_;
};

TEST_F(Proof100000, FindsInFewRequestsWhatIsMissingOrTooMany) {
  // The list of registers, the pointer read and put back, and a mark for late replies come on top.
  constexpr long kBesides = 4;
  Log(100000);
  EXPECT_TRUE(ProveWith(lines_).whole);
  EXPECT_LE(instrument_.requests + kBesides, 12);
  const struct {
    long at, removed, doubled;
  } cases[] = {{0, 1, 0},   {1, 1, 0},         {50000, 1, 0},   {65536, 1, 0},  {99998, 1, 0},
               {777, 0, 1}, {99998, 0, 1},     {99999, 0, 2},   {33333, 49, 0}, {4096, 3, 0},
               {12, 0, 30}, {20000, 10000, 0}, {1000, 60000, 0}};
  for (const auto& [at, removed, doubled] : cases) {
    SCOPED_TRACE(at);
    std::vector<std::string> lines = lines_;
    for (long i = 0; i < doubled; ++i)
      lines.insert(lines.begin() + at + 2 * i,
                   lines_[static_cast<std::size_t>(at + (at == 99999 ? 0 : i))]);
    lines.erase(lines.begin() + at, lines.begin() + at + removed);
    const Outcome outcome = ProveWith(lines);
    EXPECT_FALSE(outcome.whole);
    ASSERT_EQ(outcome.parts.size(), 1u);
    EXPECT_EQ(outcome.parts[0].lacks, removed);
    EXPECT_EQ(outcome.parts[0].more, doubled);
    EXPECT_EQ(outcome.parts[0].from, TimeStamp(lines_[static_cast<std::size_t>(at)]));
    EXPECT_LE(instrument_.requests + kBesides, 12 + 40);
  }

  // One too many does not make up for one too few, be it before it or behind it.
  for (const long lacks : {400, 90000}) {
    std::vector<std::string> lines = lines_;
    lines.insert(lines.begin() + 70000, lines_[70000]);
    lines.erase(lines.begin() + lacks);
    EXPECT_EQ(ProveWith(lines).parts.size(), 2u);
  }
  // Records that the instrument no longer has, and later ones, make no difference.
  instrument_.Clear(30000);
  std::vector<std::string> lines = lines_;
  lines.resize(99000);
  const Outcome outcome = ProveWith(lines);
  EXPECT_TRUE(outcome.whole);
  EXPECT_EQ(outcome.older, 30000);
  EXPECT_EQ(outcome.records, 69000);
}

/// A month's file at the month's turn.
TEST_F(Proof100000, TakesNothingEarlierThanItIsToldTo) {
  options_.from = "2025-12";
  for (long at = 1; at < 20; ++at) {
    instrument_ = RecordModel();
    Log(10);
    instrument_.beforeEach = [&] {
      if (instrument_.requests == at) instrument_.Log("2025-11-30,23:59:59,1,N");
    };
    std::filesystem::remove(options_.file);
    const Outcome outcome = Download(instrument_, options_, observer_);
    EXPECT_TRUE(outcome.whole && Lines().empty()) << at;
    instrument_.Log("2025-12-01,00:00:00,2,N");
    EXPECT_TRUE(Download(instrument_, options_, observer_).whole);
    EXPECT_EQ(Lines().size(), 1u) << at;
  }
}

TEST_F(Proof100000, TellsWhatNoPositionReaches) {
  EXPECT_TRUE(Download(instrument_, options_, observer_).whole);
  instrument_.Set("0000-00-00 00:00:00");
  EXPECT_TRUE(Prove(instrument_, options_).whole);
  Log(10);
  instrument_.Log("0000-00-00,00:00:00,7,N");
  EXPECT_FALSE(Download(instrument_, options_, observer_).whole);
  options_.from = "2025-10";
  EXPECT_TRUE(Prove(instrument_, options_).whole);
}

TEST_F(Proof100000, OneBadRecordCostsItselfAlone) {
  Log(200);
  const std::string bad[] = {"2025-10-25,00:01:00,7,a\r\nb", "2025-10-25,00:06:00,7",
                             "2025-10-25,00:11:00,7,\r\n\r\n",
                             "2025-10-25,00:16:00,7,\r\nx,y,z\r\n,"};
  for (const std::string& record : bad) instrument_.Log(record);
  instrument_.onTheLine = [](RecordSource::Batch& batch) {
    // As many lines as were announced; what a text has more is behind them.
    std::string all;
    for (const std::string& line : batch.lines) all += line + "\r\n";
    for (std::string& line : batch.lines) {
      line = all.substr(0, all.find("\r\n"));
      all.erase(0, line.size() + 2);
    }
    batch.rest = all;
  };
  for (const long batch : {2, 3, 25, 1000}) {
    options_.batch = batch;
    std::filesystem::remove(options_.file);
    std::filesystem::remove(options_.file + ".rejected");
    for (int run = 0; run < 2; ++run) {
      const Outcome outcome = Download(instrument_, options_, observer_);
      EXPECT_TRUE(outcome.whole);
      EXPECT_EQ(outcome.rejected, 4);
      EXPECT_EQ(outcome.records, 200);
      EXPECT_EQ(Lines(), lines_);
    }
  }
  // Nor once the instrument no longer has it.
  instrument_.Clear(2);
  const Outcome outcome = Prove(instrument_, options_);
  EXPECT_EQ(std::tuple(outcome.rejected, outcome.records, outcome.older), std::tuple(3, 199, 2));
}

TEST_F(Proof100000, ReadsTwiceWhatALineMayChange) {
  Log(150);
  options_.twice = true;
  std::mt19937 random(1);
  std::uniform_real_distribution<> chance(0, 1);
  for (int run = 0; run < 60; ++run) {
    instrument_.onTheLine = [&](RecordSource::Batch& batch) {
      for (std::string& line : batch.lines) {
        for (std::size_t i = 0; i < line.size(); ++i) {
          if (chance(random) > (run % 2 == 0 ? 1e-3 : 1e-4)) continue;
          if (run % 3 == 0) line.erase(i, 1);
          if (run % 3 == 1) line.insert(i, 1, line[i]);
          if (run % 3 == 2) line[i] = static_cast<char>(line[i] ^ (1 << random() % 7));
        }
      }
    };
    std::filesystem::remove(options_.file);
    bool whole = false;
    try {
      const Outcome outcome = Download(instrument_, options_, observer_);
      whole = outcome.whole && outcome.rejected == 0;
    } catch (const Failure&) {
      // Said, too.
    }
    EXPECT_TRUE(!whole || Lines() == lines_) << run;
  }
}

}  // namespace
