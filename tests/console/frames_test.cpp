#include "logger/frames.h"

#include <gtest/gtest.h>

#include <regex>

#include "line/visible.h"

namespace {

/// The bytes that a visible text stands for.
std::string Bytes(std::string text) {
  const std::pair<const char*, const char*> kNames[] = {
      {"<STX>", "\x02"}, {"<ETX>", "\x03"}, {"<CR>", "\r"}, {"<LF>", "\n"}};
  for (const auto& [name, byte] : kNames) text = std::regex_replace(text, std::regex(name), byte);
  return text;
}

/// Kind, station, code, channel or status, text (the bytes, where there is no frame) and problem of
/// each frame; "|" is a pause.
std::string Decoded(const std::string& visible) {
  static constexpr const char* kKinds[] = {"request", "reply", "line", "DA", "MD", "other", "none"};
  FrameDecoder decoder;
  std::string told;
  std::string bytes;
  const auto tell = [&](const std::vector<Frame>& frames) {
    for (const Frame& frame : frames) {
      const bool none = frame.kind == Frame::Kind::kNone;
      bytes += frame.bytes;
      told += std::string(kKinds[static_cast<int>(frame.kind)]) + "(";
      if (frame.station != 0) told += frame.station;
      told += frame.code + "," + frame.channel + frame.status + "," +
              Visible(none ? frame.bytes : frame.text) + "," + frame.problem + ")";
    }
  };
  std::string all = Bytes(visible);
  for (const char byte : all) tell(byte == '|' ? decoder.End() : decoder.Add(byte));
  tell(decoder.End());
  all = std::regex_replace(all, std::regex("[|]"), "");
  EXPECT_EQ(bytes, all);
  return told;
}

TEST(FrameDecoder, FindsBothProtocolsAndWhatIsNeither) {
  const std::string md = "MD01 001 +1234-02 04 00 001 012    ";
  const std::pair<std::string, std::string> kTable[] = {
      {"<STX>4AREG K0 12<ETX><STX>4AREG 0 12 5<ETX><CR><LF>",
       "request(4AREG,K0,12,)reply(4AREG,0,12 5,)"},
      // A channel that is a number: what follows tells requests from replies.
      {"<STX>4AREG 10 7<ETX><STX>4AREG 10 7 5<ETX><CR><LF><STX>4LCFG 10<ETX>",
       "request(4AREG,10,7,)reply(4AREG,10,7 5,)request(4LCFG,10,,)"},
      {"<STX>4SSTO -1<ETX>|<STX>4SSTO 0<ETX><CR>x<STX>4SSTO -3 SE<ETX><CR><LF>",
       "request(4SSTO,-1,,)reply(4SSTO,0,,It does not end in CR LF.)none(,,x,)"
       "reply(4SSTO,-3,SE,)"},
      {"<STX>4ASTO 0 2<ETX><CR><LF>a,1<CR><LF>b,2|<CR><LF>c,3<CR><LF><STX>4ASTO 0 SE<ETX><CR><LF>",
       "reply(4ASTO,0,2,)line(,,a,1,)line(,,b,2,It breaks off.)line(,,,)none(,,c,3<CR><LF>,)"
       "reply(4ASTO,0,SE,)"},
      {"<STX>4LPRC 0 39<ETX><CR><LF>a.0,b.0<CR><LF>?",
       "reply(4LPRC,0,39,)line(,,a.0,b.0,)none(,,?,)"},
      {"<STX>4XX K0<ETX><STX>4AR<STX>4SF03 K0<ETX><STX>4A",
       "other(,,4XX K0,)other(,,4AR,It breaks off.)request(4SF03,K0,,)other(,,4A,It breaks off.)"},
      {"<CR><STX>DA<ETX>04<STX>" + md + "<ETX>3E<CR><LF>|<STX>DA001<ETX><CR><STX>" + md +
           "<ETX><CR>abcd",
       "none(,,<CR>,)DA(DA,,,)MD(,," + md + ",)DA(DA,,001,)MD(,," + md + ",)none(,,d,)"},
      {"<STX>DA<ETX>05<STX>DA<ETX><STX>XY<ETX>00<STX>Unknown command.<ETX><CR><LF>",
       "DA(DA,,,Its check value is 05, it should be 04.)DA(DA,,,It has no check value.)"
       "DA(XY,,,)MD(,,Unknown command.,)"},
      {"<STX>MD01<ETX>1", "MD(,,MD01,No MD frame: MD01)"},
      {"<STX>4AREG 0x 5<ETX><CR><LF>", "request(4AREG,0x,5,)none(,,<CR><LF>,)"},
  };
  for (const auto& [bytes, frames] : kTable) EXPECT_EQ(Decoded(bytes), frames) << bytes;
  EXPECT_EQ(Decoded(std::string(300, 'x')),
            "none(,," + std::string(256, 'x') + ",)none(,," + std::string(44, 'x') + ",)");
}

}  // namespace
