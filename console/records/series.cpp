#include "records/series.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <optional>

#include "line/failure.h"
#include "line/visible.h"
#include "records/record_file.h"

namespace {

/// Beyond this no axis can be drawn.
constexpr double kLargest = 1e100;

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

/// The decimal number that the whole text is, which may be infinite or no number; nothing for
/// another text.
std::optional<double> NumberOf(const std::string& text) {
  // strtod(3) takes hexadecimal ones and "nan(...)" too, and blanks before.
  if (text.empty() || text.find_first_of("xX( \t") != std::string::npos) return std::nullopt;
  char* end = nullptr;
  const double number = std::strtod(text.c_str(), &end);
  return *end == 0 ? std::optional(number) : std::nullopt;
}

/// Goes through the records of all files: what is wrong with one is told with its place.
class Reader {
 public:
  explicit Reader(const std::vector<std::string>& files) : files_(files) {}

  const FieldTexts& Names() const { return names_; }

  /// Calls `take` with moment and fields of every record; the fields are empty where it is not
  /// sure which is which.
  template <typename Take>
  void ForEach(Series& series, const Take& take) {
    Moment latest = std::numeric_limits<Moment>::min();
    for (const std::string& path : files_) {
      RecordFile file(path);
      if (file.Names().size() < 2 || !file.Header().whole) {
        throw Failure(kUsage, path + " is no file of records: its first line names no fields.");
      }
      if (names_.empty()) names_ = file.Names();
      if (file.Names() != names_) {
        throw Failure(kUsage, path + " has other fields than " + files_.front() + ".");
      }
      for (RecordFile::Line line; file.Next(line);) {
        if (!line.whole) {
          ++series.cutLines;
          break;
        }
        file.Require(line);
        const std::string stamp = TimeStamp(line.text);
        const std::optional<Moment> moment = MomentOf(stamp);
        const auto place = [&] { return path + ", line " + std::to_string(line.number) + ": "; };
        if (!moment) throw Failure(kUsage, place() + Visible(stamp) + " is no date and time.");
        if (*moment < latest) {
          throw Failure(kUsage, place() + stamp + " comes behind " + TimeStampOf(latest) +
                                    ": give files in the order of their time, none twice.");
        }
        latest = *moment;
        FieldTexts fields = SplitLine(line.text);
        if (fields.size() != names_.size()) {
          fields.clear();
          ++series.unsureLines;
        }
        take(*moment, fields);
      }
    }
  }

 private:
  const std::vector<std::string>& files_;
  FieldTexts names_;
};

void Count(Column& column, Moment moment, const std::string& text) {
  const std::optional<double> number = NumberOf(text);
  if (text.empty()) {
    ++column.empty;
  } else if (!number) {
    column.numeric = false;
  } else if (!(std::fabs(*number) <= kLargest)) {
    ++column.odd;
  } else {
    if (column.numbers == 0 || *number < column.lowest) {
      column.lowest = *number;
      column.lowestAt = moment;
    }
    if (column.numbers == 0 || *number > column.highest) {
      column.highest = *number;
      column.highestAt = moment;
    }
    column.sum += *number;
    ++column.numbers;
  }
}

/// Follows the texts of a column: how long it stands, and where it changes.
class TextCourse {
 public:
  /// Returns whether the text differs from the one before it. Nothing stands across a gap.
  bool Add(Column& column, Moment moment, const std::string& text, bool behindGap) {
    const bool changed = !begun_ || text != standing_.text;
    if (changed || behindGap) standing_ = {moment, moment, text};
    begun_ = true;
    standing_.to = moment;
    if (!text.empty() && moment - standing_.from > column.longest.to - column.longest.from) {
      column.longest = standing_;
    }
    return changed;
  }

 private:
  Standing standing_;
  bool begun_ = false;
};

/// The lowest and the highest of a stretch of records, in their order.
struct Stretch {
  long records = 0;
  Moment first = 0;
  double lowest = kNone;
  double highest = kNone;
  Moment lowestAt = 0;
  Moment highestAt = 0;

  void Add(Moment moment, double value) {
    if (records++ == 0) first = moment;
    if (std::isnan(value)) return;
    if (!(lowest <= value)) {
      lowest = value;
      lowestAt = moment;
    }
    if (!(highest >= value)) {
      highest = value;
      highestAt = moment;
    }
  }

  void Close(Column& column) {
    if (records == 0) return;
    const auto put = [&column](Moment moment, double value) {
      column.moments.push_back(moment);
      column.values.push_back(value);
    };
    if (std::isnan(lowest)) {
      put(first, kNone);
    } else {
      const bool falls = highestAt < lowestAt;
      put(falls ? highestAt : lowestAt, falls ? highest : lowest);
      if (highest > lowest) put(falls ? lowestAt : highestAt, falls ? lowest : highest);
    }
    *this = {};
  }
};

/// The first time through: what there is.
void Survey(Reader& reader, Series& series) {
  reader.ForEach(series, [&](Moment moment, const FieldTexts& fields) {
    series.moments.push_back(moment);
    if (series.columns.empty()) {
      for (std::size_t i = 2; i < reader.Names().size(); ++i) {
        series.columns.emplace_back();
        series.columns.back().name = reader.Names()[i];
        series.columns.back().numeric = true;
      }
    }
    for (std::size_t i = 2; i < fields.size(); ++i) Count(series.columns[i - 2], moment, fields[i]);
  });
  for (Column& column : series.columns) column.numeric = column.numeric && column.numbers > 0;
}

/// How many records share one stretch, so that no more numbers are drawn than a page can hold.
long StretchFor(const Series& series) {
  const auto drawn =
      static_cast<std::size_t>(std::count_if(series.columns.begin(), series.columns.end(),
                                             [](const Column& column) { return column.numeric; }));
  const std::size_t numbers = series.moments.size() * drawn;
  return numbers <= kMostNumbers ? 1 : static_cast<long>(2 * numbers / kMostNumbers + 1);
}

/// The second time: what is drawn.
class Drawing {
 public:
  explicit Drawing(Series& series)
      : series_(series),
        gap_(Capture(series.moments).Interval() * 3 / 2),
        courses_(series.columns.size()),
        stretches_(series.columns.size()) {
    series.stretch = StretchFor(series);
  }

  void Add(Moment moment, const FieldTexts& fields) {
    const bool behindGap = records_ > 0 && moment - series_.moments[records_ - 1] > gap_;
    // What has come to the file since the first time is left for the next page.
    if (records_ == series_.moments.size()) return;
    ++records_;
    for (std::size_t i = 0; i < series_.columns.size(); ++i) {
      Column& column = series_.columns[i];
      const std::string text = fields.empty() ? "" : fields[i + 2];
      const bool changed = courses_[i].Add(column, moment, text, behindGap);
      if (column.numeric) {
        Draw(column, stretches_[i], moment, text);
      } else if (changed && !text.empty()) {
        const bool room = series_.events.size() < kMostEvents;
        if (room) series_.events.push_back({moment, i, text});
        if (!room) ++series_.moreEvents;
      }
    }
  }

  /// Whether all records were there again.
  bool Finish() {
    for (std::size_t i = 0; i < stretches_.size(); ++i) stretches_[i].Close(series_.columns[i]);
    return records_ == series_.moments.size();
  }

 private:
  void Draw(Column& column, Stretch& stretch, Moment moment, const std::string& text) const {
    const double value = NumberOf(text).value_or(kNone);
    const double drawn = std::fabs(value) <= kLargest ? value : kNone;
    if (series_.stretch == 1) {
      column.values.push_back(drawn);
      return;
    }
    stretch.Add(moment, drawn);
    if (stretch.records == series_.stretch) stretch.Close(column);
  }

  Series& series_;
  Moment gap_;
  std::size_t records_ = 0;
  std::vector<TextCourse> courses_;
  std::vector<Stretch> stretches_;
};

}  // namespace

Series ReadSeries(const std::vector<std::string>& files) {
  Series series;
  Reader reader(files);
  Survey(reader, series);
  if (series.moments.empty()) {
    throw Failure(kUsage, files.front() + " holds no records: there is nothing to show.");
  }
  Drawing drawing(series);
  Series again;
  reader.ForEach(
      again, [&drawing](Moment moment, const FieldTexts& fields) { drawing.Add(moment, fields); });
  if (!drawing.Finish()) throw Failure(kUsage, "The files were changed while they were read.");
  return series;
}

std::string UnitOf(const std::string& name) {
  static constexpr std::pair<const char*, const char*> kUnits[] = {
      {"_ug_m3", "µg/m³"}, {"_mg_m3", "mg/m³"}, {"_l_min", "l/min"}, {"_l_h", "l/h"},
      {"_m3_h", "m³/h"},   {"_m_s", "m/s"},     {"_degC", "°C"},     {"_C", "°C"},
      {"_K", "K"},         {"_hPa", "hPa"},     {"_mbar", "mbar"},   {"_kPa", "kPa"},
      {"_Pa", "Pa"},       {"_mV", "mV"},       {"_V", "V"},         {"_mA", "mA"},
      {"_A", "A"},         {"_W", "W"},         {"_Hz", "Hz"},       {"_pct", "%"},
      {"_percent", "%"},   {"_ug", "µg"},       {"_mg", "mg"},       {"_s", "s"},
      {"_min", "min"},     {"_h", "h"}};
  for (const auto& [end, unit] : kUnits) {
    const std::string text = end;
    if (name.size() > text.size() &&
        name.compare(name.size() - text.size(), text.size(), text) == 0) {
      return unit;
    }
  }
  return "";
}
