// Addresses with the scheme "http" (RFC 9110, 4.2; RFC 3986).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace wavecodec {

inline constexpr std::string_view kHTTPScheme = "http://";

struct HTTPAddress {
  static constexpr uint16_t kDefaultPort = 80;

  std::string Host;  // of an IPv6 address with its brackets
  uint16_t Port = kDefaultPort;
  std::string Path;  // and query, ready for a request

  // None when it is no such address, or one that cannot be asked for safely: with user information,
  // with control characters, too long. Blanks and bytes beyond ASCII in the path are encoded.
  static std::optional<HTTPAddress> Parse(std::string_view text);

  // Where a reply from here sends its client.
  [[nodiscard]] std::optional<HTTPAddress> Resolve(std::string_view location) const;

  // The host for name resolution, and as a request names it.
  [[nodiscard]] std::string HostName() const;
  [[nodiscard]] std::string HostField() const;
};

}  // namespace wavecodec
