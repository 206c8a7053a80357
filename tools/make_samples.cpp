// Draws the bundled sample labels and writes each as the TPCL job a driver
// would send for it, every graphic encoded by our own TOPIX encoder (or sent
// raw, or in the long size form, as a driver may). Usage: make_samples DIR
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "graphics/bitmap.h"
#include "render/topix_codec.h"

namespace {

using Brindle::Bitmap;

// A 5 x 7 font, one byte per row, bit 4 the leftmost column.
struct Glyph {
  char character;
  std::array<unsigned char, 7> rows;
};

constexpr Glyph kFont[] = {
    {'A', {0x0E, 0x11, 0x11, 0x1F, 0x11, 0x11, 0x11}},
    {'B', {0x1E, 0x11, 0x11, 0x1E, 0x11, 0x11, 0x1E}},
    {'C', {0x0E, 0x11, 0x10, 0x10, 0x10, 0x11, 0x0E}},
    {'D', {0x1E, 0x11, 0x11, 0x11, 0x11, 0x11, 0x1E}},
    {'E', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x1F}},
    {'F', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x10}},
    {'G', {0x0E, 0x11, 0x10, 0x17, 0x11, 0x11, 0x0F}},
    {'H', {0x11, 0x11, 0x11, 0x1F, 0x11, 0x11, 0x11}},
    {'I', {0x0E, 0x04, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'J', {0x07, 0x02, 0x02, 0x02, 0x02, 0x12, 0x0C}},
    {'K', {0x11, 0x12, 0x14, 0x18, 0x14, 0x12, 0x11}},
    {'L', {0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x1F}},
    {'M', {0x11, 0x1B, 0x15, 0x15, 0x11, 0x11, 0x11}},
    {'N', {0x11, 0x11, 0x19, 0x15, 0x13, 0x11, 0x11}},
    {'O', {0x0E, 0x11, 0x11, 0x11, 0x11, 0x11, 0x0E}},
    {'P', {0x1E, 0x11, 0x11, 0x1E, 0x10, 0x10, 0x10}},
    {'Q', {0x0E, 0x11, 0x11, 0x11, 0x15, 0x12, 0x0D}},
    {'R', {0x1E, 0x11, 0x11, 0x1E, 0x14, 0x12, 0x11}},
    {'S', {0x0F, 0x10, 0x10, 0x0E, 0x01, 0x01, 0x1E}},
    {'T', {0x1F, 0x04, 0x04, 0x04, 0x04, 0x04, 0x04}},
    {'U', {0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x0E}},
    {'V', {0x11, 0x11, 0x11, 0x11, 0x11, 0x0A, 0x04}},
    {'W', {0x11, 0x11, 0x11, 0x15, 0x15, 0x15, 0x0A}},
    {'X', {0x11, 0x11, 0x0A, 0x04, 0x0A, 0x11, 0x11}},
    {'Y', {0x11, 0x11, 0x11, 0x0A, 0x04, 0x04, 0x04}},
    {'Z', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x10, 0x1F}},
    {'0', {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}},
    {'1', {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'2', {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F}},
    {'3', {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E}},
    {'4', {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02}},
    {'5', {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E}},
    {'6', {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E}},
    {'7', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08}},
    {'8', {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E}},
    {'9', {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C}},
    {'-', {0x00, 0x00, 0x00, 0x1F, 0x00, 0x00, 0x00}},
    {'.', {0x00, 0x00, 0x00, 0x00, 0x00, 0x0C, 0x0C}},
    {',', {0x00, 0x00, 0x00, 0x00, 0x0C, 0x04, 0x08}},
    {':', {0x00, 0x0C, 0x0C, 0x00, 0x0C, 0x0C, 0x00}},
    {'/', {0x00, 0x01, 0x02, 0x04, 0x08, 0x10, 0x00}},
    {'#', {0x0A, 0x0A, 0x1F, 0x0A, 0x1F, 0x0A, 0x0A}},
};

void Box(Bitmap& b, std::uint64_t x0, std::uint64_t y0, std::uint64_t x1, std::uint64_t y1) {
  for (std::uint64_t y = y0; y < y1 && y < b.Height(); ++y) {
    for (std::uint64_t x = x0; x < x1 && x < b.Width(); ++x) b.SetPixel(x, y, true);
  }
}

void Frame(Bitmap& b, std::uint64_t x0, std::uint64_t y0, std::uint64_t x1, std::uint64_t y1,
           std::uint64_t t) {
  Box(b, x0, y0, x1, y0 + t);
  Box(b, x0, y1 - t, x1, y1);
  Box(b, x0, y0, x0 + t, y1);
  Box(b, x1 - t, y0, x1, y1);
}

// Text in the 5 x 7 font, each font dot `scale` dots square.
void Text(Bitmap& b, std::uint64_t x, std::uint64_t y, const std::string& text,
          std::uint64_t scale) {
  for (char c : text) {
    for (const Glyph& g : kFont) {
      if (g.character != c) continue;
      for (std::uint64_t row = 0; row < 7; ++row) {
        for (std::uint64_t col = 0; col < 5; ++col) {
          if (g.rows[row] & (0x10 >> col)) {
            Box(b, x + col * scale, y + row * scale, x + (col + 1) * scale, y + (row + 1) * scale);
          }
        }
      }
    }
    x += 6 * scale;
  }
}

// Interleaved 2 of 5: digit pairs, the first digit's widths in the bars and
// the second's in the spaces. `narrow` dots per narrow element, wide = 3x.
Bitmap Interleaved2of5(const std::string& digits, std::uint64_t narrow, std::uint64_t height) {
  static const char* kWidths[] = {"nnwwn", "wnnnw", "nwnnw", "wwnnn", "nnwnw",
                                  "wnwnn", "nwwnn", "nnnww", "wnnwn", "nwnwn"};
  std::string elements = "nnnn";  // start: bar, space, bar, space
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    for (int k = 0; k < 5; ++k) {
      elements += kWidths[digits[i] - '0'][k];
      elements += kWidths[digits[i + 1] - '0'][k];
    }
  }
  elements += "wnn";                  // stop: wide bar, space, bar
  std::uint64_t width = 10 * narrow;  // quiet zones
  for (char e : elements) width += e == 'w' ? 3 * narrow : narrow;
  width += 10 * narrow;
  Bitmap bitmap(width, height);
  std::uint64_t x = 10 * narrow;
  bool bar = true;
  for (char e : elements) {
    const std::uint64_t w = e == 'w' ? 3 * narrow : narrow;
    if (bar) Box(bitmap, x, 0, x + w, height);
    x += w;
    bar = !bar;
  }
  return bitmap;
}

void Disc(Bitmap& b, double cx, double cy, double r, bool dot) {
  for (std::uint64_t y = 0; y < b.Height(); ++y) {
    for (std::uint64_t x = 0; x < b.Width(); ++x) {
      if (std::hypot(x + 0.5 - cx, y + 0.5 - cy) <= r) b.SetPixel(x, y, dot);
    }
  }
}

// The TPCL jobs use 0.1 mm; the samples are drawn at 8 dots/mm, so a
// position of n dots is n * 10 / 8 tenths (kept on whole bytes).
std::string Tenths(std::uint64_t dots) {
  char text[8];
  std::snprintf(text, sizeof text, "%04llu", static_cast<unsigned long long>(dots * 10 / 8));
  return text;
}

enum class Form { kTOPIX, kRaw, kLongTOPIX };

std::string Graphic(std::uint64_t x, std::uint64_t y, const Bitmap& bitmap, Form form) {
  std::stringstream data;
  Brindle::WriteBitmap(bitmap, data,
                       form == Form::kRaw ? Brindle::kRawFormat : Brindle::kTOPIXFormat);
  std::string bytes = data.str();
  std::string head = form == Form::kLongTOPIX ? "{SG0;" : "{SG;";
  head += Tenths(x) + "," + Tenths(y) + "," + std::to_string(bitmap.Width()) + "," +
          std::to_string(bitmap.Height()) + "," + (form == Form::kRaw ? "1" : "3") + ",";
  if (form == Form::kLongTOPIX) {
    // The long form carries a 4-byte size and a spare byte instead of
    // TOPIX's own 2-byte count.
    bytes.erase(0, 2);
    const auto size = static_cast<std::uint32_t>(bytes.size());
    const char sizeBytes[5] = {static_cast<char>(size >> 24), static_cast<char>(size >> 16),
                               static_cast<char>(size >> 8), static_cast<char>(size), 0};
    head.append(sizeBytes, 5);
  }
  return head + bytes + "|}\n";
}

std::string ShippingLabel() {
  // 100 x 150 mm with a 3 mm gap, at 8 dots/mm: 800 x 1200 dots.
  std::string job = "{D1530,1000,1500|}\n{AX;+000,+000,+00|}\n{AY;+00,0|}\n{C|}\n";

  Bitmap frame(800, 1200);
  Frame(frame, 0, 0, 800, 1200, 6);
  Box(frame, 0, 160, 800, 166);
  Box(frame, 0, 420, 800, 426);
  Box(frame, 0, 760, 800, 766);
  Box(frame, 0, 1040, 800, 1046);
  job += Graphic(0, 0, frame, Form::kLongTOPIX);

  Bitmap header(776, 140);
  Disc(header, 70, 70, 56, true);
  Disc(header, 70, 70, 34, false);
  Box(header, 60, 20, 80, 120);
  Text(header, 150, 22, "VELLUM", 8);
  Text(header, 152, 92, "LOGISTICS - PARCEL", 4);
  job += Graphic(8, 12, header, Form::kTOPIX);

  Bitmap from(776, 240);
  Text(from, 8, 10, "FROM:", 3);
  Text(from, 8, 50, "CORVANE LABEL WORKS", 4);
  Text(from, 8, 90, "12 HARBOUR ROW, UNIT 4", 4);
  Text(from, 8, 130, "GLASGOW G2 8LT", 4);
  Text(from, 8, 170, "UNITED KINGDOM", 4);
  Text(from, 560, 10, "WEIGHT", 3);
  Text(from, 560, 40, "2.40 KG", 4);
  Text(from, 560, 90, "PIECES", 3);
  Text(from, 560, 120, "1/1", 4);
  job += Graphic(8, 172, from, Form::kTOPIX);

  Bitmap to(776, 320);
  Text(to, 8, 10, "SHIP TO:", 4);
  Text(to, 8, 60, "A. MACKENZIE", 6);
  Text(to, 8, 120, "7 ASHGROVE TERRACE", 6);
  Text(to, 8, 180, "ABERDEEN AB25 3QZ", 6);
  Text(to, 8, 240, "SCOTLAND", 6);
  job += Graphic(8, 432, to, Form::kTOPIX);

  Bitmap route(256, 96);
  Box(route, 0, 0, 256, 96);
  Box(route, 8, 8, 248, 88);  // stays set; the text is cut out below
  for (std::uint64_t y = 8; y < 88; ++y) {
    for (std::uint64_t x = 8; x < 248; ++x) route.SetPixel(x, y, false);
  }
  Text(route, 20, 20, "AB25", 9);
  job += Graphic(536, 436, route, Form::kTOPIX);

  const std::string tracking = "00340434161094220152";
  Bitmap barcode = Interleaved2of5(tracking, 3, 200);
  job += Graphic(8, 800, barcode, Form::kTOPIX);

  // The human-readable line under the barcode goes raw, as some drivers send text.
  Bitmap number(776, 40);
  Text(number, 40, 6, "TRACKING " + tracking, 4);
  job += Graphic(8, 1000, number, Form::kRaw);

  Bitmap footer(776, 140);
  Text(footer, 8, 16, "PRIORITY", 10);
  Box(footer, 540, 10, 768, 130);
  for (std::uint64_t y = 20; y < 120; ++y) {
    for (std::uint64_t x = 550; x < 758; ++x) footer.SetPixel(x, y, false);
  }
  Text(footer, 566, 40, "24H", 10);
  job += Graphic(8, 1052, footer, Form::kTOPIX);

  return job + "{XS;I,0001,0002C3000|}\n";
}

std::string SmallLabel() {
  // 50 x 30 mm with a 3 mm gap: 400 x 240 dots.
  std::string job = "{D0330,0500,0300|}\n{AX;+000,+000,+00|}\n{C|}\n";

  Bitmap frame(400, 240);
  Frame(frame, 0, 0, 400, 240, 3);
  job += Graphic(0, 0, frame, Form::kLongTOPIX);

  Bitmap name(384, 64);
  Text(name, 4, 4, "ORGANIC OATS", 4);
  Text(name, 4, 40, "500 G - BATCH 2417", 2);
  job += Graphic(8, 8, name, Form::kTOPIX);

  Bitmap price(128, 56);
  Box(price, 0, 0, 128, 56);
  for (std::uint64_t y = 4; y < 52; ++y) {
    for (std::uint64_t x = 4; x < 124; ++x) price.SetPixel(x, y, false);
  }
  Text(price, 18, 14, "3.49", 4);
  job += Graphic(264, 80, price, Form::kRaw);

  Bitmap barcode = Interleaved2of5("05012345678900", 2, 80);
  job += Graphic(8, 144, barcode, Form::kTOPIX);

  Bitmap best(240, 24);
  Text(best, 4, 4, "BEST BEFORE 03/27", 2);
  job += Graphic(8, 88, best, Form::kTOPIX);

  return job + "{XS;I,0001,0002C3000|}\n";
}

bool Write(const std::string& path, const std::string& job) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << job;
  return static_cast<bool>(out);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: make_samples DIR\n";
    return 2;
  }
  const std::string dir = argv[1];
  try {
    if (!Write(dir + "/shipping_label.prn", ShippingLabel()) ||
        !Write(dir + "/small_label.prn", SmallLabel())) {
      std::cerr << "make_samples: cannot write to " << dir << "\n";
      return 1;
    }
  } catch (const std::exception& e) {
    std::cerr << "make_samples: " << e.what() << "\n";
    return 1;
  }
  return 0;
}
