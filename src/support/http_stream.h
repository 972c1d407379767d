// A file on an HTTP server, read from any position.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include "support/http_address.h"
#include "support/http_body.h"
#include "support/http_limits.h"
#include "support/http_reply.h"
#include "support/xfile.h"
#include "support/xtcp_socket.h"

namespace wavecodec {

class HTTPStream {
 public:
  // `limits` outlive the object.
  explicit HTTPStream(const HTTPLimits& limits) : Limits(limits), Socket(limits) {}

  [[nodiscard]] bool Open(const wchar_t* name);
  // The host's next call has time of its own.
  void BeginCall() { Waiting.InCall = {}; }
  // Asks the server for the file from `position` on. After a failure nothing is connected, and the
  // position is where it was.
  [[nodiscard]] bool ReconnectStream(int64_t position);
  // A connection that breaks is made anew once. What comes after that may be left to the next call.
  [[nodiscard]] size_t Read(void* buffer, size_t count);
  // No traffic to where it is, and to the end; elsewhere a connection of its own.
  [[nodiscard]] bool SetPosition(int64_t offset, ENXFilePos from);

  [[nodiscard]] int64_t Size() const { return TotalSize; }
  [[nodiscard]] int64_t GetPosition() const { return Position; }
  [[nodiscard]] bool IsSeekable() const { return Seekable; }
  // Nothing more is to come.
  [[nodiscard]] bool IsEOF() const;

 private:
  using Clock = std::chrono::steady_clock;

  // Waiting that brought too little (HTTPLimits::PatienceTime) or took too long (CallTime).
  struct Patience {
    Clock::duration Waited{};
    Clock::duration InCall{};  // since the host's call began
    int64_t Brought = 0;       // of the file: framing is nothing to wait for
    bool IsLost = false;

    void Add(const HTTPLimits& limits, Clock::duration waited, int64_t brought);
  };

  [[nodiscard]] bool Connect(int64_t position);
  void Disconnect();
  [[nodiscard]] bool Accept(const HTTPReply& reply, int64_t position);
  [[nodiscard]] bool IsSameFile(const HTTPReply& reply, int64_t position) const;
  [[nodiscard]] bool Resume();
  [[nodiscard]] int64_t Target(int64_t offset, ENXFilePos from) const;

  [[nodiscard]] int64_t ReadBody(uint8_t* to, int64_t count);
  [[nodiscard]] int64_t TakeLeftover(uint8_t* to, int64_t count);
  [[nodiscard]] int64_t Receive(uint8_t* to, int64_t count);

  const HTTPLimits& Limits;
  HTTPAddress Address;  // where the file lies, behind redirects
  XTCPSocket Socket;
  HTTPBody Body;
  int64_t TotalSize = 0;  // 0 while unknown
  int64_t Position = 0;   // of the next byte that Read gives
  uint32_t RedirectCount = 0;
  bool Seekable = false;
  std::string ETag;  // a strong one, from the first reply that had it
  Patience Waiting;
};

}  // namespace wavecodec
