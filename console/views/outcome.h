// What a download or a proof has come to.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "records/download.h"

/// What the file holds and what it lacks.
std::string HoldsText(const std::string& file, const Outcome& outcome);

/// The same, and how regularly records were logged; with `gaps`, each gap and each day.
std::string OutcomeText(const std::string& file, const Outcome& outcome, bool gaps);
std::string OutcomeJson(const std::string& command, const std::string& file, const Outcome& outcome,
                        bool gaps);

/// Throws Failure unless the file holds all: kBroken where records were rejected, kNotWhole.
void RequireWhole(const std::string& file, const Outcome& outcome);

/// A line on standard error that tells how far a download is; on a terminal, all the time.
class Progress : public DownloadObserver {
 public:
  Progress();
  ~Progress() override;
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  void Begins(const std::string& goal) override;
  void Brought(const std::vector<Record>& records) override;
  void Proves() override;

 private:
  std::string TimeLeft(double seconds) const;

  bool terminal_;
  bool open_ = false;  // a line that has no end yet
  std::string first_;
  std::string last_;
  std::string goal_;
  long records_ = 0;
  std::size_t bytes_ = 0;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};
