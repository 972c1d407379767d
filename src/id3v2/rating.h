// Ratings from 0 to 10, and the byte from 0 to 255 that a POPM frame has for them.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace wavecodec::id3parser {

inline constexpr std::array<uint8_t, 11> POPM10_Table = {0,   0,   1,   32,  64, 96,
                                                         128, 160, 196, 228, 255};

// A rating of 1 has the byte of "not rated", as players know it, and comes back as 0.
constexpr uint8_t ratingToPOPM(size_t rating) {
  return POPM10_Table[std::min(rating, POPM10_Table.size() - 1)];
}

// The smallest rating whose byte is not below this one.
constexpr size_t POPMToRating(uint8_t byte) {
  size_t rating = 0;
  while (byte > POPM10_Table[rating]) ++rating;
  return rating;
}

}  // namespace wavecodec::id3parser
