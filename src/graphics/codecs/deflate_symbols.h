// What Deflate's length and distance codes stand for (RFC 1951, 3.2.5): the
// base of each and how many extra bits follow it. Shared by the Huffman
// tables, whose lookups carry them decoded, and the decoder's exact path.
#pragma once

#include <cstdint>

namespace Ashgrove::DeflateSymbols {

// Length codes 257-285, indexed from 0.
inline constexpr std::uint16_t kLengthBase[] = {3,  4,  5,  6,   7,   8,   9,   10,  11, 13,
                                                15, 17, 19, 23,  27,  31,  35,  43,  51, 59,
                                                67, 83, 99, 115, 131, 163, 195, 227, 258};
inline constexpr std::uint8_t kLengthExtra[] = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2,
                                                2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, 0};
// Distance codes 0-29.
inline constexpr std::uint16_t kDistanceBase[] = {
    1,   2,   3,   4,   5,   7,    9,    13,   17,   25,   33,   49,   65,    97,    129,
    193, 257, 385, 513, 769, 1025, 1537, 2049, 3073, 4097, 6145, 8193, 12289, 16385, 24577};
inline constexpr std::uint8_t kDistanceExtra[] = {0, 0, 0,  0,  1,  1,  2,  2,  3,  3,
                                                  4, 4, 5,  5,  6,  6,  7,  7,  8,  8,
                                                  9, 9, 10, 10, 11, 11, 12, 12, 13, 13};

}  // namespace Ashgrove::DeflateSymbols
