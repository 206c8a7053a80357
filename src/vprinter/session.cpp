#include "vprinter/session.h"

#include <cstdio>
#include <exception>
#include <regex>

#include "core/exception.h"
#include "render/label_canvas.h"
#include "tpcl/graphics_command.h"

namespace Corvane::VirtualPrinter {

namespace {

// A job's log on the web page keeps this many lines.
constexpr std::size_t kJobLogLines = 500;

std::string TwoDigits(unsigned value) {
  char text[8];
  std::snprintf(text, sizeof text, "%02u", value % 100);
  return text;
}

std::string Tenths(std::uint64_t tenths) {
  return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10);
}

int SignedTenths(const std::string& sign, const std::string& digits) {
  const int value = std::stoi(digits);
  return sign == "-" ? -value : value;
}

bool Match(std::string_view body, const std::regex& pattern, std::cmatch& match) {
  return std::regex_match(body.data(), body.data() + body.size(), match, pattern);
}

std::string TypeName(unsigned long type) {
  if (type == TPCL::kTOPIXGraphics) return "TOPIX";
  if (type == TPCL::kRawGraphics) return "raw";
  return "type " + std::to_string(type);
}

}  // namespace

std::string StatusReply(unsigned statusCode, std::uint64_t remaining) {
  char count[8];
  std::snprintf(count, sizeof count, "%04u",
                static_cast<unsigned>(std::min<std::uint64_t>(remaining, 9999)));
  return std::string("\x01\x02") + TwoDigits(statusCode) + kStatusType + count + "\x03\x04\n\r";
}

class Session::Listener : public TPCL::StreamListener {
 public:
  explicit Listener(Session& session) : session_(session) {}
  void OnCommand(std::string_view body, std::uint64_t end) override { session_.Command(body, end); }
  void OnGraphics(TPCL::GraphicsCommand& graphics, std::uint64_t) override {
    session_.Graphics(graphics);
  }
  void OnError(const std::string& message, std::uint64_t) override { session_.Refuse("", message); }

 private:
  Session& session_;
};

Session::Session(std::uint64_t connection, PrinterState& state, LabelSink& sink, EventLog& log,
                 SessionOptions options)
    : connection_(connection),
      state_(state),
      sink_(sink),
      log_(log),
      options_(options),
      reader_([&] {
        TPCL::StreamLimits limits = options.limits;
        limits.keepPayloads = options.draw;
        return limits;
      }()),
      labelSize_(state.LastLabelSize()) {
  if (!options_.recordDirectory.empty()) {
    records_ =
        std::make_unique<JobRecordWriter>(options_.recordDirectory, std::to_string(connection));
  }
}

std::string Session::Receive(std::span<const unsigned char> bytes) {
  const std::span<unsigned char> space = ReceiveSpace(bytes.size());
  std::copy(bytes.begin(), bytes.end(), space.begin());
  return Received(bytes.size());
}

std::span<unsigned char> Session::ReceiveSpace(std::size_t want) {
  // The buffer keeps its size from one read to the next, so a connection
  // reads into memory it has used before.
  if (buffer_.size() < want) buffer_.resize(want);
  return {buffer_.data(), want};
}

std::string Session::Received(std::size_t count) {
  chunk_ = {buffer_.data(), count};
  chunkStart_ = reader_.Offset();
  recordedTo_ = chunkStart_;
  replies_.clear();
  Listener listener(*this);
  reader_.Feed(chunk_, listener);
  // The rest of the piece belongs to the job in progress.
  Record(chunkStart_ + count);
  chunk_ = {};
  return std::move(replies_);
}

void Session::Close(const std::string& reason) {
  Listener listener(*this);
  reader_.Finish(listener);
  if (jobPending_) {
    Refuse("", "a job that was never issued was dropped (" +
                   std::to_string(reader_.Offset() - recordStart_) +
                   " bytes since the last label)");
  }
  if (records_) records_->Discard();
  FlushRepeats();
  log_.Write({"connection", connection_, "", reason});
}

std::string Session::Log(const std::string& command, const std::string& message) {
  FlushRepeats();
  const std::string line = log_.Write({"command", connection_, command, message});
  if (jobLog_.size() < kJobLogLines) jobLog_.push_back(line);
  return line;
}

void Session::Refuse(const std::string& command, const std::string& message) {
  // A stream of the same fault (a flood of "{", say) is one line and a count,
  // not a flood of lines.
  if (command.empty() && message == lastRefusal_) {
    ++repeats_;
    return;
  }
  FlushRepeats();
  const std::string line = log_.Write({"refused", connection_, command, message});
  if (jobLog_.size() < kJobLogLines) jobLog_.push_back(line);
  lastRefusal_ = command.empty() ? message : "";
}

void Session::FlushRepeats() {
  if (repeats_ > 0) {
    log_.Write(
        {"refused", connection_, "",
         "the same again " + std::to_string(repeats_) + (repeats_ == 1 ? " time" : " times")});
  }
  repeats_ = 0;
  lastRefusal_.clear();
}

void Session::Record(std::uint64_t upTo) {
  const std::span<const unsigned char> bytes =
      chunk_.subspan(recordedTo_ - chunkStart_, upTo - recordedTo_);
  recordedTo_ = upTo;
  if (!records_ || recordDropped_ || bytes.empty()) return;
  if (records_->Size() + bytes.size() > options_.maxJobBytes) {
    records_->Discard();
    recordDropped_ = true;
    Refuse("", "the job is over " + std::to_string(options_.maxJobBytes) +
                   " bytes; its raw bytes are not kept");
    return;
  }
  try {
    records_->Append(bytes);
  } catch (const IOException& e) {
    recordDropped_ = true;
    Refuse("", std::string(e.what()) + "; the job's raw bytes are not kept");
  }
}

std::shared_ptr<const JobRecord> Session::TakeRecord(std::uint64_t end) {
  Record(end);
  std::shared_ptr<const JobRecord> record;
  if (records_ && !recordDropped_) {
    try {
      record = records_->Finish();
    } catch (const IOException& e) {
      Refuse("", std::string(e.what()) + "; the job's raw bytes are not kept");
    }
  }
  recordDropped_ = false;
  recordStart_ = end;
  return record;
}

std::shared_ptr<const JobRecord> Session::OwnRecord(std::string_view bytes) {
  if (options_.recordDirectory.empty()) return nullptr;
  try {
    JobRecordWriter writer(options_.recordDirectory, std::to_string(connection_) + "-own");
    writer.Append({reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()});
    return writer.Finish();
  } catch (const IOException& e) {
    Refuse("", std::string(e.what()) + "; the label's raw bytes are not kept");
    return nullptr;
  }
}

void Session::Command(std::string_view body, std::uint64_t end) {
  const std::string shown = "{" + Printable(body) + "|}";
  if (body == "WS") {
    if (refreshStatus_) refreshStatus_();
    const unsigned code = state_.StatusCode();
    const std::uint64_t remaining = sink_.Remaining();
    replies_ += StatusReply(code, remaining);
    Log(shown, "status request: answered status " + TwoDigits(code) + ", remaining " +
                   std::to_string(std::min<std::uint64_t>(remaining, 9999)));
  } else if (body == "C") {
    if (canvas_) canvas_->Clear();
    jobPending_ = true;
    Log(shown, "image buffer cleared");
  } else if (body.starts_with("D")) {
    LabelSizeCommand(shown, body);
  } else if (body.starts_with("XS")) {
    Issue(shown, body, end);
  } else if (body.starts_with("T")) {
    Feed(shown, body);
  } else if (body.starts_with("AX")) {
    FineAdjustments(shown, body);
  } else if (body.starts_with("IP")) {
    IPv4(shown, body);
  } else if (body.starts_with("IS")) {
    RawPort(shown, body);
  } else {
    Log(shown, "unknown command, skipped");
  }
}

void Session::LabelSizeCommand(const std::string& shown, std::string_view body) {
  static const std::regex kLabelSize("D(\\d{4,5}),(\\d{4}),(\\d{4,5})(,(\\d{4}))?");
  std::cmatch match;
  if (!Match(body, kLabelSize, match)) {
    Refuse(shown, "not a label size command (D<pitch>,<width>,<length>[,<gap>]); skipped");
    return;
  }
  const LabelSize size{std::stoull(match[1].str()), std::stoull(match[2].str())};
  if (MakeCanvas(shown, size)) {
    jobPending_ = true;
    state_.SetLastLabelSize(size);
    Log(shown, "label size " + Tenths(size.width) + " x " + Tenths(size.pitch) + " mm, " +
                   std::to_string(TPCL::Dots(options_.dotsPerMillimetre, size.width)) + " x " +
                   std::to_string(TPCL::Dots(options_.dotsPerMillimetre, size.pitch)) + " dots");
  }
}

bool Session::MakeCanvas(const std::string& shown, LabelSize size) {
  const std::uint64_t width = TPCL::Dots(options_.dotsPerMillimetre, size.width);
  const std::uint64_t height = TPCL::Dots(options_.dotsPerMillimetre, size.pitch);
  const std::uint64_t bytes = (width + 7) / 8 * height;
  if (width == 0 || height == 0) {
    Refuse(shown, "a label of no width or no length cannot be printed; label size not changed");
    return false;
  }
  if (bytes > options_.maxLabelBytes) {
    Refuse(shown, "a label of " + std::to_string(width) + " x " + std::to_string(height) +
                      " dots needs " + std::to_string(bytes) + " bytes, over the limit of " +
                      std::to_string(options_.maxLabelBytes) + "; label size not changed");
    return false;
  }
  labelSize_ = size;
  canvas_.reset();
  if (options_.draw) {
    canvas_ = std::make_unique<Brindle::Bitmap>(
        Vellum::LabelCanvas(options_.dotsPerMillimetre, size.pitch, size.width));
    canvas_->SetResolution(options_.dotsPerInch, options_.dotsPerInch);
  }
  return true;
}

Brindle::Bitmap* Session::Canvas() {
  // A connection that sends no label size prints at the printer's last one.
  if (!canvas_ && options_.draw && labelSize_) MakeCanvas("", *labelSize_);
  return canvas_.get();
}

void Session::Graphics(TPCL::GraphicsCommand& g) {
  const std::string shown = std::string("{SG") + (g.longForm ? "0" : "") + ";" +
                            Printable(g.xField) + "," + Printable(g.yField) + "," +
                            std::to_string(g.width) + "," + std::to_string(g.height) + "," +
                            Printable(g.typeField) + ",<" + std::to_string(g.size) + " bytes>|}";
  if (!labelSize_) {
    Refuse(shown, "a graphic before any label size; skipped");
    return;
  }
  jobPending_ = true;
  const std::uint64_t left = TPCL::PlacementDots(options_.dotsPerMillimetre, g.xField, g.x);
  const std::uint64_t top = TPCL::PlacementDots(options_.dotsPerMillimetre, g.yField, g.y);
  const std::string what = TypeName(g.type) + " graphic " + std::to_string(g.width) + " x " +
                           std::to_string(g.height) + " dots at dot " + std::to_string(left) +
                           ", " + std::to_string(top);
  Brindle::Bitmap* canvas = Canvas();
  if (canvas == nullptr) {
    Log(shown, what + " (previews off: not drawn)");
    return;
  }
  try {
    Vellum::DrawGraphic(*canvas, g.type, g.typeField, std::move(g.payload), g.width, g.height, left,
                        top);
  } catch (const std::exception& e) {
    Refuse(shown, what + " not drawn: " + e.what());
    return;
  }
  Log(shown, what);
}

void Session::Issue(const std::string& shown, std::string_view body, std::uint64_t end) {
  static const std::regex kIssue("XS;I,(\\d{4})(,.*)?");
  std::cmatch match;
  // The line end after the issue command belongs to this job.
  while (end - chunkStart_ < chunk_.size() &&
         (chunk_[end - chunkStart_] == '\n' || chunk_[end - chunkStart_] == '\r')) {
    ++end;
  }
  auto record = TakeRecord(end);
  jobPending_ = false;
  if (!Match(body, kIssue, match)) {
    Refuse(shown, "not an issue command (XS;I,<copies>,...); nothing printed");
  } else if (!labelSize_) {
    Refuse(shown, "an issue before any label size; nothing printed");
  } else if (const unsigned copies = static_cast<unsigned>(std::stoul(match[1].str()));
             copies == 0) {
    Log(shown, "issue of 0 copies: nothing printed");
  } else {
    const std::uint64_t first = state_.TakeLabelNumber();
    for (unsigned i = 1; i < copies; ++i) state_.TakeLabelNumber();
    Log(shown, "issue: " + std::to_string(copies) + (copies == 1 ? " label, " : " labels, ") +
                   LabelFiles::BaseName(first) +
                   (copies == 1 ? "" : " to " + LabelFiles::BaseName(first + copies - 1)));
    std::shared_ptr<const Brindle::Bitmap> image;
    if (Brindle::Bitmap* canvas = Canvas()) image = std::make_shared<Brindle::Bitmap>(*canvas);
    auto log = std::make_shared<const std::vector<std::string>>(std::move(jobLog_));
    for (unsigned i = 0; i < copies; ++i) {
      sink_.Submit({first + i, connection_,
                    "label " + std::to_string(i + 1) + " of " + std::to_string(copies), image,
                    record, log});
    }
  }
  jobLog_.clear();
}

void Session::Feed(const std::string& shown, std::string_view body) {
  const std::uint64_t number = state_.TakeLabelNumber();
  const std::string line = Log(shown, "feed: blank label " + LabelFiles::BaseName(number));
  std::shared_ptr<Brindle::Bitmap> image;
  if (options_.draw && labelSize_) {
    image = std::make_shared<Brindle::Bitmap>(
        Vellum::LabelCanvas(options_.dotsPerMillimetre, labelSize_->pitch, labelSize_->width));
    image->SetResolution(options_.dotsPerInch, options_.dotsPerInch);
  }
  // The fed label's own record is the feed command alone; the job around it
  // goes on.
  sink_.Submit({number, connection_, "fed blank label", image,
                OwnRecord("{" + std::string(body) + "|}"),
                std::make_shared<const std::vector<std::string>>(1, line)});
}

void Session::FineAdjustments(const std::string& shown, std::string_view body) {
  static const std::regex kAdjust("AX;([+-])(\\d{3}),([+-])(\\d{3}),([+-])(\\d{2})");
  std::cmatch m;
  if (!Match(body, kAdjust, m)) {
    Refuse(shown, "not a fine adjustment command (AX;+fff,+ccc,+bb); skipped");
    return;
  }
  Settings settings = state_.CurrentSettings();
  settings.feedAdjustment = SignedTenths(m[1], m[2]);
  settings.cutAdjustment = SignedTenths(m[3], m[4]);
  settings.backfeedAdjustment = SignedTenths(m[5], m[6]);
  state_.ChangeSettings(settings);
  Log(shown, "fine adjustments: feed " + Millimetres(settings.feedAdjustment) + " mm, cut/strip " +
                 Millimetres(settings.cutAdjustment) + " mm, back feed " +
                 Millimetres(settings.backfeedAdjustment) + " mm");
}

void Session::IPv4(const std::string& shown, std::string_view body) {
  static const std::regex kIP("IP;([234]),(\\d{3}),(\\d{3}),(\\d{3}),(\\d{3})");
  std::cmatch m;
  bool valid = Match(body, kIP, m);
  std::string dotted;
  for (int i = 2; valid && i <= 5; ++i) {
    const int octet = std::stoi(m[i].str());
    valid = octet <= 255;
    dotted += (i == 2 ? "" : ".") + std::to_string(octet);
  }
  if (!valid) {
    Refuse(shown, "not an IPv4 setting (IP;2|3|4,aaa,bbb,ccc,ddd); skipped");
    return;
  }
  Settings settings = state_.CurrentSettings();
  const char which = m[1].str()[0];
  std::string& field = which == '2'   ? settings.address
                       : which == '3' ? settings.netmask
                                      : settings.gateway;
  field = dotted;
  state_.ChangeSettings(settings);
  Log(shown, std::string(which == '2'   ? "IPv4 address"
                         : which == '3' ? "subnet mask"
                                        : "gateway") +
                 " set to " + dotted);
}

void Session::RawPort(const std::string& shown, std::string_view body) {
  static const std::regex kPort("IS;([01]),(\\d{5})");
  std::cmatch m;
  if (!Match(body, kPort, m)) {
    Refuse(shown, "not a raw port setting (IS;a,bbbbb); skipped");
    return;
  }
  Settings settings = state_.CurrentSettings();
  settings.rawPortOn = m[1] == "1";
  settings.rawPort = static_cast<unsigned>(std::stoul(m[2].str()));
  state_.ChangeSettings(settings);
  Log(shown, settings.rawPortOn ? "raw port set to " + std::to_string(settings.rawPort)
                                : "raw port switched off");
}

}  // namespace Corvane::VirtualPrinter
