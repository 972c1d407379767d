// Tags as names and values, and the tag block of them.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "fuzz_target.h"
#include "tags/set/tag_set.h"

namespace wavecodec::fuzz {

using Entries = std::vector<std::pair<std::wstring, std::wstring>>;

// An entry whose name begins with "_" is binary: each character a byte.
inline XMem BlockOf(const Entries& entries) {
  NTag tags;
  for (const auto& [name, value] : entries) {
    if (name.starts_with(L"_")) {
      const std::vector<uint8_t> payload(value.begin(), value.end());
      tags.AddTag(name, payload);
    } else {
      tags.AddTag(name, value);
    }
  }
  XMem block;
  Check(tags.ToRawMemory(block));
  return block;
}

}  // namespace wavecodec::fuzz
