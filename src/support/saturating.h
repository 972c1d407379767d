// Signed 64-bit arithmetic that stops at the ends of its range instead of leaving it. Numbers that
// a host gives (positions, ranges) meet sizes from a file only through these.
#pragma once

#include <cstdint>
#include <limits>

namespace wavecodec {

constexpr int64_t SaturatedEnd(bool negative) {
  return negative ? std::numeric_limits<int64_t>::min() : std::numeric_limits<int64_t>::max();
}

constexpr int64_t SaturatingAdd(int64_t a, int64_t b) {
  int64_t sum = 0;
  return __builtin_add_overflow(a, b, &sum) ? SaturatedEnd(b < 0) : sum;
}

constexpr int64_t SaturatingSub(int64_t a, int64_t b) {
  int64_t difference = 0;
  return __builtin_sub_overflow(a, b, &difference) ? SaturatedEnd(b > 0) : difference;
}

constexpr int64_t SaturatingMul(int64_t a, int64_t b) {
  int64_t product = 0;
  return __builtin_mul_overflow(a, b, &product) ? SaturatedEnd((a < 0) != (b < 0)) : product;
}

// a * b / c, truncated toward zero, exact wherever the result fits; c is not 0, and b * c fits 63
// bits.
constexpr int64_t SaturatingMulDiv(int64_t a, int64_t b, int64_t c) {
  return SaturatingAdd(SaturatingMul(a / c, b), a % c * b / c);
}

}  // namespace wavecodec
