// A hash that tells whether bytes are still the same.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "input_file.h"

struct XXH3_state_s;

namespace wavehost {

struct Digest {
  std::array<uint64_t, 2> words = {};
  bool operator==(const Digest&) const = default;
  [[nodiscard]] std::string Hex() const;
};

// XXH3 with 128 bits, taking its bytes piece by piece.
class ContentHash {
 public:
  ContentHash();
  void Add(std::span<const std::byte> bytes);
  void Add(const InputFile& file, uint64_t begin, uint64_t end);
  [[nodiscard]] Digest Result() const;

 private:
  struct Freer {
    void operator()(XXH3_state_s* state) const;
  };
  std::unique_ptr<XXH3_state_s, Freer> state_;
};

}  // namespace wavehost
