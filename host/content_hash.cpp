#include "content_hash.h"

#include <fmt/format.h>
#include <xxhash.h>

#include <new>

namespace wavehost {

std::string Digest::Hex() const { return fmt::format("{:016x}{:016x}", words[0], words[1]); }

void ContentHash::Freer::operator()(XXH3_state_s* state) const {
  static_cast<void>(XXH3_freeState(state));
}

ContentHash::ContentHash() : state_(XXH3_createState()) {
  if (state_ == nullptr) throw std::bad_alloc();
  static_cast<void>(XXH3_128bits_reset(state_.get()));
}

void ContentHash::Add(std::span<const std::byte> bytes) {
  static_cast<void>(XXH3_128bits_update(state_.get(), bytes.data(), bytes.size()));
}

void ContentHash::Add(const InputFile& file, uint64_t begin, uint64_t end) {
  file.ForEachPiece(begin, end, [&](std::span<const std::byte> piece) { Add(piece); });
}

Digest ContentHash::Result() const {
  const XXH128_hash_t hash = XXH3_128bits_digest(state_.get());
  return {{hash.high64, hash.low64}};
}

}  // namespace wavehost
