// Hand-built TIFF files: one directory of chosen fields, strips placed after
// it, so that each malformed case changes exactly one thing.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace VellumTest {

class TiffBuilder {
 public:
  using Bytes = std::vector<unsigned char>;

  struct Field {
    std::uint16_t type;
    std::vector<std::uint32_t> values;   // for RATIONAL: numerator, denominator pairs
    std::optional<std::uint32_t> count;  // overrides the count written
  };

  // A valid 8-bit grey image of width x height with one strip of `pixels`.
  static TiffBuilder Grey(std::uint32_t width, std::uint32_t height, Bytes pixels) {
    TiffBuilder b;
    b.Set(256, 4, {width}).Set(257, 4, {height}).Set(258, 3, {8}).Set(259, 3, {1}).Set(262, 3, {1});
    b.Set(277, 3, {1})
        .Set(278, 4, {height})
        .Set(282, 5, {300, 1})
        .Set(283, 5, {300, 1})
        .Set(296, 3, {2});
    b.strips = {std::move(pixels)};
    return b;
  }

  TiffBuilder& Set(std::uint16_t tag, std::uint16_t type, std::vector<std::uint32_t> values) {
    fields[tag] = {type, std::move(values), std::nullopt};
    return *this;
  }
  TiffBuilder& Drop(std::uint16_t tag) {
    fields.erase(tag);
    return *this;
  }

  // StripOffsets (273) and StripByteCounts (279) are filled in from `strips`
  // unless set explicitly.
  Bytes Build() const {
    std::map<std::uint16_t, Field> all = fields;
    const bool autoOffsets = !all.count(273);
    if (!all.count(279)) {
      Field counts{4, {}, std::nullopt};
      for (const auto& s : strips) counts.values.push_back(static_cast<std::uint32_t>(s.size()));
      all[279] = counts;
    }
    if (autoOffsets) all[273] = {4, std::vector<std::uint32_t>(strips.size(), 0), std::nullopt};

    const std::uint32_t ifdSize = 2 + 12 * static_cast<std::uint32_t>(all.size()) + 4;
    std::uint32_t free = 8 + ifdSize;
    // Out-of-line values first, then the strips.
    std::map<std::uint16_t, std::uint32_t> valueOffsets;
    for (const auto& [tag, field] : all) {
      const std::uint32_t count = Count(field);
      if (count > 1 || field.type == 5) {
        valueOffsets[tag] = free;
        free += static_cast<std::uint32_t>(field.values.size()) * Size(field.type);
      }
    }
    std::vector<std::uint32_t> stripOffsets;
    for (const auto& s : strips) {
      stripOffsets.push_back(free);
      free += static_cast<std::uint32_t>(s.size());
    }
    if (autoOffsets) all[273].values = stripOffsets;

    Bytes out;
    Put(out, bigEndian ? 0x4D4D : 0x4949, 2);
    Put(out, 42, 2);
    Put(out, 8, 4);
    Put(out, static_cast<std::uint32_t>(all.size()), 2);
    for (const auto& [tag, field] : all) {
      Put(out, tag, 2);
      Put(out, field.type, 2);
      Put(out, Count(field), 4);
      if (valueOffsets.count(tag)) {
        Put(out, valueOffsets[tag], 4);
      } else if (field.type == 3) {
        Put(out, field.values.empty() ? 0 : field.values[0], 2);
        Put(out, 0, 2);
      } else if (field.type == 1) {
        Put(out, field.values.empty() ? 0 : field.values[0], 1);
        Put(out, 0, 3);
      } else {
        Put(out, field.values.empty() ? 0 : field.values[0], 4);
      }
    }
    Put(out, nextDirectory, 4);
    for (const auto& [tag, field] : all) {
      if (!valueOffsets.count(tag)) continue;
      for (auto v : field.values) Put(out, v, Size(field.type));
    }
    for (const auto& s : strips) out.insert(out.end(), s.begin(), s.end());
    return out;
  }

  std::map<std::uint16_t, Field> fields;
  std::vector<Bytes> strips;
  bool bigEndian = false;
  std::uint32_t nextDirectory = 0;

 private:
  static std::uint32_t Size(std::uint16_t type) { return type == 1 ? 1 : type == 3 ? 2 : 4; }
  static std::uint32_t Count(const Field& field) {
    if (field.count) return *field.count;
    return static_cast<std::uint32_t>(field.type == 5 ? field.values.size() / 2
                                                      : field.values.size());
  }
  void Put(Bytes& out, std::uint32_t value, std::uint32_t size) const {
    for (std::uint32_t i = 0; i < size; ++i) {
      const std::uint32_t shift = bigEndian ? 8 * (size - 1 - i) : 8 * i;
      out.push_back(static_cast<unsigned char>(value >> shift));
    }
  }
};

}  // namespace VellumTest
