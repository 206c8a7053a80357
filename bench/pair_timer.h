// Times a piece of our code against its reference in the same run: both
// sides take turns, repetition by repetition, in the CPU time of the calling
// thread, so that waiting for a core on a shared machine counts for neither
// and slow spells of the machine fall on both alike.
#pragma once

#include <time.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace Vellum::Bench {

inline double ThreadSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// Seconds per call of `body`, over as many calls as fill about `slice`
// seconds of CPU time (at least one).
inline double SecondsPerCall(const std::function<void()>& body, double slice) {
  std::size_t calls = 0;
  const double start = ThreadSeconds();
  double elapsed = 0;
  do {
    body();
    ++calls;
    elapsed = ThreadSeconds() - start;
  } while (elapsed < slice);
  return elapsed / static_cast<double>(calls);
}

// Each repetition's seconds per call, ours and the reference's.
struct Timings {
  std::vector<double> ours;
  std::vector<double> reference;
};

inline double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t n = values.size();
  return n % 2 == 1 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

// The speed ratio of each repetition (reference time / our time: above 1
// means ours is faster), with its median, lowest and highest.
struct Ratio {
  double median = 0;
  double lowest = 0;
  double highest = 0;
};

inline Ratio RatioOf(const Timings& t) {
  std::vector<double> ratios;
  for (std::size_t i = 0; i < t.ours.size(); ++i) ratios.push_back(t.reference[i] / t.ours[i]);
  return {Median(ratios), *std::min_element(ratios.begin(), ratios.end()),
          *std::max_element(ratios.begin(), ratios.end())};
}

// Runs both sides once to warm up, then `repetitions` alternating turns.
inline Timings TimePair(const std::function<void()>& ours, const std::function<void()>& reference,
                        int repetitions, double slice) {
  ours();
  reference();
  Timings t;
  for (int r = 0; r < repetitions; ++r) {
    // Alternate which side goes first, so neither always follows the other.
    if (r % 2 == 0) {
      t.ours.push_back(SecondsPerCall(ours, slice));
      t.reference.push_back(SecondsPerCall(reference, slice));
    } else {
      t.reference.push_back(SecondsPerCall(reference, slice));
      t.ours.push_back(SecondsPerCall(ours, slice));
    }
  }
  return t;
}

}  // namespace Vellum::Bench
