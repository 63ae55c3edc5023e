// A disk that fails, at every call of a download in turn: the file is the old one or a longer one,
// and the next download goes on. The calls are those of the console's own code, caught at the
// link.
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "line/failure.h"
#include "record_model.h"
#include "records/download.h"

namespace {

enum class Fault { kNone, kFull, kReadOnly, kBroken, kRemoved, kGone };

Fault g_fault = Fault::kNone;  // what happens
int g_at = 0;                  // at this call, counted from 1
int g_calls = 0;
std::string g_folder;

/// Counts a call. Returns whether it fails, with errno set. A full disk takes what makes it
/// shorter, a broken one or one that is pulled out takes nothing from then on.
bool Fails(bool shortens) {
  if (g_fault == Fault::kNone || ++g_calls < g_at) return false;
  if (g_calls == g_at && g_fault == Fault::kRemoved) std::filesystem::remove(g_folder + "/r.csv");
  if (g_fault == Fault::kRemoved || (g_fault == Fault::kFull && shortens)) return false;
  errno = g_fault == Fault::kFull ? ENOSPC : g_fault == Fault::kReadOnly ? EROFS : EIO;
  return g_fault != Fault::kBroken || g_calls == g_at;
}

template <typename Function>
Function* Real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {
ssize_t write(int file, const void* bytes, size_t size) {
  static auto* const real = Real<ssize_t(int, const void*, size_t)>("write");
  if (file <= 2 || !Fails(false)) return real(file, bytes, size);
  const int why = errno;
  // A part of it goes in.
  const ssize_t part = why == ENOSPC ? real(file, bytes, size / 2) : 0;
  errno = why;
  return part > 0 && g_calls == g_at ? part : -1;
}
int fsync(int file) {
  static auto* const real = Real<int(int)>("fsync");
  return Fails(false) ? -1 : real(file);
}
int ftruncate(int file, off_t size) {
  static auto* const real = Real<int(int, off_t)>("ftruncate");
  return Fails(true) ? -1 : real(file, size);
}
int rename(const char* from, const char* to) {
  static auto* const real = Real<int(const char*, const char*)>("rename");
  return Fails(true) ? -1 : real(from, to);
}
}

namespace {

TEST(Disk, MayFailAtAnyCall) {
  g_folder = testing::TempDir() + "disk." + std::to_string(getpid());
  DownloadOptions options;
  options.file = g_folder + "/r.csv";
  options.batch = 10;
  DownloadObserver observer;
  const auto record = [](int minute) {
    return "2026-10-25,0" + std::to_string(minute / 10) + ":00:0" + std::to_string(minute % 10) +
           ",1,N";
  };
  for (const Fault fault :
       {Fault::kFull, Fault::kReadOnly, Fault::kBroken, Fault::kRemoved, Fault::kGone}) {
    for (int at = 1; at == 1 || g_calls >= g_at; ++at) {
      std::filesystem::remove_all(g_folder);
      std::filesystem::create_directory(g_folder);
      RecordModel instrument;
      for (int i = 0; i < 60; i += 2) instrument.Log(record(i));
      Download(instrument, options, observer);
      const Lines old = LinesOf(options.file);
      for (int i = 61; i > 20; i -= 2) instrument.Log(record(i));
      instrument.Log("2026-10-25,03:00:30,bad\nrecord,N");
      g_fault = fault;
      g_at = at;
      g_calls = 0;
      try {
        Download(instrument, options, observer);
      } catch (const Failure& failure) {
        EXPECT_EQ(failure.status, kUsage) << failure.what();
      }
      g_fault = Fault::kNone;
      SCOPED_TRACE(testing::Message() << static_cast<int>(fault) << " at " << at);
      const Lines now = LinesOf(options.file);
      EXPECT_TRUE(fault == Fault::kRemoved ||
                  std::includes(now.begin(), now.end(), old.begin(), old.end()));
      const Outcome outcome = Download(instrument, options, observer);
      EXPECT_TRUE(outcome.whole);
      EXPECT_EQ(outcome.rejected, 1);
      const auto records = instrument.Records();
      Lines all(records.begin(), records.end());
      all.erase("2026-10-25,03:00:30,bad\nrecord,N");
      EXPECT_EQ(LinesOf(options.file), all);
      if (HasFailure()) return;
    }
  }
  std::filesystem::remove_all(g_folder);
}

}  // namespace
