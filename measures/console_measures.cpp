#include "console_measures.h"

#include <signal.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "measure.h"
#include "paced_line.h"

namespace {

void RunToEnd(const std::vector<std::string>& command) {
  Child child(command);
  if (child.Wait(120000) != 0) throw std::runtime_error(command[0] + ": " + child.Errors());
}

}  // namespace

void MeasurePage() {
  const std::string file = LabPath("page.csv");
  const std::string page = LabPath("page.html");
  RunToEnd({"awk", "-v", "file=" + file, R"awk(BEGIN {
    printf "Date,Time,c1,c2,c3,c4,c5,c6,c7,c8,c9,c10" > file
    for (i = 0; i < 100000; ++i) {
      day = i / 1440
      printf "\n2020-%02d-%02d,%02d:%02d:00", 1 + day / 28, 1 + day % 28, i % 1440 / 60, i % 60 > file
      for (c = 1; c <= 10; ++c) printf ",%.3f", c * 10 + rand() > file
    }
    print "" > file })awk"});
  std::vector<double> here;
  std::vector<double> floor;
  for (int i = 0; i < 5; ++i) {
    here.push_back(Seconds([&] {
      RunToEnd({Program("qmx-console"), "report", file, "-o", page});
    }));
    floor.push_back(Seconds([&] {
      RunToEnd({"awk", "-F,", "{ for (i = 3; i <= NF; ++i) sum += $i } END { print sum }", file});
    }));
  }
  Row("page of 100,000 records of 10 columns; awk adding them up", Number(Median(here), "s"),
      Number(Median(floor), "s"), Median(here) / Median(floor), "3 s");
  const auto open = [](const std::string& address) {
    return Seconds([&] {
      RunToEnd({"chromium", "--headless", "--no-sandbox", "--disable-gpu", "--no-first-run",
                "--disable-background-networking", "--user-data-dir=" + LabPath("browser"),
                "--screenshot=" + LabPath("page.png"), address});
    });
  };
  open("about:blank");
  const double seconds = open("file://" + page);
  const double nothing = open("about:blank");
  Row("that page in a browser; an empty one", Number(seconds, "s"), Number(nothing, "s"),
      seconds / nothing, "2 s above");
}

void MeasureDownload(Database& database) {
  FillTable(database, 3000);
  Station station({});
  PacedLine line(station.TheLine());
  const std::string file = LabPath("download.csv");
  const double here = Seconds([&] {
    Child console({Program("qmx-console"), line.Device(), "download", file});
    if (console.Wait(900000) != 0) throw std::runtime_error("download: " + console.Errors());
  });
  // CR LF on the line, LF in the file, which has a header besides.
  const std::string records = ReadFile(file);
  const double bytes = static_cast<double>(records.size() - records.find('\n') + 3000 - 1);
  Row("download of 3,000 records, proved, at 9600 baud; the wire's time for them",
      Number(here, "s"), Number(bytes * kSecondsPerByte, "s"), here / (bytes * kSecondsPerByte),
      "1.03");

  double longest = 0;
  for (const int after : {14000, 15000, 16000, 17000}) {
    Child console({Program("qmx-console"), line.Device(), "download", file + ".2"});
    std::this_thread::sleep_for(std::chrono::milliseconds(after));
    console.Signal(SIGINT);
    longest = std::max(longest, Seconds([&] { console.Wait(60000); }));
  }
  Row("an interrupt of it obeyed, at the longest of four", Number(longest, "s"), "5 s", longest / 5,
      "1");
}
