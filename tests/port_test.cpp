// Who has a port is found out, and a port is had by one.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <utility>

#include "port/lock.h"

namespace {

/// A pseudo-terminal, and a second name of it.
class Port : public testing::Test {
 protected:
  Port() {
    char name[64];
    EXPECT_EQ(openpty(&master_, &slave_, name, nullptr, nullptr), 0);
    device_ = name;
    other_ = "/tmp/qmx-port-" + std::to_string(getpid());
    std::filesystem::create_symlink(device_, other_);
    file_ = kLockFolder + std::string(kLockPrefix) + LockFileName(device_);
  }
  ~Port() override {
    close(slave_);
    close(master_);
    std::filesystem::remove(other_);
    std::filesystem::remove(file_);
  }

  std::string device_, other_, file_;
  int master_ = -1;
  int slave_ = -1;  // who has both ends is nobody who reads this one
};

/// A process that does something and then sleeps.
class Neighbour {
 public:
  explicit Neighbour(const std::function<void()>& first) {
    int ready[2];
    EXPECT_EQ(pipe(ready), 0);
    id_ = fork();
    if (id_ == 0) {
      for (int descriptor = 3; descriptor < 64; ++descriptor) {
        if (descriptor != ready[1]) close(descriptor);
      }
      first();
      EXPECT_EQ(write(ready[1], "", 1), 1);
      while (true) pause();
    }
    close(ready[1]);
    char byte;
    EXPECT_GE(read(ready[0], &byte, 1), 0);
    close(ready[0]);
  }
  ~Neighbour() { End(); }
  void End() {
    if (id_ > 0) kill(id_, SIGKILL);
    if (id_ > 0) Wait();
  }
  int Wait() {
    int status = -1;
    waitpid(std::exchange(id_, -1), &status, 0);
    return WEXITSTATUS(status);
  }
  pid_t Id() const { return id_; }

 private:
  pid_t id_;
};

TEST_F(Port, IsFoundWithItsOwner) {
  const struct {
    How how;
    std::function<void()> does;
  } kWays[] = {
      {How::kOpen, [this] { open(device_.c_str(), O_RDWR | O_NOCTTY); }},
      {How::kLock, [this] { flock(open(device_.c_str(), O_RDWR | O_NOCTTY), LOCK_EX); }},
      {How::kLockFile, [this] { std::ofstream(file_) << "  " << getpid() << " minicom root\n"; }},
      {How::kLockFile, [this] { (new PortLock)->Take(other_); }},
  };
  EXPECT_EQ(Describe({0, "", How::kLock}) + Describe({0, "x", How::kLock}) +
                Describe({7, "", How::kLock}),
            "another programxprocess 7");
  for (const auto& way : kWays) {
    Neighbour neighbour(way.does);
    for (const std::string& name : {device_, other_}) {
      bool sawAll = false;
      const auto owners = PortOwners(name, &sawAll);
      ASSERT_EQ(owners.size(), 1U) << name << " " << static_cast<int>(way.how);
      EXPECT_EQ(owners[0].process, neighbour.Id());
      EXPECT_EQ(owners[0].how, way.how);
      EXPECT_EQ(sawAll, geteuid() == 0);
      EXPECT_EQ(Describe(owners[0]), "unit_test (process " + std::to_string(neighbour.Id()) + ")");
      PortLock lock;
      EXPECT_TRUE(lock.Take(name));
    }
    // A lock file that was left behind does not count.
    neighbour.End();
    EXPECT_FALSE(PortOwner(device_));
  }
}

TEST_F(Port, HasLockFilesOfManyNames) {
  EXPECT_EQ(LockFileName("/dev/serial/by-id/a") + LockFileName("/tmp/dev/a") + LockFileName("/dev"),
            "serial_by-id_aadev");
  Neighbour neighbour([] {});
  const std::string number = device_.substr(device_.rfind('/') + 1);
  const struct {
    std::string name;
    bool isOne, isOther;  // a lock file of the device under its own name, and under the other one
  } kNames[] = {
      {"LCK.." + number, true, true},
      {"LCK..pts_" + number, true, true},
      {"LCK.." + other_.substr(5), false, true},
      {"LCK..serial_by-id_" + number, false, false},
      {"LOK.." + number, false, false},
      {"LCK.." + number + "0", false, false},
  };
  for (const auto& [name, isOne, isOther] : kNames) {
    const std::string path = kLockFolder + name;
    std::ofstream(path) << neighbour.Id() << "\n";
    EXPECT_EQ(PortOwner(device_).has_value(), isOne) << name;
    EXPECT_EQ(PortOwner(other_).has_value(), isOther) << name;
    for (const char* nobody : {"0\n", "-1\n", "x\n", ""}) {
      std::ofstream(path) << nobody;
      EXPECT_FALSE(PortOwner(other_)) << name << nobody;
    }
    std::filesystem::remove(path);
  }
}

/// Nobody is seen to have it.
TEST_F(Port, IsNotHadWhereSomebodyUnseenHasIt) {
  const int own = open(device_.c_str(), O_RDWR | O_NOCTTY);
  ASSERT_EQ(flock(own, LOCK_EX), 0);
  PortLock lock;
  const auto owner = lock.Take(device_);
  ASSERT_TRUE(owner);
  EXPECT_EQ(Describe(*owner), "another program");
  EXPECT_FALSE(std::filesystem::exists(file_));
  close(own);
  EXPECT_FALSE(lock.Take(device_));
}

TEST_F(Port, IsHeldUntilItIsGivenBack) {
  const auto lockFileIsThere = [this] { return std::filesystem::exists(file_); };
  std::ofstream(file_) << "    999999 gone root\n";
  {
    PortLock lock;
    ASSERT_FALSE(lock.Take(other_));
    EXPECT_TRUE(lockFileIsThere());
    std::string text;
    std::getline(std::ifstream(file_), text);
    char wanted[64];
    std::snprintf(wanted, sizeof wanted, "%10d unit_test ", getpid());
    EXPECT_EQ(text.substr(0, text.rfind(' ') + 1), wanted);
    EXPECT_FALSE(std::filesystem::exists(kLockFolder + ("LTMP." + std::to_string(getpid()))));
    EXPECT_EQ(Neighbour([this] { _exit(PortLock().Take(device_) ? 5 : 1); }).Wait(), 5);
  }
  EXPECT_FALSE(lockFileIsThere());
  PortLock lock;
  ASSERT_FALSE(lock.Take(device_));
  SweepLockFiles();
  EXPECT_TRUE(lockFileIsThere());
  std::ofstream(file_) << "    999999 gone root\n";
  if (geteuid() == 0) {
    EXPECT_EQ(chown(file_.c_str(), 1, 1), 0);
    SweepLockFiles();
    EXPECT_TRUE(lockFileIsThere());
    EXPECT_EQ(chown(file_.c_str(), 0, 0), 0);
  }
  const std::string draft = kLockFolder + std::string("LTMP.999999");
  std::ofstream(draft) << "    999999 gone root\n";
  SweepLockFiles();
  EXPECT_FALSE(lockFileIsThere());
  EXPECT_TRUE(std::filesystem::remove(draft));
  EXPECT_FALSE(PortOwner("/dev/no-such-port"));
}

TEST_F(Port, OfOthersIsNotSeenByEverybody) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to become somebody else";
  Neighbour neighbour([this] { open(device_.c_str(), O_RDWR | O_NOCTTY); });
  const auto nobodySees = [this](const std::function<bool(const std::optional<Owner>&)>& right) {
    Neighbour nobody([&] { _exit(setuid(65534) == 0 && right(PortOwner(device_)) ? 5 : 1); });
    return nobody.Wait() == 5;
  };
  EXPECT_TRUE(nobodySees([this](const auto& /*owner*/) {
    bool sawAll = true;
    return PortOwners(device_, &sawAll).empty() && !sawAll;
  }));
  std::ofstream(file_) << "    999999 gone root\n";
  std::filesystem::permissions(file_, std::filesystem::perms(0600));
  EXPECT_TRUE(nobodySees([this](const auto& owner) {
    return owner && owner->process == 0 && owner->how == How::kLockFile &&
           Describe(*owner) == "the owner of " + file_ + ", which this user may not read";
  }));
  // That it may not be ended does not mean that it is not there.
  std::filesystem::permissions(file_, std::filesystem::perms(0644));
  std::ofstream(file_) << neighbour.Id() << "\n";
  EXPECT_TRUE(
      nobodySees([&](const auto& owner) { return owner && owner->process == neighbour.Id(); }));
}

}  // namespace
