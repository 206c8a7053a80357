// render reads a job of any length in bounded memory. The largest single
// allocation the process makes is watched through a replaced operator new, so
// this file is a test program of its own.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <new>
#include <streambuf>
#include <string>

#include "graphics/tiff_tools.h"
#include "render/render_command.h"

namespace {

std::atomic<std::size_t> largestAllocation{0};

void* Allocate(std::size_t size) {
  std::size_t seen = largestAllocation.load();
  while (size > seen && !largestAllocation.compare_exchange_weak(seen, size)) {
  }
  if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
  throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }

namespace {

// Serves `length` zero bytes without a line feed, then `tail`, generated as it
// is read: the job never exists in memory as a whole.
class EndlessLine : public std::streambuf {
 public:
  EndlessLine(std::size_t length, std::string tail) : left_(length), tail_(std::move(tail)) {
    std::memset(block_, 0, sizeof block_);
  }

 protected:
  int_type underflow() override {
    if (left_ > 0) {
      const std::size_t n = std::min(left_, sizeof block_);
      left_ -= n;
      setg(block_, block_, block_ + n);
    } else if (!tailServed_) {
      tailServed_ = true;
      setg(tail_.data(), tail_.data(), tail_.data() + tail_.size());
    } else {
      return traits_type::eof();
    }
    return traits_type::to_int_type(*gptr());
  }

 private:
  char block_[1 << 16];
  std::size_t left_;
  std::string tail_;
  bool tailServed_ = false;
};

TEST(RenderMemory, EndlessLineBeforeTheLabelSizeIsSkippedNotStored) {
  ::Vellum::Testing::TempDir dir;
  const std::string out = (dir / "out.tif").string();
  // 64 MiB on one line, then a label of 608 x 406 dots.
  EndlessLine job(std::size_t{64} << 20, "\n{D0508,0760,0468|}\n");
  std::streambuf* old = std::cin.rdbuf(&job);
  largestAllocation = 0;
  Corvane::Vellum::Commands::Render({"-o", out});
  std::cin.rdbuf(old);
  // The canvas is 31 KB; the job's line must not have been kept.
  EXPECT_LT(largestAllocation.load(), std::size_t{1} << 20);
  const auto tags = ::Vellum::Testing::TiffTags(out);
  EXPECT_EQ(tags.at(256), "608");
  EXPECT_EQ(tags.at(257), "406");
}

}  // namespace
