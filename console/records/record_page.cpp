#include "records/record_page.h"

#include <sha256.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "line/failure.h"
#include "page/page.h"
#include "records/figures.h"
#include "records/series.h"

namespace {

constexpr std::size_t kMostGaps = 1000;

/// The shortest text that is this number.
std::string NumberText(double number) {
  char text[40];
  const auto [end, error] = std::to_chars(text, text + sizeof text, number);
  return error == std::errc() ? std::string(text, end) : "";
}

std::string MeanText(double number) {
  char text[40];
  std::snprintf(text, sizeof text, "%.6g", number);
  return text;
}

std::string Checksum(const std::string& path) {
  char text[SHA256_DIGEST_STRING_LENGTH];
  if (SHA256File(path.c_str(), text) == nullptr) {
    throw Failure(kUsage, path + " cannot be read.");
  }
  return text;
}

/// "98,490, 2 empty".
std::string ValuesText(const Column& column) {
  std::string text = column.numeric ? Grouped(column.numbers) : "";
  const auto add = [&text](long count, const char* what) {
    if (count > 0) text += (text.empty() ? "" : ", ") + Grouped(count) + what;
  };
  add(column.odd, " no numbers or beyond 1e100");
  add(column.empty, " empty");
  return text;
}

class RecordPage {
 public:
  RecordPage(std::ostream& page, const RecordPageOptions& options, const Series& series)
      : page_(page), options_(options), series_(series), capture_(series.moments) {}

  void Write(const Facts& instrument, const std::string& proof) {
    const auto name = [this](std::size_t i) {
      return std::filesystem::path(options_.files[i]).filename().string();
    };
    const std::size_t others = options_.files.size() - 1;
    std::string style(PlotStyle());
    BeginPage(page_,
              "Records of " + name(0) +
                  (others == 0   ? ""
                   : others == 1 ? " and " + name(1)
                                 : " and " + std::to_string(others) + " more"),
              style.append(RecordsStyle()));
    WriteSummary(proof);
    WritePlots();
    WriteStatistics();
    WriteCapture();
    WriteGaps();
    WriteEvents();
    WriteInstrument(instrument);
    WriteFiles();
    page_ << "<details class=\"screen\"><summary>Licence of the plots' library</summary>\n<pre>"
          << HtmlText(std::string(PlotLicence())) << "</pre></details>\n";
    WriteData();
    page_ << "<script>" << PlotScript() << "</script>\n<script>" << RecordsScript()
          << "</script>\n";
    EndPage(page_);
  }

 private:
  void WriteSummary(const std::string& proof) {
    const Share all = capture_.All();
    page_ << "<p>" << RecordsText(static_cast<std::int64_t>(series_.moments.size()))
          << " from <span class=\"time\">" << TimeStampOf(series_.moments.front())
          << "</span> to <span class=\"time\">" << TimeStampOf(series_.moments.back())
          << "</span>, as the instrument's clock went. ";
    if (capture_.Interval() == 0) {
      page_ << "No logging interval can be seen.</p>\n";
    } else {
      page_ << "Logging interval " << DurationText(capture_.Interval()) << "; <span class=\""
            << (all.missing == 0 ? "ok" : "look") << "\">data capture " << PercentText(all)
            << "</span>";
      if (all.missing != 0) {
        page_ << ", " << Grouped(all.missing) << " missing in "
              << Grouped(static_cast<std::int64_t>(capture_.Gaps().size()))
              << (capture_.Gaps().size() == 1 ? " gap" : " gaps");
      }
      page_ << ".</p>\n";
    }
    page_ << "<p>"
          << (proof.empty() ? "Whether the file holds all that the instrument holds was not asked "
                              "for this page: <code>qmx-console DEVICE prove FILE</code> tells."
                            : HtmlText(proof))
          << "</p>\n";
    Note(series_.stretch > 1,
         "There are more values than a page can hold: of each " + std::to_string(series_.stretch) +
             " records the lowest and the highest value are drawn, so that no peak is lost. "
             "Figures and tables are of all records.");
    Note(series_.cutLines > 0, "A last line was cut off, and is left out.");
    Note(series_.unsureLines > 0, RecordsText(series_.unsureLines) +
                                      " with more commas than the header has names: counted, "
                                      "their values left out.");
  }

  void Note(bool so, const std::string& text) {
    if (so) page_ << "<p class=\"look\">" << HtmlText(text) << "</p>\n";
  }

  void WriteInstrument(const Facts& facts) {
    if (facts.empty()) return;
    page_ << "<h2>The instrument</h2>\n<details><summary>As it was when this page was made"
          << "</summary>\n<div class=\"scroll\"><table>\n";
    for (const auto& [name, text] : facts) {
      page_ << "<tr><th>" << HtmlText(name) << "</th><td>" << HtmlText(text) << "</td></tr>\n";
    }
    page_ << "</table></div></details>\n";
  }

  void WritePlots() {
    page_ << "<h2>Plots</h2>\n<div class=\"tools\">";
    static constexpr std::pair<const char*, const char*> kTools[] = {
        {"whole", "Whole time"}, {"month", "Last 30 days"}, {"week", "Last 7 days"},
        {"day", "Last day"},     {"earlier", "Earlier"},    {"later", "Later"},
        {"closer", "Closer"},    {"wider", "Wider"}};
    for (const auto& [id, text] : kTools) {
      page_ << "<button type=\"button\" id=\"" << id << "\">" << text << "</button>";
    }
    page_
        << "<output id=\"window\" class=\"quiet time\"></output></div>\n"
        << "<p class=\"quiet screen\">All plots show the same time. Drag over a stretch to see it "
           "closer, with Shift to move; double-click for the whole. By keyboard: arrows, + and −, "
           "Home.</p>\n<p class=\"quiet\">Gaps are shaded; dotted lines are changes of a "
           "text.</p>\n";
    for (const Column& column : series_.columns) {
      if (!column.numeric) continue;
      const std::string unit = UnitOf(column.name);
      page_ << "<figure><figcaption><strong>" << HtmlText(column.name)
            << (unit.empty() ? "" : " in " + HtmlText(unit)) << "</strong><output class=\"time\">"
            << NumberText(column.lowest) << " to " << NumberText(column.highest)
            << "</output></figcaption>\n<div class=\"plot\" tabindex=\"0\" role=\"img\" "
               "data-column=\""
            << plots_++ << "\" aria-describedby=\"figures\" aria-label=\"" << HtmlText(column.name)
            << " over time; its figures are in the table below\"></div></figure>\n";
    }
    if (plots_ == 0) page_ << "<p>No column holds numbers.</p>\n";
  }

  void WriteStatistics() {
    page_
        << "<h2>Figures</h2>\n<div class=\"scroll\"><table id=\"figures\"><thead><tr><th>column"
           "</th><th class=\"number\">minimum</th><th>at</th><th class=\"number\">maximum</th><th>"
           "at</th><th class=\"number\">mean</th><th class=\"number\">values</th><th>the same to "
           "the "
           "last digit for</th></tr></thead>\n<tbody>\n";
    for (const Column& column : series_.columns) {
      page_ << "<tr><th>" << HtmlText(column.name) << "</th>";
      if (column.numeric) {
        page_ << "<td class=\"number\">" << NumberText(column.lowest) << "</td><td class=\"time\">"
              << TimeStampOf(column.lowestAt) << "</td><td class=\"number\">"
              << NumberText(column.highest) << "</td><td class=\"time\">"
              << TimeStampOf(column.highestAt) << "</td><td class=\"number\">"
              << MeanText(column.sum / static_cast<double>(column.numbers)) << "</td>";
      } else {
        page_ << "<td colspan=\"5\" class=\"quiet\">"
              << (column.empty + series_.unsureLines == static_cast<long>(series_.moments.size())
                      ? "empty"
                      : "texts")
              << "</td>";
      }
      page_ << "<td class=\"number\">" << ValuesText(column) << "</td><td>";
      if (column.longest.to > column.longest.from) {
        page_ << DurationText(column.longest.to - column.longest.from)
              << " from <span class=\"time\">" << TimeStampOf(column.longest.from) << "</span> ("
              << HtmlText(column.longest.text.substr(0, 60)) << ")";
      }
      page_ << "</td></tr>\n";
    }
    page_ << "</tbody></table></div>\n";
  }

  void WriteShares(const std::vector<Share>& shares, const char* what) {
    page_ << "<div class=\"scroll\"><table><thead><tr><th>" << what
          << "</th><th class=\"number\">records</th><th class=\"number\">missing</th><th "
             "class=\"number\">capture</th><th></th></tr></thead>\n<tbody>\n";
    for (const Share& share : shares) {
      page_ << "<tr><td class=\"time\">" << share.from
            << (share.to == share.from ? "" : " to " + share.to) << "</td><td class=\"number\">"
            << Grouped(share.present) << "</td><td class=\"number\">" << Grouped(share.missing)
            << "</td><td class=\"number\">" << PercentText(share)
            << "</td><td><span class=\"track\"><span class=\"bar\" style=\"width:"
            << static_cast<int>(share.Percent()) << "%\"></span></span></td></tr>\n";
    }
    page_ << "</tbody></table></div>\n";
  }

  void WriteCapture() {
    if (capture_.Interval() == 0) return;
    page_ << "<h2>Data capture</h2>\n<p class=\"quiet\">Records there, against those that the "
             "interval "
             "would have had between the first and the last record.</p>\n";
    WriteShares(capture_.Months(), "month");
    page_ << "<details" << (capture_.Days().size() <= 40 ? " open" : "")
          << "><summary>By day</summary>\n";
    WriteShares(capture_.Days(), "day");
    page_ << "</details>\n";
  }

  void WriteGaps() {
    if (capture_.Gaps().empty()) return;
    page_
        << "<h2>Gaps</h2>\n<div class=\"scroll\"><table><thead><tr><th>last record before</th><th>"
           "first record behind</th><th>for</th><th class=\"number\">records missing</th><th></th>"
           "</tr></thead>\n<tbody>\n";
    const std::size_t shown = std::min(kMostGaps, capture_.Gaps().size());
    for (std::size_t i = 0; i < shown; ++i) {
      const Gap& gap = capture_.Gaps()[i];
      page_ << "<tr><td class=\"time\">" << TimeStampOf(gap.from) << "</td><td class=\"time\">"
            << TimeStampOf(gap.to) << "</td><td class=\"time\">" << DurationText(gap.to - gap.from)
            << "</td><td class=\"number\">" << Grouped(gap.missing)
            << "</td><td><button type=\"button\" data-from=\"" << gap.from << "\" data-to=\""
            << gap.to << "\">Show</button></td></tr>\n";
    }
    page_ << "</tbody></table></div>\n";
    const std::size_t more = capture_.Gaps().size() - shown;
    if (more > 0) page_ << "<p>And " << more << " more.</p>\n";
  }

  void WriteEvents() {
    if (series_.events.empty()) return;
    page_
        << "<h2>Events</h2>\n<p class=\"quiet\">Where a text differs from the one before it.</p>\n"
        << "<details" << (series_.events.size() <= 40 ? " open" : "")
        << "><summary>List</summary>\n<div class=\"scroll\"><table><thead><tr><th>time</th><th>"
           "column</th><th>text</th></tr></thead>\n<tbody>\n";
    for (const Event& event : series_.events) {
      page_ << "<tr><td class=\"time\">" << TimeStampOf(event.moment) << "</td><td>"
            << HtmlText(series_.columns[event.column].name) << "</td><td>" << HtmlText(event.text)
            << "</td></tr>\n";
    }
    page_ << "</tbody></table></div></details>\n";
    if (series_.moreEvents > 0) {
      page_ << "<p class=\"look\">" << Grouped(series_.moreEvents)
            << " more changes of texts are neither listed nor drawn.</p>\n";
    }
  }

  void WriteFiles() {
    page_ << "<h2>Files</h2>\n<div class=\"scroll\"><table><thead><tr><th>file</th><th>SHA-256</th>"
             "</tr></thead>\n<tbody>\n";
    for (const std::string& file : options_.files) {
      page_ << "<tr><td>" << HtmlText(file) << "</td><td><code>" << Checksum(file)
            << "</code></td></tr>\n";
    }
    page_ << "</tbody></table></div>\n";
  }

  void WriteMoments(const std::vector<Moment>& moments) {
    page_ << "[";
    for (std::size_t i = 0; i < moments.size(); ++i) page_ << (i == 0 ? "" : ",") << moments[i];
    page_ << "]";
  }

  /// What the plots are drawn from.
  void WriteData() {
    page_ << "<script type=\"application/json\" id=\"data\">{\"from\":" << series_.moments.front()
          << ",\"to\":" << series_.moments.back() << ",\"gaps\":[";
    for (std::size_t i = 0; i < capture_.Gaps().size(); ++i) {
      page_ << (i == 0 ? "[" : ",[") << capture_.Gaps()[i].from << "," << capture_.Gaps()[i].to
            << "]";
    }
    page_ << "],\"events\":[";
    for (std::size_t i = 0; i < series_.events.size(); ++i) {
      page_ << (i == 0 ? "[" : ",[") << series_.events[i].moment << "]";
    }
    page_ << "],\"times\":";
    WriteMoments(series_.stretch == 1 ? series_.moments : std::vector<Moment>());
    page_ << ",\"columns\":[";
    const char* comma = "";
    for (const Column& column : series_.columns) {
      if (!column.numeric) continue;
      page_ << comma << "{\"values\":[";
      comma = ",";
      for (std::size_t i = 0; i < column.values.size(); ++i) {
        const double value = column.values[i];
        page_ << (i == 0 ? "" : ",") << (std::isnan(value) ? "null" : NumberText(value));
      }
      page_ << "]";
      if (series_.stretch > 1) {
        page_ << ",\"times\":";
        WriteMoments(column.moments);
      }
      page_ << "}";
    }
    page_ << "]}</script>\n";
  }

  std::ostream& page_;
  const RecordPageOptions& options_;
  const Series& series_;
  const Capture capture_;
  int plots_ = 0;
};

std::string PathOf(const RecordPageOptions& options) {
  if (!options.page.empty()) return options.page;
  return std::filesystem::path(options.files.front()).replace_extension(".html").string();
}

}  // namespace

std::string WriteRecordPage(const RecordPageOptions& options, const Facts& instrument,
                            const std::string& proof) {
  const Series series = ReadSeries(options.files);
  const std::string path = PathOf(options);
  WritePage(path, [&](std::ostream& page) {
    RecordPage(page, options, series).Write(instrument, proof);
  });
  return path;
}
