// What an HTTP stream takes from a server, and how long it waits for one.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace wavecodec {

struct HTTPLimits {
  // Until a connection stands, all addresses of the host together.
  std::chrono::milliseconds ConnectTime{15000};
  // For sending the request and the whole head of the reply, however it drips.
  std::chrono::milliseconds HeadTime{15000};
  // Without a byte of the body.
  std::chrono::milliseconds SilentTime{5000};
  // So much waiting for the body has to bring the file at this rate, or the stream is given up: far
  // below any rate that plays, and far above what a server that wants to hold its clients pays.
  std::chrono::milliseconds PatienceTime{20000};
  int64_t LeastBytesPerSecond = 256;
  // For the body in one call of the host, whatever comes: headers without end arrive at any rate.
  std::chrono::milliseconds CallTime{300000};
};

// Longer than an address that servers in use take (RFC 9110, 4.1, asks for 8000 at least).
inline constexpr size_t kLongestHTTPAddress = 8192;
// Of a DNS name in its text form (RFC 1035, 2.3.4).
inline constexpr size_t kLongestHTTPHost = 255;
// Of a reply's head and of one of its lines: several times what servers in use send.
inline constexpr size_t kLargestHTTPHead = size_t{64} << 10;
inline constexpr size_t kLongestHTTPLine = size_t{16} << 10;

}  // namespace wavecodec
