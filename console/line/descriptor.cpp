#include "line/descriptor.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "line/interrupt.h"

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  std::swap(number_, other.number_);
  return *this;
}

void Descriptor::Close() {
  if (number_ >= 0) close(number_);
  number_ = -1;
}

short Descriptor::Wait(short events, std::chrono::milliseconds wait) const {
  const auto end = std::chrono::steady_clock::now() + wait;
  pollfd ready{number_, events, 0};
  while (true) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    const int count = poll(&ready, 1, std::max(0, static_cast<int>(left.count())));
    Interrupt::Check();
    if (count > 0) return ready.revents;
    if (count == 0) return 0;
    if (errno != EINTR) return POLLERR;
  }
}

int Descriptor::Write(const std::string& bytes) const {
  std::size_t sent = 0;
  while (sent < bytes.size()) {
    const ssize_t count = write(number_, bytes.data() + sent, bytes.size() - sent);
    if (count > 0) {
      sent += static_cast<std::size_t>(count);
    } else if (count < 0 && errno == EAGAIN) {
      Wait(POLLOUT, std::chrono::milliseconds(100));
    } else if (count == 0 || errno != EINTR) {
      return count == 0 ? EIO : errno;
    }
  }
  return 0;
}
