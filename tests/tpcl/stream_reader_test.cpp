// The TPCL stream reader: what it finds in a stream, however the stream is cut
// into pieces, and how it recovers from broken frames.
#include "tpcl/stream_reader.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Corvane::TPCL {
namespace {

using namespace std::string_literals;

// Writes down every report as one line: "C body @end", "G ... @end" or
// "E message @end".
class Transcript : public StreamListener {
 public:
  void OnCommand(std::string_view body, std::uint64_t end) override {
    text += "C " + std::string(body) + " @" + std::to_string(end) + "\n";
  }
  void OnGraphics(GraphicsCommand& g, std::uint64_t end) override {
    text +=
        "G " + std::string(g.longForm ? "long " : "") + g.xField + "," + g.yField + " " +
        std::to_string(g.width) + "x" + std::to_string(g.height) + " type " + g.typeField +
        " size " + std::to_string(g.size) +
        (g.payloadKept ? " data " + std::string(g.payload.begin(), g.payload.end()) : " not kept") +
        " @" + std::to_string(end) + "\n";
  }
  void OnError(const std::string& message, std::uint64_t end) override {
    text += "E " + message + " @" + std::to_string(end) + "\n";
  }
  std::string text;
};

std::string Read(const std::string& stream, std::size_t piece, StreamLimits limits = {}) {
  StreamReader reader(limits);
  Transcript transcript;
  for (std::size_t i = 0; i < stream.size(); i += piece) {
    const std::string part = stream.substr(i, piece);
    reader.Feed({reinterpret_cast<const unsigned char*>(part.data()), part.size()}, transcript);
  }
  reader.Finish(transcript);
  return transcript.text;
}

struct Case {
  const char* name;
  std::string stream;
  std::string expected;
};

const Case kCases[] = {
    {"frames with and without line ends", "{WS|}{C|}\r\n\x1b{D0330,0500,0300|}\n",
     "C WS @5\nC C @9\nC D0330,0500,0300 @30\n"},
    {"a bar inside a body does not end it", "{XS;I,0001,0002C3000|}{A|B|}",
     "C XS;I,0001,0002C3000 @22\nC A|B @28\n"},
    {"raw graphic: size from the geometry, data may hold braces", "{SG;0010,0020,16,2,1,{|}{|}",
     "G 0010,0020 16x2 type 1 size 4 data {|}{ @27\n"},
    {"TOPIX graphic: two-byte size", "{SG;0,0D,8,1,3,\x00\x02\x80\x80|}"s,
     "G 0,0D 8x1 type 3 size 2 data \x80\x80 @21\n"s},
    {"long form: four-byte size and a spare byte, for any type",
     "{SG0;0,0,8,1,7,\x00\x00\x00\x03\x00|}{|}"s, "G long 0,0 8x1 type 7 size 3 data |}{ @25\n"s},
    {"long form of size 0: the type decides", "{SG0;0,0,8,1,3,\x00\x00\x00\x00\x00\x00\x01\x00|}"s,
     "G long 0,0 8x1 type 3 size 1 data \x00 @25\n"s},
    {"M modifier: the next field is the type", "{SG;0,0,8,2,M1,1,ab|}",
     "G 0,0 8x2 type 1 size 2 data ab @21\n"},
    {"bytes outside frames are counted", "junk{WS|}tail",
     "E 4 bytes outside any command skipped @4\nC WS @9\nE 4 bytes outside any command skipped "
     "@13\n"},
    {"a new frame cuts a broken one short", "{C{WS|}",
     "E a command was cut short by the next \"{\" @2\nC WS @7\n"},
    {"graphics header cut short", "{SG;0,0{WS|}",
     "E a graphics command was cut short by the next \"{\" @7\nC WS @12\n"},
    {"no semicolon after SG", "{SGX{WS|}",
     "E a graphics command lacks the \";\" after \"SG\" @3\nE 1 bytes outside any command skipped "
     "@4\n"
     "C WS @9\n"},
    {"field too long", "{SG;1234567,{WS|}",
     "E a graphics command has a field longer than 6 characters @10\n"
     "E 2 bytes outside any command skipped @12\nC WS @17\n"},
    {"empty field", "{SG;,0,8,1,1,a|}{WS|}",
     "E a graphics command has an empty field @5\n"
     "E 11 bytes outside any command skipped @16\nC WS @21\n"},
    {"field that is no number", "{SG;x,0,8,1,1,a|}{WS|}",
     "E a graphics command has the field \"x\" where a number belongs @6\n"
     "E 11 bytes outside any command skipped @17\nC WS @22\n"},
    {"unknown type in the short form", "{SG;0,0,8,1,5,ab|}{WS|}",
     "E a graphics command of type \"5\" gives no size for its data @14\n"
     "E 4 bytes outside any command skipped @18\nC WS @23\n"},
    {"data not followed by |}", "{SG;0,0,8,1,1,aX}{WS|}",
     "E a graphic's data is not followed by \"|}\" @15\n"
     "E 2 bytes outside any command skipped @17\nC WS @22\n"},
    {"stream ends inside the data", "{SG;0,0,8,4,1,ab",
     "E the stream ended after 2 of the 4 bytes of a graphic's data @16\n"},
    {"stream ends inside a command", "{WS|", "E the stream ended inside a command @4\n"},
};

TEST(StreamReader, FindsFramesInAnyPieces) {
  for (const Case& c : kCases) {
    for (std::size_t piece : {std::size_t{1}, std::size_t{3}, c.stream.size()}) {
      EXPECT_EQ(Read(c.stream, piece), c.expected) << c.name << ", pieces of " << piece;
    }
  }
}

TEST(StreamReader, LimitsSkipWithoutLosingStep) {
  StreamLimits limits;
  limits.maxCommandBytes = 4;
  limits.maxPayloadBytes = 3;
  EXPECT_EQ(Read("{ABCDEF|}{SG;0,0,8,4,1,abcd|}{SG;0,0,8,2,1,{{|}", 5, limits),
            "E a command longer than 4 bytes was skipped @6\n"
            "E 3 bytes outside any command skipped @9\n"
            "E a graphic of 4 bytes of data, over the limit of 3, was skipped @29\n"
            "G 0,0 8x2 type 1 size 2 data {{ @47\n");
  limits = {};
  limits.keepPayloads = false;
  EXPECT_EQ(Read("{SG;0,0,8,2,1,ab|}", 7, limits), "G 0,0 8x2 type 1 size 2 not kept @18\n");
}

}  // namespace
}  // namespace Corvane::TPCL
