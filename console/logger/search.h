// Finds out which protocol, station and channel the instrument at the other end of a line has.
#pragma once

#include <chrono>
#include <deque>
#include <string>
#include <vector>

#include "line/line.h"
#include "logger/address.h"
#include "logger/frames.h"

/// Asks for the instrument type (AK) and for the data reply (GNP), which changes nothing.
class Search {
 public:
  using Clock = std::chrono::steady_clock;

  /// Begins with the address and protocol given.
  Search(Line& line, Address asked, bool gnp)
      : line_(line), asked_(std::move(asked)), gnpAsked_(gnp), address_(asked_) {}

  /// Takes up to half a minute, a moment when the address is right. Returns whether an instrument
  /// answers. Throws Failure(kNoDevice), or Failure(kBroken) when the line does not fall silent.
  bool Find();

  /// What was found.
  bool IsGNP() const { return gnp_; }
  const Address& Found() const { return address_; }
  bool HasChannel() const { return channelFound_; }

  /// How many channels were tried; where none was right the address has the last of them.
  int Channels() const { return tried_; }

  /// What was sent came back.
  bool IsEchoed() const { return echoed_; }

  /// Frames that were no replies to the search: somebody else is on the line.
  bool HasOthers() const { return others_; }

  /// The first bytes that belong to no frame.
  const std::string& Noise() const { return noise_; }

 private:
  void Listen(std::chrono::milliseconds wait);
  void Take(const std::vector<Frame>& frames);
  void TakeReply(const Frame& reply);
  void Send(const std::string& bytes);
  void AskAK(const std::string& stations, const std::string& channel);
  void FindChannel(Clock::time_point end);

  Line& line_;
  Address asked_;
  bool gnpAsked_;
  FrameDecoder decoder_;
  std::string sent_;
  bool answered_ = false;             // since the last wait began
  std::deque<std::string> channels_;  // of requests to the station that are still to be answered
  bool found_ = false;
  bool gnp_ = false;
  bool channelFound_ = false;
  Address address_;
  int tried_ = 1;
  bool echoed_ = false;
  bool others_ = false;
  std::string noise_;
};
