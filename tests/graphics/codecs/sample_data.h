// Deterministic payloads for codec tests: what TIFF strips really carry.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace Vellum::Testing {

using Bytes = std::vector<unsigned char>;

inline Bytes RandomBytes(std::size_t size, std::uint32_t seed) {
  std::mt19937 generator(seed);
  Bytes out(size);
  for (auto& byte : out) byte = static_cast<unsigned char>(generator());
  return out;
}

// A one-bit label: white with bars, boxes and a little noise for text.
inline Bytes LabelBitmap(std::size_t width, std::size_t height, std::uint32_t seed = 1) {
  const std::size_t rowBytes = (width + 7) / 8;
  Bytes out(rowBytes * height, 0);
  std::mt19937 generator(seed);
  for (std::size_t y = 0; y < height; ++y) {
    for (std::size_t x = 0; x < width; ++x) {
      const bool barcode = y > height / 2 && y < height / 2 + height / 5 && (x / 3) % 5 < 2;
      const bool frame = x < 8 || x + 8 >= width || y < 8 || y + 8 >= height;
      const bool glyph = y % 40 < 24 && x % 18 < 12 && (generator() & 7) == 0 && y < height / 3;
      if (barcode || frame || glyph)
        out[y * rowBytes + x / 8] |= static_cast<unsigned char>(0x80 >> (x % 8));
    }
  }
  return out;
}

// Smooth gradients plus mild noise, like a grey photograph.
inline Bytes PhotoGrey(std::size_t width, std::size_t height, std::uint32_t seed = 2) {
  Bytes out(width * height);
  std::mt19937 generator(seed);
  for (std::size_t y = 0; y < height; ++y)
    for (std::size_t x = 0; x < width; ++x) {
      const int value = static_cast<int>((x * 3 + y * 2) % 256 / 2 + ((x / 50 + y / 70) % 3) * 30) +
                        static_cast<int>(generator() % 9) - 4;
      out[y * width + x] = static_cast<unsigned char>(value < 0 ? 0 : value > 255 ? 255 : value);
    }
  return out;
}

// English-like words with punctuation and line breaks.
inline Bytes EnglishText(std::size_t size, std::uint32_t seed = 3) {
  static const char* const kWords[] = {
      "the",   "label", "printer", "of",   "and",      "to",   "a",     "in",    "ribbon", "is",
      "that",  "for",   "thermal", "head", "it",       "with", "as",    "was",   "on",     "be",
      "at",    "by",    "this",    "had",  "shipping", "from", "or",    "have",  "an",     "they",
      "which", "one",   "you",     "were", "her",      "all",  "she",   "there", "would",  "their",
      "we",    "him",   "been",    "has",  "when",     "who",  "will",  "more",  "no",     "if",
      "out",   "so",    "said",    "what", "up",       "its",  "about", "into"};
  std::mt19937 generator(seed);
  Bytes out;
  out.reserve(size + 16);
  std::size_t sentence = 0;
  while (out.size() < size) {
    std::string word = kWords[generator() % std::size(kWords)];
    if (sentence == 0) word[0] = static_cast<char>(word[0] - 'a' + 'A');
    out.insert(out.end(), word.begin(), word.end());
    ++sentence;
    if (sentence > 6 && generator() % 8 == 0) {
      out.push_back('.');
      out.push_back(generator() % 4 == 0 ? '\n' : ' ');
      sentence = 0;
    } else {
      out.push_back(generator() % 11 == 0 ? ',' : ' ');
      if (out.back() == ',') out.push_back(' ');
    }
  }
  out.resize(size);
  return out;
}

}  // namespace Vellum::Testing
