// An agent that answers as a test tells it to: any value of any type, and answers that no honest
// agent gives. Serves udp port 161 of the loopback address from a thread of its own.
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <thread>

#include "objects.h"

class Responder {
 public:
  Responder();
  ~Responder();

  /// As Objects::Follow: objects given and taken away, misanswers.
  bool Follow(const std::string& line);
  bool Holds(const std::string& name, char type, const std::string& value);

  /// The requests since the last call, in order: "get NAME; ", "next NAME; ", "set NAME VALUE; ".
  /// Reads of the protocol that the line speaks, which come before every request, are left out.
  std::string Requests();
  std::size_t ModeReads() const { return modeReads_; }

 private:
  static int Receive(int operation, netsnmp_session* session, int id, netsnmp_pdu* pdu, void* self);
  void Record(const netsnmp_pdu& request);
  void Answer(netsnmp_session* session, netsnmp_pdu* request);
  void Serve();

  std::mutex mutex_;  // guards all that follows, and the library
  Objects objects_;
  std::string requests_;
  long lastRequest_ = -1;
  std::atomic<std::size_t> modeReads_{0};
  std::atomic<bool> stop_{false};
  int socket_ = -1;
  std::thread thread_;
};
