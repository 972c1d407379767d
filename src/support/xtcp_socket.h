// A TCP connection to an HTTP server, with what came of its reply.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "support/http_address.h"
#include "support/http_limits.h"
#include "support/http_reply.h"
#include "support/xmem.h"

struct addrinfo;

namespace wavecodec {

class XTCPSocket {
 public:
  explicit XTCPSocket(const HTTPLimits& limits) : Limits(limits) {}
  XTCPSocket(const XTCPSocket&) = delete;
  XTCPSocket& operator=(const XTCPSocket&) = delete;
  ~XTCPSocket() { Close(); }

  // Tries every address of the host, of either kind.
  [[nodiscard]] bool Connect(const HTTPAddress& address);
  // Forgets what was received as well.
  void Close();
  [[nodiscard]] bool IsConnected() const { return Handle != kClosed; }

  // Sends a request and reads the head of the reply, which Head() then gives, and whatever of the
  // body comes with it. `extra_headers`: further lines of the request, the last one without its end.
  [[nodiscard]] bool GET(const HTTPAddress& address, std::string_view agent,
                         std::string_view extra_headers);
  // Until the next receiving.
  [[nodiscard]] std::string_view Head() const { return LastHead; }
  [[nodiscard]] std::optional<std::string_view> FindHeaderLine(std::string_view pattern) const {
    return FindHTTPHeaderLine(Head(), pattern);
  }

  // What came and was not taken yet.
  [[nodiscard]] const uint8_t* Leftover() const { return Buffer.Data() + First; }
  [[nodiscard]] size_t LeftoverSize() const { return End - First; }
  void TakeLeftover(size_t count) { First += count; }

  // Receives `count` bytes into `to`; with `spill` more of them, whatever is there, into the
  // leftover buffer, which is empty before. Without spill it waits for all, where the system limits
  // the time of that; it is then cheaper when it may count on more behind these. Returns what came
  // altogether; 0 when the connection has ended or nothing came for a while.
  [[nodiscard]] size_t Receive(void* to, size_t count, size_t spill, bool more_follows);

  // The most that the leftover buffer takes.
  static constexpr size_t kBufferSize = kLargestHTTPHead;

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr int kClosed = -1;

  [[nodiscard]] bool ConnectTo(const addrinfo& address, Clock::time_point end);
  [[nodiscard]] bool WaitFor(short events, Clock::time_point end) const;
  [[nodiscard]] bool Send(std::string_view text, Clock::time_point end) const;
  [[nodiscard]] bool ReceiveHead(Clock::time_point end);
  [[nodiscard]] bool BlockFor(std::chrono::milliseconds time) const;
  [[nodiscard]] const char* Text() const { return reinterpret_cast<const char*>(Buffer.Data()); }
  // Sets how many bytes a waiting receive is woken for.
  void WakeAt(int bytes);
  void CloseHandle();

  const HTTPLimits& Limits;
  int Handle = kClosed;
  int WakesAt = 1;
  XMem Buffer;                // the reply's head, then what spills over
  std::string_view LastHead;  // in its plain form
  size_t First = 0;
  size_t End = 0;
};

}  // namespace wavecodec
