#include "floor.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <sstream>
#include <stdexcept>
#include <utility>

#include "bare.h"
#include "serial/line_settings.h"

int ServeBare(const char* device, std::size_t requestSize, const std::string& objects,
              const std::string& reply) {
  BareSession bare;
  std::vector<std::string> gets;
  std::istringstream names(objects);
  for (std::string name; names >> name;) gets.push_back(name);
  const int port = open(device, O_RDWR | O_NOCTTY);
  termios settings{};
  tcgetattr(port, &settings);
  SetLine(settings);
  tcsetattr(port, TCSANOW, &settings);
  char byte = 0;
  std::size_t count = 0;
  for (ssize_t got = 0; (got = read(port, &byte, 1)) >= 0;) {
    if (got == 0 || ++count % requestSize != 0) continue;
    bare.Get(gets);
    if (write(port, reply.data(), reply.size()) < 0) break;
  }
  return 1;
}

Floor::Floor(std::string request, const std::string& reply, const std::vector<std::string>& gets)
    : request_(std::move(request)), replySize_(reply.size()) {
  std::string objects;
  for (const std::string& name : gets) objects += name + " ";
  std::vector<std::string> command = {Program("measures"),
                                      "--serve",
                                      line_.Device(),
                                      std::to_string(request_.size()),
                                      objects,
                                      reply};
  const InstrumentSide side;
  process_ = std::make_unique<Child>(command);
  if (!line_.Served()) throw std::runtime_error("no floor: " + process_->Errors());
}

double Floor::Ask() const {
  WaitUntilItReads(process_->Id(), line_.Device());
  Station::SendAllButOne(line_, request_);
  return Seconds([&] {
    line_.Send(request_.substr(request_.size() - 1));
    line_.Receive(replySize_);
  });
}
