#include "support/http_address.h"

#include <arpa/inet.h>

#include <algorithm>

#include "support/http_limits.h"
#include "support/names.h"
#include "support/text_scan.h"

namespace wavecodec {
namespace {

bool IsControl(char c) { return static_cast<uint8_t>(c) < 0x20 || c == 0x7F; }
bool IsLetter(char c) { return ToLowerASCII(c) >= 'a' && ToLowerASCII(c) <= 'z'; }
bool IsHostCharacter(char c) {
  return IsLetter(c) || IsDigit(c) || c == '-' || c == '.' || c == '_';
}

bool IsHost(std::string_view host) {
  if (host.empty() || host.size() > kLongestHTTPHost) return false;
  if (host.front() != '[') return std::all_of(host.begin(), host.end(), IsHostCharacter);
  in6_addr address{};
  return inet_pton(AF_INET6, std::string(host.substr(1, host.size() - 2)).c_str(), &address) == 1;
}

// None when it is not 1 to 65535; a colon with nothing behind it means the default.
std::optional<uint16_t> PortOf(std::string_view text) {
  if (text.empty()) return HTTPAddress::kDefaultPort;
  const auto port = WholeNumber(text);
  if (!port || *port < 1 || *port > UINT16_MAX) return std::nullopt;
  return static_cast<uint16_t>(*port);
}

std::string EncodedPath(std::string_view path) {
  constexpr std::string_view kHex = "0123456789ABCDEF";
  std::string out;
  if (path.empty() || path.front() != '/') out = '/';  // "http://host?query"
  for (const char c : path) {
    const auto byte = static_cast<uint8_t>(c);
    if (byte > ' ' && byte < 0x80) {
      out += c;
    } else {
      out += {'%', kHex[byte >> 4], kHex[byte & 15]};
    }
  }
  return out;
}

// Whether a reference starts with a scheme (RFC 3986, 3.1).
bool HasScheme(std::string_view reference) {
  const size_t end = reference.find_first_of(":/?#");
  return end != std::string_view::npos && reference[end] == ':';
}

// The path without "." and ".." segments (RFC 3986, 5.2.4); it starts with "/".
std::string WithoutDots(std::string_view path) {
  std::string out;
  while (!path.empty()) {
    const std::string_view segment = path.substr(0, path.find('/', 1));
    path.remove_prefix(segment.size());
    if (segment != "/." && segment != "/..") {
      out += segment;
      continue;
    }
    if (segment == "/.." && !out.empty()) out.erase(out.rfind('/'));
    if (path.empty()) out += '/';
  }
  return out;
}

}  // namespace

std::optional<HTTPAddress> HTTPAddress::Parse(std::string_view text) {
  if (!StartsWithName(text, kHTTPScheme) || text.size() > kLongestHTTPAddress ||
      std::any_of(text.begin(), text.end(), IsControl)) {
    return std::nullopt;
  }
  text.remove_prefix(kHTTPScheme.size());
  text = text.substr(0, text.find('#'));
  std::string_view authority = text.substr(0, text.find_first_of("/?"));
  text.remove_prefix(authority.size());

  HTTPAddress address;
  const size_t literal = authority.substr(0, 1) == "[" ? authority.find(']') : 0;
  if (literal == std::string_view::npos) return std::nullopt;
  const size_t colon = authority.find(':', literal);
  if (colon != std::string_view::npos) {
    const auto port = PortOf(authority.substr(colon + 1));
    if (!port) return std::nullopt;
    address.Port = *port;
  }
  address.Host = authority.substr(0, colon);
  address.Path = EncodedPath(text);
  if (!IsHost(address.Host) || address.Path.size() > kLongestHTTPAddress) return std::nullopt;
  return address;
}

std::optional<HTTPAddress> HTTPAddress::Resolve(std::string_view location) const {
  location = Trimmed(location);
  location = location.substr(0, location.find('#'));
  if (location.empty()) return std::nullopt;
  if (location.substr(0, 2) == "//") return Parse("http:" + std::string(location));
  if (HasScheme(location)) return Parse(location);

  const std::string here = Path.substr(0, Path.find('?'));
  const size_t query = std::min(location.find('?'), location.size());
  std::string path(location.substr(0, query));
  if (path.empty()) {
    path = here;
  } else if (path.front() != '/') {
    path.insert(0, here.substr(0, here.rfind('/') + 1));
  }
  return Parse("http://" + Host + ":" + std::to_string(Port) + WithoutDots(path) +
               std::string(location.substr(query)));
}

std::string HTTPAddress::HostName() const {
  return Host.front() == '[' ? Host.substr(1, Host.size() - 2) : Host;
}

std::string HTTPAddress::HostField() const {
  return Port == kDefaultPort ? Host : Host + ":" + std::to_string(Port);
}

}  // namespace wavecodec
