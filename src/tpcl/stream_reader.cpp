#include "tpcl/stream_reader.h"

#include <algorithm>
#include <stdexcept>

#include "tpcl/graphics_command.h"

namespace Corvane::TPCL {

namespace {

// Bytes that may stand between frames without a word: line ends, blanks and
// the other control characters (an ESC often precedes a frame).
bool IsQuietFiller(unsigned char byte) { return byte <= 0x20; }

std::string Quoted(const std::string& text) { return "\"" + text + "\""; }

}  // namespace

StreamReader::StreamReader(StreamLimits limits) : limits_(limits) {}

void StreamReader::Feed(std::span<const unsigned char> bytes, StreamListener& listener) {
  while (!bytes.empty()) {
    std::size_t used = 0;
    switch (state_) {
      case State::kOutside:
        used = Outside(bytes, listener);
        break;
      case State::kBody:
        used = Body(bytes, listener);
        break;
      case State::kPayload:
        used = Payload(bytes);
        break;
      default:
        used = GraphicsByte(bytes[0], listener) ? 1 : 0;
        break;
    }
    offset_ += used;
    bytes = bytes.subspan(used);
  }
}

void StreamReader::Finish(StreamListener& listener) {
  ReportSkipped(offset_, listener);
  if (state_ == State::kPayload) {
    listener.OnError("the stream ended after " + std::to_string(graphics_.size - payloadLeft_) +
                         " of the " + std::to_string(graphics_.size) + " bytes of a graphic's data",
                     offset_);
  } else if (state_ != State::kOutside) {
    listener.OnError("the stream ended inside a command", offset_);
  }
  state_ = State::kOutside;
  body_.clear();
  graphics_.payload = {};
}

std::size_t StreamReader::Outside(std::span<const unsigned char> bytes, StreamListener& listener) {
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (bytes[i] == '{') {
      ReportSkipped(offset_ + i, listener);
      state_ = State::kBody;
      body_.clear();
      return i + 1;
    }
    if (!IsQuietFiller(bytes[i])) ++skipped_;
  }
  return bytes.size();
}

void StreamReader::ReportSkipped(std::uint64_t end, StreamListener& listener) {
  if (skipped_ == 0) return;
  listener.OnError(std::to_string(skipped_) + " bytes outside any command skipped", end);
  skipped_ = 0;
}

std::size_t StreamReader::Body(std::span<const unsigned char> bytes, StreamListener& listener) {
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const unsigned char byte = bytes[i];
    if (byte == '{') {
      Broken("a command was cut short by the next \"{\"", offset_ + i, listener);
      return i;
    }
    if (byte == '}' && !body_.empty() && body_.back() == '|') {
      body_.pop_back();
      state_ = State::kOutside;
      listener.OnCommand(body_, offset_ + i + 1);
      return i + 1;
    }
    body_.push_back(static_cast<char>(byte));
    if (body_.size() == 2 && body_ == "SG") {
      graphics_ = GraphicsCommand{};
      twoByteCount_ = false;
      field_.clear();
      fieldIndex_ = 0;
      modifierSeen_ = false;
      state_ = State::kGraphicsForm;
      return i + 1;
    }
    if (body_.size() > limits_.maxCommandBytes) {
      // The rest of it is skipped as bytes outside any command.
      Broken(
          "a command longer than " + std::to_string(limits_.maxCommandBytes) + " bytes was skipped",
          offset_ + i + 1, listener);
      return i + 1;
    }
  }
  return bytes.size();
}

std::size_t StreamReader::Payload(std::span<const unsigned char> bytes) {
  const std::size_t n =
      static_cast<std::size_t>(std::min<std::uint64_t>(payloadLeft_, bytes.size()));
  if (graphics_.payloadKept) {
    graphics_.payload.insert(graphics_.payload.end(), bytes.begin(), bytes.begin() + n);
  }
  payloadLeft_ -= n;
  if (payloadLeft_ == 0) state_ = State::kBar;
  return n;
}

bool StreamReader::GraphicsByte(unsigned char byte, StreamListener& listener) {
  // Inside the header a "{" can only mean that the command was cut short.
  if (byte == '{' && state_ != State::kSize) {
    Broken("a graphics command was cut short by the next \"{\"", offset_, listener);
    return false;
  }
  switch (state_) {
    case State::kGraphicsForm:
    case State::kSemicolon:
      if (byte == '0' && state_ == State::kGraphicsForm) {
        graphics_.longForm = true;
        state_ = State::kSemicolon;
      } else if (byte == ';') {
        state_ = State::kField;
      } else {
        Broken("a graphics command lacks the \";\" after \"SG\"", offset_, listener);
        return false;
      }
      return true;
    case State::kField:
      if (byte == ',') {
        FieldDone(listener);
      } else if (field_.size() == kGraphicsFieldMaxLength) {
        Broken("a graphics command has a field longer than " +
                   std::to_string(kGraphicsFieldMaxLength) + " characters",
               offset_, listener);
        return false;
      } else {
        field_.push_back(static_cast<char>(byte));
      }
      return true;
    case State::kSize:
      // The long form's fifth byte is a spare one.
      if (twoByteCount_ || sizeBytesLeft_ > 1) sizeValue_ = (sizeValue_ << 8) | byte;
      if (--sizeBytesLeft_ == 0) {
        SizeDone(listener);
      }
      return true;
    case State::kBar:
      if (byte != '|') {
        Broken("a graphic's data is not followed by \"|}\"", offset_, listener);
        return false;
      }
      state_ = State::kBrace;
      return true;
    case State::kBrace:
      if (byte != '}') {
        Broken("a graphic's data is not followed by \"|}\"", offset_, listener);
        return false;
      }
      state_ = State::kOutside;
      if (graphics_.size > limits_.maxPayloadBytes) {
        listener.OnError("a graphic of " + std::to_string(graphics_.size) +
                             " bytes of data, over the limit of " +
                             std::to_string(limits_.maxPayloadBytes) + ", was skipped",
                         offset_ + 1);
      } else {
        listener.OnGraphics(graphics_, offset_ + 1);
      }
      graphics_.payload = {};
      return true;
    default:
      return true;
  }
}

void StreamReader::FieldDone(StreamListener& listener) {
  if (field_.empty()) {
    Broken("a graphics command has an empty field", offset_ + 1, listener);
    return;
  }
  std::string field;
  field.swap(field_);
  try {
    switch (fieldIndex_++) {
      case 0:
        graphics_.x = GraphicsNumber(field);
        graphics_.xField = std::move(field);
        return;
      case 1:
        graphics_.y = GraphicsNumber(field);
        graphics_.yField = std::move(field);
        return;
      case 2:
        graphics_.width = GraphicsNumber(field);
        return;
      case 3:
        graphics_.height = GraphicsNumber(field);
        return;
      default:
        if (!modifierSeen_ && IsTypeModifier(field)) {
          modifierSeen_ = true;
          return;
        }
        graphics_.type = GraphicsType(field);
        graphics_.typeField = std::move(field);
        break;
    }
  } catch (const std::logic_error&) {  // std::invalid_argument, std::out_of_range
    Broken("a graphics command has the field " + Quoted(field) + " where a number belongs",
           offset_ + 1, listener);
    return;
  }
  if (graphics_.longForm) {
    state_ = State::kSize;
    sizeBytesLeft_ = 5;
    sizeValue_ = 0;
    twoByteCount_ = false;
    return;
  }
  SizeDone(listener);
}

void StreamReader::SizeDone(StreamListener& listener) {
  // Called after the long form's size (0: the type decides after all), after
  // TOPIX's count, or straight after the type field in the short form.
  if (state_ == State::kSize && (twoByteCount_ || sizeValue_ != 0)) {
    graphics_.size = sizeValue_;
    StartPayload();
    return;
  }
  const ShortFormSize rule =
      ShortFormPayloadSize(graphics_.type, graphics_.width, graphics_.height);
  switch (rule.kind) {
    case ShortFormSize::Kind::kTwoByteCount:
      state_ = State::kSize;
      sizeBytesLeft_ = 2;
      sizeValue_ = 0;
      twoByteCount_ = true;
      return;
    case ShortFormSize::Kind::kFixed:
      graphics_.size = rule.bytes;
      StartPayload();
      return;
    case ShortFormSize::Kind::kUnsupported:
      Broken("a graphics command of type " + Quoted(graphics_.typeField) +
                 " gives no size for its data",
             offset_ + 1, listener);
      return;
  }
}

void StreamReader::StartPayload() {
  graphics_.payloadKept = limits_.keepPayloads && graphics_.size <= limits_.maxPayloadBytes;
  graphics_.payload.clear();
  // Reserved step by step as the data arrives, never from the declared size
  // alone, which a broken command may overstate.
  if (graphics_.payloadKept) {
    graphics_.payload.reserve(
        static_cast<std::size_t>(std::min<std::uint64_t>(graphics_.size, 1 << 20)));
  }
  payloadLeft_ = graphics_.size;
  state_ = payloadLeft_ == 0 ? State::kBar : State::kPayload;
}

void StreamReader::Broken(const std::string& message, std::uint64_t end, StreamListener& listener) {
  state_ = State::kOutside;
  body_.clear();
  graphics_.payload = {};
  listener.OnError(message, end);
}

}  // namespace Corvane::TPCL
