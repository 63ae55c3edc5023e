#include "station.h"

#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <thread>

using Clock = std::chrono::steady_clock;

double Seconds(const std::function<void()>& work) {
  const auto start = Clock::now();
  work();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

double Median(std::vector<double> numbers) {
  std::sort(numbers.begin(), numbers.end());
  return numbers[numbers.size() / 2];
}

double CpuSeconds(pid_t process) {
  // In nanoseconds; the clock ticks of "stat" are too coarse here.
  std::istringstream times(ReadFile("/proc/" + std::to_string(process) + "/schedstat"));
  double nanoseconds = 0;
  times >> nanoseconds;
  return nanoseconds / 1e9;
}

long ResidentMemory(pid_t process) {
  std::istringstream status(ReadFile("/proc/" + std::to_string(process) + "/status"));
  std::string word;
  long memory = 0;
  while (status >> word) {
    if (word == "VmRSS:") status >> memory;
  }
  return memory;
}

int Descriptors(pid_t process) {
  int count = 0;
  for ([[maybe_unused]] const auto& entry :
       std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/fd")) {
    ++count;
  }
  return count;
}

namespace {

void MoveTo(bool last) {
  static const cpu_set_t allowed = [] {
    cpu_set_t set;
    CPU_ZERO(&set);
    sched_getaffinity(0, sizeof set, &set);
    return set;
  }();
  int chosen = -1;
  for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
    if (CPU_ISSET(cpu, &allowed) && (last || chosen == -1)) chosen = cpu;
  }
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(chosen, &one);
  sched_setaffinity(0, sizeof one, &one);
}

}  // namespace

InstrumentSide::InstrumentSide() { MoveTo(true); }
InstrumentSide::~InstrumentSide() { MoveTo(false); }

void WaitUntilItReads(pid_t process, const std::string& device) {
  // "0 0x4 ...": in a read of descriptor 4.
  const std::string folder = "/proc/" + std::to_string(process);
  const auto reads = [&] {
    std::istringstream shown(ReadFile(folder + "/syscall"));
    long call = -1;
    int descriptor = -1;
    if (!(shown >> call >> std::hex >> descriptor) || call != SYS_read) return false;
    std::error_code gone;
    return std::filesystem::read_symlink(folder + "/fd/" + std::to_string(descriptor), gone) ==
           device;
  };
  if (!WaitFor(reads, 60000)) throw std::runtime_error("nobody reads " + device);
}

Station::Station(std::vector<std::string> options, std::vector<std::string> through) {
  const InstrumentSide side;
  options.insert(options.begin(), {Program("qmx-instrument"), "--type", "TwinexVARO"});
  instrument_ = std::make_unique<Child>(options);
  if (!WaitFor([this] { return instrument_->Output().find("udp port") != std::string::npos; })) {
    throw std::runtime_error("no instrument: " + instrument_->Errors());
  }
  through.insert(through.end(), {Program("qmx-gateway"), line_.Device()});
  gateway_ = std::make_unique<Child>(through);
  if (!line_.Served()) throw std::runtime_error("no gateway: " + gateway_->Errors());
}

void Station::SendAllButOne(const Line& line, const std::string& request) {
  line.Send(request.substr(0, request.size() - 1));
  std::this_thread::sleep_for(std::chrono::milliseconds(2));
}

double Station::Ask(const std::string& request, const std::string& end, std::string* reply) {
  WaitForGateway();
  SendAllButOne(line_, request);
  std::string received;
  const double seconds = Seconds([&] {
    line_.Send(request.substr(request.size() - 1));
    received = line_.ReceiveUntil(end, 60000);
  });
  if (received.size() < end.size()) throw std::runtime_error("no reply to " + Visible(request));
  if (reply != nullptr) *reply = received;
  return seconds;
}

double Station::Ask(const std::string& request, std::size_t size) {
  WaitForGateway();
  SendAllButOne(line_, request);
  return Seconds([&] {
    line_.Send(request.substr(request.size() - 1));
    line_.Receive(size, 60000);
  });
}
