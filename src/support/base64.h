// Bytes as text, RFC 4648, standard alphabet with padding.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "support/xmem.h"

namespace wavecodec {

std::string ToBase64(const uint8_t* bytes, size_t size);
// How many bytes `text` stands for. None when it is not base64: a character outside the alphabet, a
// length that is no multiple of four, padding elsewhere than at the end.
std::optional<size_t> Base64Size(std::wstring_view text);
// False when `text` is not base64 or there is no memory; `out` is then empty.
[[nodiscard]] bool FromBase64(std::wstring_view text, XMem& out);

}  // namespace wavecodec
