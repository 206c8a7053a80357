// A fixed-size byte buffer that is not zeroed when made: the codecs allocate
// their work buffers once per call (once per TIFF strip), and clearing a few
// hundred KiB that are written before they are read would cost more than
// decoding a small strip.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>

#if defined(__linux__)
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace Ashgrove {

// Asks the kernel to back the whole pages of [bytes, bytes + size) with
// memory now, in one call, instead of one page fault per page at first
// touch. Fresh large allocations come straight from the kernel, and in a
// short-lived process (one TIFF read per run) those faults cost more than
// decoding; for memory already in use the call is cheap. A kernel without
// the request simply leaves the faults to happen as before.
inline void PopulatePages(void* bytes, std::size_t size) {
#if defined(__linux__)
  constexpr std::size_t kWorthIt = std::size_t{1} << 17;  // below this malloc reuses its heap
  constexpr int kPopulateWrite = 23;                      // MADV_POPULATE_WRITE, Linux 5.14
  if (bytes == nullptr || size < kWorthIt) return;
  static const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  const auto begin = (reinterpret_cast<std::uintptr_t>(bytes) + page - 1) & ~(page - 1);
  const auto end = (reinterpret_cast<std::uintptr_t>(bytes) + size) & ~(page - 1);
  if (end <= begin) return;
  // Memory the heap hands back again is usually backed already, and asking
  // for it anew still walks every page: one look at which pages are there
  // costs a seventh of that.
  constexpr std::size_t kLookLimit = 4096;  // pages whose state one look takes
  const std::size_t pages = (end - begin) / page;
  if (pages <= kLookLimit) {
    unsigned char resident[kLookLimit];
    if (mincore(reinterpret_cast<void*>(begin), end - begin, resident) == 0 &&
        std::all_of(resident, resident + pages, [](unsigned char p) { return (p & 1) != 0; }))
      return;
  }
  madvise(reinterpret_cast<void*>(begin), end - begin, kPopulateWrite);
#else
  (void)bytes;
  (void)size;
#endif
}

class ByteBlock {
 public:
  explicit ByteBlock(std::size_t size)
      : bytes_(size == 0 ? nullptr : std::make_unique_for_overwrite<unsigned char[]>(size)),
        size_(size) {
    PopulatePages(bytes_.get(), size_);
  }

  unsigned char* data() { return bytes_.get(); }
  const unsigned char* data() const { return bytes_.get(); }
  std::size_t size() const { return size_; }
  unsigned char& operator[](std::size_t i) { return bytes_[i]; }
  unsigned char operator[](std::size_t i) const { return bytes_[i]; }

 private:
  std::unique_ptr<unsigned char[]> bytes_;
  std::size_t size_;
};

}  // namespace Ashgrove
