// Frames of both protocols in a stream of bytes that may hold either direction, or both.
#pragma once

#include <chrono>
#include <string>
#include <vector>

struct Frame {
  enum class Kind {
    kAKRequest,
    kAKReply,
    kLine,  ///< one of the raw lines that an AK reply has announced: a record, the register names
    kGNPRequest,
    kGNPReply,  ///< the MD frame, or "Unknown command."
    kOther,     ///< between STX and ETX, but of neither protocol
    kNone       ///< bytes that belong to no frame
  };
  Kind kind = Kind::kNone;
  std::string bytes;    ///< as they came, with all that belongs to the frame
  char station = 0;     ///< of AK frames
  std::string code;     ///< function code of AK frames, command of GNP requests
  std::string channel;  ///< of AK requests
  std::string status;   ///< of AK replies: the status condition, decimal
  std::string text;  ///< arguments, fields, instrument id, the line, the text between STX and ETX
  std::string problem;  ///< what is wrong with the frame, a full sentence; empty when nothing is

  bool IsRequest() const { return kind == Kind::kAKRequest || kind == Kind::kGNPRequest; }
  bool IsReply() const { return kind == Kind::kAKReply || kind == Kind::kGNPReply; }
};

/// A silence that ends a frame which could go on, and one that ends any other.
constexpr std::chrono::milliseconds kFrameEnds(60);
constexpr std::chrono::milliseconds kAnyEnds(250);

/// Finds them one byte at a time. Each byte comes back in exactly one frame, in the order in which
/// they were added.
class FrameDecoder {
 public:
  /// Returns the frames that this byte ends: none, one, or one that began before it and one of its
  /// own.
  std::vector<Frame> Add(char byte);

  /// Whether what is at hand is whole if nothing more comes.
  bool MayEnd() const;

  /// Nothing more comes for now: returns what is at hand, whole or not, if there is anything. What
  /// a reply has announced is still waited for.
  std::vector<Frame> End();

 private:
  void AddToFrame(char byte, std::vector<Frame>& found);
  void Finish(std::vector<Frame>& found);
  bool IsWhole() const;

  std::string bytes_;        // what is at hand
  std::size_t textEnd_ = 0;  // where its ETX stands; 0 when there is none yet
  long lines_ = 0;           // raw lines that are still to come
};
