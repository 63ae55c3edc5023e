// A disk that fails, at every call of a download in turn: the file is the old one or a longer one,
// and the next download goes on. The calls are those of the console's own code, caught at the
// link.
#include <dlfcn.h>

#include <cerrno>
#include <fstream>

#include "line/failure.h"
#include "record_model.h"

namespace {

enum class Fault { kNone, kFull, kBroken, kRemoved, kGone };

Fault g_fault = Fault::kNone;  // what happens
int g_at = 0;                  // at this call, counted from 1
int g_calls = 0;
std::string g_file;

/// Counts a call. Returns whether it fails, with errno set. A full disk takes what makes it
/// shorter, a broken one or one that is pulled out takes nothing from then on.
bool Fails(bool shortens) {
  if (g_fault == Fault::kNone || ++g_calls < g_at) return false;
  if (g_calls == g_at && g_fault == Fault::kRemoved) std::filesystem::remove(g_file);
  if (g_fault == Fault::kRemoved || (g_fault == Fault::kFull && shortens)) return false;
  errno = g_fault == Fault::kFull ? ENOSPC : EIO;
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

TEST_F(Downloads, SurviveADiskThatFailsAtAnyCall) {
  g_file = options_.file;
  options_.batch = 10;
  const auto log = [this](int from, int to) {
    for (int i = from; i < to; i += 2) instrument_.Log(RecordAt(kSecond * i, "1,N"));
  };
  const std::string bad = RecordAt(30500, "bad\nrecord,N");
  for (const Fault fault : {Fault::kFull, Fault::kBroken, Fault::kRemoved, Fault::kGone}) {
    for (int at = 1; at == 1 || g_calls >= g_at; ++at) {
      SCOPED_TRACE(testing::Message() << static_cast<int>(fault) << " at " << at);
      Anew();
      log(0, 60);
      std::ofstream(g_file) << "Date,Ti";  // cut off in its first line
      Download();
      const Lines old = LinesOf(g_file);
      log(21, 63);
      instrument_.Log(bad);
      g_fault = fault;
      g_at = at;
      g_calls = 0;
      try {
        Download();
      } catch (const Failure& failure) {
        EXPECT_EQ(failure.status, kUsage) << failure.what();
      }
      g_fault = Fault::kNone;
      const Lines now = LinesOf(g_file);
      EXPECT_TRUE(fault == Fault::kRemoved ||
                  std::includes(now.begin(), now.end(), old.begin(), old.end()));
      const Outcome outcome = Download();
      EXPECT_TRUE(outcome.whole);
      EXPECT_EQ(outcome.rejected, 1);
      const auto records = instrument_.Records();
      Lines all(records.begin(), records.end());
      all.erase(bad);
      EXPECT_EQ(LinesOf(g_file), all);
      if (HasFailure()) return;
    }
  }
}

}  // namespace
