#include "records/record_store.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iostream>
#include <set>

#include "line/failure.h"
#include "line/visible.h"
#include "records/record_file.h"

namespace {

constexpr char kRejected[] = ".rejected";
constexpr char kRejectedHeader[] = "Time stamp,Why,Bytes";
constexpr char kNew[] = ".new";

/// Bytes on one line and back: \r, \n and \\.
std::string Escaped(const std::string& bytes) {
  std::string text;
  for (const char byte : bytes) {
    text += byte == '\r'   ? "\\r"
            : byte == '\n' ? "\\n"
            : byte == '\\' ? "\\\\"
                           : std::string(1, byte);
  }
  return text;
}

std::string Unescaped(const std::string& text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool escape = text[i] == '\\' && i + 1 < text.size();
    const char byte = escape ? text[++i] : text[i];
    bytes += !escape ? byte : byte == 'r' ? '\r' : byte == 'n' ? '\n' : byte;
  }
  return bytes;
}

std::string LinesOf(const std::vector<Record>& records, const FieldTexts& names) {
  std::string lines;
  for (const Record& record : records) lines += LineOf(record.sent, names) + "\n";
  return lines;
}

/// The letters and digits of a header, whatever stands between, around and before them.
std::string WithoutSeparators(const std::string& header) {
  std::string letters;
  for (const char byte : header) {
    if (std::isalnum(static_cast<unsigned char>(byte)) != 0) letters += byte;
  }
  return letters;
}

bool TakeOne(std::multiset<std::string>& lines, const std::string& line) {
  const auto found = lines.find(line);
  if (found == lines.end()) return false;
  lines.erase(found);
  return true;
}

}  // namespace

RecordStore::RecordStore(std::string path, std::string header)
    : path_(std::move(path)), header_(std::move(header)), names_(SplitLine(header_)) {
  if (!IsFile()) return;
  std::error_code failed;
  // Where it is a link, what it leads to is kept.
  const auto target = std::filesystem::canonical(path_, failed);
  if (!failed) path_ = target;
  if (!failed || header_.empty()) Read();
  if (std::filesystem::exists(path_ + kRejected)) ReadRejected();
}

void RecordStore::Read() {
  RecordFile file(path_);
  const RecordFile::Line& first = file.Header();
  if (header_.empty() && !first.whole) throw Failure(kUsage, path_ + " has no records.");
  if (header_.empty() && first.whole) {
    header_ = first.text;
    names_ = file.Names();
  }
  if (first.whole ? first.text != header_
                  : header_.compare(0, first.text.size(), first.text) != 0) {
    if (first.whole && WithoutSeparators(first.text) == WithoutSeparators(header_)) {
      throw Failure(kUsage, path_ +
                                " was saved by another program, a spreadsheet perhaps, which wrote "
                                "its lines in another way: " +
                                kWorkOnACopy);
    }
    throw Failure(kUsage,
                  path_ + " is not of this download; its first line would be: " + Visible(header_));
  }
  std::vector<std::string> stamps;
  if (first.whole) size_ = static_cast<long long>(first.end);
  for (RecordFile::Line line; file.Next(line) && line.whole;) {
    if (!file.HasCarriageReturns()) file.Require(line);
    stamps.push_back(TimeStamp(line.text));
    newest_ = std::max(newest_, stamps.back());
    size_ = static_cast<long long>(line.end);
  }
  if (file.HasCarriageReturns()) {
    throw Failure(
        kUsage,
        path_ + " was saved by another program, which ended its lines in CR LF: " + kWorkOnACopy);
  }
  held_ = Held(std::move(stamps));
}

void RecordStore::ReadRejected() {
  RecordFile file(path_ + kRejected);
  const std::string& first = file.Header().text;
  if (first != (file.Header().whole ? kRejectedHeader
                                    : std::string(kRejectedHeader).substr(0, first.size()))) {
    throw Failure(kUsage,
                  path_ + kRejected +
                      " is not of this download; its first line would be: " + kRejectedHeader);
  }
  if (file.Header().whole) rejectedSize_ = static_cast<long long>(file.Header().end);
  for (RecordFile::Line line; file.Next(line) && line.whole;) {
    const FieldTexts fields = SplitLine(line.text);
    rejectedSize_ = static_cast<long long>(line.end);
    if (fields.size() != 3) continue;
    rejected_.push_back({fields[0], Unescaped(fields[2]), fields[1]});
    held_.Add(fields[0]);
  }
}

void RecordStore::Begin() {
  if (!IsFile()) {
    std::cout << header_ << "\n";
    return;
  }
  file_.emplace(path_, DiskFile::How::kAppend);
  file_->CutTo(size_);
  if (size_ == 0) Append(header_ + "\n");
}

void RecordStore::Append(const std::string& lines) {
  if (!IsFile()) {
    if (!(std::cout << lines << std::flush))
      throw Failure(kUsage, "The records cannot be written.");
    return;
  }
  if (!file_->IsInPlace()) {
    throw Failure(kUsage, path_ + " was removed or replaced while it was written.");
  }
  try {
    file_->Write(lines);
    file_->Settle();
    size_ += static_cast<long long>(lines.size());
  } catch (const Failure& failure) {
    try {
      file_->CutTo(size_);
    } catch (const Failure&) {
      // The next download cuts it.
    }
    throw;
  }
}

/// Into their places, behind those of the same time stamps.
void RecordStore::Insert(std::vector<Record> records) {
  std::stable_sort(records.begin(), records.end(),
                   [](const Record& a, const Record& b) { return a.stamp < b.stamp; });
  constexpr std::size_t kPiece = 1 << 20;
  DiskFile file(path_ + kNew, DiskFile::How::kNew);
  std::string piece = header_ + "\n";
  auto next = records.begin();
  const auto addBefore = [&](const std::string* stamp) {
    for (; next != records.end() && (stamp == nullptr || next->stamp < *stamp); ++next) {
      piece += LineOf(next->sent, names_) + "\n";
    }
  };
  RecordFile old(path_);
  for (RecordFile::Line line; old.Next(line) && line.whole;) {
    const std::string stamp = TimeStamp(line.text);
    addBefore(&stamp);
    piece += line.text + "\n";
    if (piece.size() < kPiece) continue;
    file.Write(piece);
    piece.clear();
  }
  addBefore(nullptr);
  file.Write(piece);
  file.TakePlaceOf(path_);
  file_.emplace(path_, DiskFile::How::kAppend);
  size_ = file_->Size();
}

void RecordStore::Reject(const std::vector<Record>& records) {
  std::string lines = rejectedSize_ == 0 ? std::string(kRejectedHeader) + "\n" : "";
  for (const Record& record : records) {
    lines += JoinLine({record.stamp, record.flaw, Escaped(record.sent)}) + "\n";
  }
  DiskFile file(path_ + kRejected, DiskFile::How::kAppend);
  file.CutTo(rejectedSize_);
  file.Write(lines);
  file.Settle();
  rejectedSize_ = file.Size();
}

void RecordStore::Add(const std::vector<Record>& records) {
  std::vector<Record> good;
  std::vector<Record> bad;
  std::string latest = newest_;
  bool inOrder = true;
  for (const Record& record : records) {
    (record.flaw.empty() ? good : bad).push_back(record);
    if (!record.flaw.empty()) continue;
    inOrder = inOrder && record.stamp >= latest;
    latest = std::max(latest, record.stamp);
    unclear_ += names_.size() > 3 && SplitSent(record.sent).size() > names_.size() ? 1 : 0;
  }
  if (!good.empty()) {
    if (inOrder || !IsFile()) {
      Append(LinesOf(good, names_));
    } else {
      Insert(std::move(good));
    }
  }
  if (!bad.empty() && IsFile()) Reject(bad);
  newest_ = latest;
  for (const Record& record : records) held_.Add(record.stamp);
  rejected_.insert(rejected_.end(), bad.begin(), bad.end());
}

std::vector<Record> RecordStore::Missing(const std::vector<Record>& records,
                                         const std::string& from, const std::string& before,
                                         std::vector<std::string>& others) const {
  const auto between = [&](const std::string& stamp) { return stamp >= from && stamp < before; };
  // Of a table that is not ordered by their texts, time stamps from elsewhere may come.
  std::set<std::string> elsewhere;
  for (const Record& record : records) {
    if (!between(record.stamp)) elsewhere.insert(record.stamp);
  }
  std::multiset<std::string> lines;
  std::multiset<std::string> linesElsewhere;
  if (IsThere()) {
    RecordFile file(path_);
    for (RecordFile::Line line; file.Next(line) && line.whole;) {
      const std::string stamp = TimeStamp(line.text);
      if (between(stamp)) lines.insert(line.text);
      if (elsewhere.count(stamp) != 0) linesElsewhere.insert(line.text);
    }
  }
  std::multiset<std::string> rejected;
  for (const Record& record : rejected_) {
    if (between(record.stamp)) rejected.insert(record.sent);
  }
  std::vector<Record> missing;
  for (const Record& record : records) {
    // The first version quoted nothing, and wrote a blank for a line feed in a text.
    std::string plain = record.sent;
    std::replace(plain.begin(), plain.end(), '\n', ' ');
    auto& known = between(record.stamp) ? lines : linesElsewhere;
    const bool held = record.flaw.empty() ? TakeOne(known, LineOf(record.sent, names_))
                                          : TakeOne(rejected, record.sent);
    if (!held && !TakeOne(known, plain)) missing.push_back(record);
  }
  others.assign(lines.begin(), lines.end());
  return missing;
}
