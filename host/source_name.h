// What the user names to be read: a file, or an address on a server.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace wavehost {

// True when the module takes the name for an address: "http://" in any case comes first.
[[nodiscard]] bool IsAddress(std::string_view source);

// True when there is a file, or anything else, of that name.
[[nodiscard]] bool FileExists(const std::string& file);

// The name, without folder and extension, that outputs made from a source get. A server's choice of
// characters can lead nowhere: neither out of the folder nor onto a hidden file.
[[nodiscard]] std::filesystem::path OutputStem(const std::string& source);

}  // namespace wavehost
