#include "source_name.h"

#include <sys/stat.h>

#include <algorithm>
#include <charconv>

#include "tag_block.h"
#include "text.h"

namespace wavehost {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kScheme = "http://";
constexpr std::string_view kNameless = "audio";

// What stands behind the last slash of an address' path (RFC 3986, 3).
std::string_view LastSegment(std::string_view address) {
  address = address.substr(0, address.find_first_of("?#"));
  address.remove_prefix(std::min(kScheme.size(), address.size()));
  const size_t slash = address.rfind('/');
  return slash == address.npos ? "" : address.substr(slash + 1);
}

std::string PercentDecoded(std::string_view text) {
  constexpr size_t kDigits = 2;
  constexpr int kHexadecimal = 16;
  std::string decoded;
  while (!text.empty()) {
    uint8_t byte = 0;
    const std::string_view digits = text.substr(1, kDigits);
    const char* const end = digits.data() + digits.size();
    const bool is_coded = text.front() == '%' && digits.size() == kDigits &&
                          std::from_chars(digits.data(), end, byte, kHexadecimal).ptr == end;
    decoded += is_coded ? static_cast<char>(byte) : text.front();
    text.remove_prefix(is_coded ? 1 + kDigits : 1);
  }
  return decoded;
}

// The longest start of whole characters that a file system takes, with room for what comes behind.
void Shorten(std::string& name) {
  constexpr size_t kMost = 160;
  std::string_view rest = name;
  while (!rest.empty() && name.size() - rest.size() < kMost) TakeCodePoint(rest);
  name.resize(name.size() - rest.size());
}

}  // namespace

bool IsAddress(std::string_view source) {
  return source.size() >= kScheme.size() && SameName(source.substr(0, kScheme.size()), kScheme);
}

bool FileExists(const std::string& file) {
  struct stat status = {};
  return stat(file.c_str(), &status) == 0;
}

fs::path OutputStem(const std::string& source) {
  if (!IsAddress(source)) return fs::path(source).stem();
  std::string name = Displayable(PercentDecoded(LastSegment(source)));
  std::replace_if(
      name.begin(), name.end(), [](char c) { return c == '/' || c == '\\' || c == '?'; }, '_');
  if (name.starts_with('.')) name.front() = '_';
  std::string stem = fs::path(name).stem().native();
  Shorten(stem);
  return stem.empty() ? fs::path(kNameless) : fs::path(stem);
}

}  // namespace wavehost
