#include "doctor/as_user.h"

#include <grp.h>
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sstream>
#include <vector>

namespace {

bool Become(const passwd& user, const std::vector<gid_t>& extra) {
  std::vector<gid_t> groups(256);
  int count = static_cast<int>(groups.size());
  if (getgrouplist(user.pw_name, user.pw_gid, groups.data(), &count) < 0) return false;
  groups.resize(static_cast<std::size_t>(count));
  groups.insert(groups.end(), extra.begin(), extra.end());
  return setgroups(groups.size(), groups.data()) == 0 &&
         setresgid(user.pw_gid, user.pw_gid, user.pw_gid) == 0 &&
         setresuid(user.pw_uid, user.pw_uid, user.pw_uid) == 0;
}

}  // namespace

std::optional<bool> AsUser(const std::string& user, const std::string& groups,
                           const std::function<bool()>& something) {
  enum { kYes, kNo, kUnknown };
  const passwd* account = getpwnam(user.c_str());
  if (account == nullptr) return std::nullopt;
  std::vector<gid_t> extra;
  std::istringstream names(groups);
  for (std::string name; names >> name;) {
    const ::group* known = getgrnam(name.c_str());
    if (known == nullptr) return std::nullopt;
    extra.push_back(known->gr_gid);
  }
  const pid_t process = fork();
  if (process == 0) {
    if (!Become(*account, extra)) _exit(kUnknown);
    _exit(something() ? kYes : kNo);
  }
  int status = 0;
  waitpid(process, &status, 0);
  if (!WIFEXITED(status) || WEXITSTATUS(status) == kUnknown) return std::nullopt;
  return WEXITSTATUS(status) == kYes;
}
