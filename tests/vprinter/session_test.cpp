// The printer's protocol state machine without sockets: bytes in, replies,
// labels and log lines out.
#include "vprinter/session.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "graphics/tiff_tools.h"

namespace Corvane::VirtualPrinter {
namespace {

using namespace std::string_literals;
using ::Vellum::Testing::TempDir;

class Labels : public LabelSink {
 public:
  void Submit(LabelJob job) override { jobs.push_back(std::move(job)); }
  std::uint64_t Remaining() const override { return remaining; }
  std::vector<LabelJob> jobs;
  std::uint64_t remaining = 0;
};

// A printer with one session; the state file goes to a scratch directory.
class SessionTest : public ::testing::Test {
 protected:
  Session& Open(SessionOptions options = {}) {
    if (options.recordDirectory.empty()) options.recordDirectory = dir_.path();
    sessions_.push_back(
        std::make_unique<Session>(sessions_.size() + 1, state_, labels_, log_, options));
    return *sessions_.back();
  }
  static std::string Feed(Session& session, const std::string& bytes, std::size_t piece) {
    std::string replies;
    for (std::size_t i = 0; i < bytes.size(); i += piece) {
      const std::string part = bytes.substr(i, piece);
      replies +=
          session.Receive({reinterpret_cast<const unsigned char*>(part.data()), part.size()});
    }
    return replies;
  }
  bool Logged(const std::string& text) const {
    return logText_.str().find(text) != std::string::npos;
  }

  TempDir dir_;
  PrinterState state_{dir_.path(), 0};
  Labels labels_;
  std::ostringstream logText_;
  EventLog log_{logText_, false};
  std::vector<std::unique_ptr<Session>> sessions_;
};

const std::string kJob =
    "{D0050,0100,0040|}\r\n{C|}\r\n{SG;0000,0000,16,2,1,\xff\x0f\xf0\x01|}\r\n{XS;I,0003,0002C3000|"
    "}\r\n";

TEST_F(SessionTest, StatusReplyCarriesCodeAndRemainingCount) {
  EXPECT_EQ(StatusReply(6, 12),
            "\x01\x02"
            "06"
            "0"
            "0012"
            "\x03\x04\n\r"s);
  EXPECT_EQ(StatusReply(0, 123456),
            "\x01\x02"
            "00"
            "0"
            "9999"
            "\x03\x04\n\r"s);
  Session& session = Open();
  state_.SetStatusCode(43);
  labels_.remaining = 7;
  EXPECT_EQ(Feed(session, "{WS|}{WS|}\n", 1), StatusReply(43, 7) + StatusReply(43, 7));
}

TEST_F(SessionTest, IssueMakesCopiesOfOneJobInAnyPieces) {
  for (std::size_t piece : {std::size_t{1}, std::size_t{7}, kJob.size()}) {
    labels_.jobs.clear();
    Session& session = Open();
    EXPECT_EQ(Feed(session, kJob + kJob.substr(0, 20), piece), "");
    ASSERT_EQ(labels_.jobs.size(), 3u) << piece;
    for (const LabelJob& label : labels_.jobs) {
      ASSERT_TRUE(label.image && label.record);
      // The line end after the issue goes with the job when it comes with it.
      const std::string record = label.record->Read();
      if (piece == kJob.size()) {
        EXPECT_EQ(record, kJob);
      }
      EXPECT_TRUE(kJob.starts_with(record) && record.size() + 2 >= kJob.size()) << record;
      EXPECT_EQ(label.image->Width(), 80u);
      EXPECT_EQ(label.image->Height(), 40u);
      EXPECT_EQ(label.image->Data()[0], 0xff);
      EXPECT_EQ(label.image->Data()[10], 0xf0);
      EXPECT_EQ(label.image->HorizontalResolution(), 203u);
      EXPECT_EQ(label.log->size(), 4u);
    }
    EXPECT_EQ(labels_.jobs[2].number, labels_.jobs[0].number + 2);
    EXPECT_EQ(labels_.jobs[2].description, "label 3 of 3");
    session.Close("closed");
    EXPECT_TRUE(Logged("a job that was never issued was dropped ("));
  }
}

TEST_F(SessionTest, SettingsFeedsAndRefusals) {
  Session& session = Open();
  Feed(session,
       "{T;21C30|}{AX;+015,-020,+03|}{IP;2,192,168,010,005|}{IP;3,255,255,255,000|}"
       "{IP;4,192,168,010,001|}{IS;0,00000|}{IP;2,300,0,0,0|}{AX;1|}{ZZ|}{SG;0,0,8,1,1,a|}"
       "{XS;I,0001,0002C3000|}{D0000,0100,0000|}{D0050,0100,0040|}{T;00C30|}{XS;I,0000|}",
       3);
  const Settings s = state_.CurrentSettings();
  EXPECT_EQ(std::tie(s.feedAdjustment, s.cutAdjustment, s.backfeedAdjustment),
            std::tuple(15, -20, 3));
  EXPECT_EQ(s.address + " " + s.netmask + " " + s.gateway,
            "192.168.10.5 255.255.255.0 192.168.10.1");
  EXPECT_FALSE(s.rawPortOn);
  ASSERT_EQ(labels_.jobs.size(), 2u);
  EXPECT_FALSE(labels_.jobs[0].image) << "a feed before any label size has no picture";
  EXPECT_EQ(labels_.jobs[0].record->Read(), "{T;21C30|}");
  ASSERT_TRUE(labels_.jobs[1].image);
  EXPECT_EQ(labels_.jobs[1].image->Width(), 80u);
  for (const char* line :
       {"{IP;2,300,0,0,0|}: refused: not an IPv4 setting",
        "{AX;1|}: refused: not a fine adjustment command", "{ZZ|}: unknown command, skipped",
        "refused: a graphic before any label size; skipped",
        "refused: an issue before any label size; nothing printed",
        "refused: a label of no width or no length cannot be printed",
        "issue of 0 copies: nothing printed"}) {
    EXPECT_TRUE(Logged(line)) << line << " in\n" << logText_.str();
  }
  // A new connection prints at the last label size without sending one.
  Feed(Open(), "{XS;I,0001,0002C3000|}", 100);
  ASSERT_EQ(labels_.jobs.size(), 3u);
  EXPECT_EQ(labels_.jobs[2].image->Height(), 40u);
}

TEST_F(SessionTest, RecordsAreFilesThatGoWithTheirLastLabel) {
  const auto recordFiles = [this] {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(dir_.path())) {
      count += entry.path().filename().string().starts_with(".job-");
    }
    return count;
  };
  // Read as the server reads, into room for a large read.
  Session& session = Open();
  const std::string stream = kJob + kJob + kJob.substr(0, 30);
  const std::span<unsigned char> space = session.ReceiveSpace(Session::kReadSize);
  std::copy(stream.begin(), stream.end(), space.begin());
  session.Received(stream.size());
  ASSERT_EQ(labels_.jobs.size(), 6u);
  for (const LabelJob& label : labels_.jobs) EXPECT_EQ(label.record->Read(), kJob);
  EXPECT_EQ(labels_.jobs[0].record, labels_.jobs[2].record)
      << "the copies of a job share its record";
  EXPECT_EQ(recordFiles(), 3) << "two issued jobs and the one in progress";
  session.Close("done");
  labels_.jobs.clear();
  EXPECT_EQ(recordFiles(), 0);
}

TEST_F(SessionTest, LimitsAndPreviewsOff) {
  SessionOptions options;
  options.maxJobBytes = 40;
  options.maxLabelBytes = 400;
  Session& session = Open(options);
  Feed(session, "{D0100,0100,0090|}" + kJob, 11);
  ASSERT_EQ(labels_.jobs.size(), 3u);
  EXPECT_FALSE(labels_.jobs[0].record) << "the job was over the record limit";
  EXPECT_TRUE(Logged("label size not changed"));
  EXPECT_TRUE(Logged("the job is over 40 bytes; its raw bytes are not kept"));

  labels_.jobs.clear();
  options = {};
  options.draw = false;
  Feed(Open(options), kJob, kJob.size());
  ASSERT_EQ(labels_.jobs.size(), 3u);
  EXPECT_FALSE(labels_.jobs[0].image);
  EXPECT_EQ(labels_.jobs[0].record->Read(), kJob);
  EXPECT_TRUE(Logged("(previews off: not drawn)"));
}

}  // namespace
}  // namespace Corvane::VirtualPrinter
