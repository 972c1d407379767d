#include "support/xtcp_socket.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <memory>
#include <new>
#include <string>

namespace wavecodec {
namespace {

using std::chrono::milliseconds;

#ifdef MSG_NOSIGNAL
constexpr int kNoSignal = MSG_NOSIGNAL;
#else
constexpr int kNoSignal = 0;  // the socket has SO_NOSIGPIPE
#endif

// Linux limits the time of the whole call with it; elsewhere each byte would begin it anew.
#ifdef __linux__
constexpr int kWaitForAll = MSG_WAITALL;
#else
constexpr int kWaitForAll = 0;
#endif

// A large receive is not woken for fewer bytes: each waking costs about as much as they do.
constexpr int kWakingSize = 16384;

struct FreeAddresses {
  void operator()(addrinfo* addresses) const { freeaddrinfo(addresses); }
};
using AddressList = std::unique_ptr<addrinfo, FreeAddresses>;

AddressList AddressesOf(const HTTPAddress& address) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_NUMERICSERV;
  addrinfo* found = nullptr;
  const int error =
      getaddrinfo(address.HostName().c_str(), std::to_string(address.Port).c_str(), &hints, &found);
  return AddressList(error == 0 ? found : nullptr);
}

// Not waiting, and not passed on to programs that the host starts.
int OpenSocket(const addrinfo& address) {
#ifdef SOCK_CLOEXEC
  return ::socket(address.ai_family, address.ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK,
                  address.ai_protocol);
#else
  const int handle = ::socket(address.ai_family, address.ai_socktype, address.ai_protocol);
  if (handle < 0) return handle;
  const int on = 1;
  ::fcntl(handle, F_SETFD, FD_CLOEXEC);
  ::fcntl(handle, F_SETFL, O_NONBLOCK);
  ::setsockopt(handle, SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
  return handle;
#endif
}

bool IsTemporary(int error) { return error == EAGAIN || error == EWOULDBLOCK || error == EINTR; }

}  // namespace

void XTCPSocket::CloseHandle() {
  if (Handle != kClosed) ::close(Handle);
  Handle = kClosed;
}

void XTCPSocket::Close() {
  CloseHandle();
  WakesAt = 1;
  LastHead = {};
  First = End = 0;
}

bool XTCPSocket::Connect(const HTTPAddress& address) {
  Close();
  const AddressList addresses = AddressesOf(address);
  const auto end = Clock::now() + Limits.ConnectTime;
  int left = 0;
  for (const addrinfo* each = addresses.get(); each != nullptr; each = each->ai_next) ++left;
  for (const addrinfo* each = addresses.get(); each != nullptr; each = each->ai_next, --left) {
    // One that does not answer leaves time to the others.
    const auto now = Clock::now();
    if (ConnectTo(*each, now + (end - now) / left) && BlockFor(Limits.SilentTime)) return true;
    CloseHandle();
  }
  return false;
}

bool XTCPSocket::ConnectTo(const addrinfo& address, Clock::time_point end) {
  Handle = OpenSocket(address);
  if (Handle == kClosed) return false;
  if (::connect(Handle, address.ai_addr, address.ai_addrlen) == 0) return true;
  if ((errno != EINPROGRESS && errno != EINTR) || !WaitFor(POLLOUT, end)) return false;
  int error = 0;
  socklen_t size = sizeof error;
  return ::getsockopt(Handle, SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0;
}

// Receiving waits in the call itself from here on: one system call where the bytes are there.
bool XTCPSocket::BlockFor(milliseconds time) const {
  timeval limit{};
  limit.tv_sec = static_cast<decltype(limit.tv_sec)>(time.count() / 1000);
  limit.tv_usec = static_cast<decltype(limit.tv_usec)>(time.count() % 1000 * 1000);
  return ::fcntl(Handle, F_SETFL, 0) == 0 &&
         ::setsockopt(Handle, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) == 0;
}

bool XTCPSocket::WaitFor(short events, Clock::time_point end) const {
  pollfd wait{Handle, events, 0};
  for (;;) {
    const auto left = std::chrono::ceil<milliseconds>(end - Clock::now()).count();
    if (left <= 0) return false;
    const int ready = ::poll(
        &wait, 1, static_cast<int>(std::min<int64_t>(left, std::numeric_limits<int>::max())));
    if (ready > 0) return true;
    if (ready < 0 && errno != EINTR) return false;
  }
}

bool XTCPSocket::Send(std::string_view text, Clock::time_point end) const {
  while (!text.empty()) {
    const ssize_t sent = ::send(Handle, text.data(), text.size(), kNoSignal | MSG_DONTWAIT);
    if (sent > 0) {
      text.remove_prefix(static_cast<size_t>(sent));
    } else if (!IsTemporary(errno) || !WaitFor(POLLOUT, end)) {
      return false;
    }
  }
  return true;
}

bool XTCPSocket::GET(const HTTPAddress& address, std::string_view agent,
                     std::string_view extra_headers) {
  if (!IsConnected()) return false;
  std::string request = "GET " + address.Path + " HTTP/1.1\r\nUser-Agent: ";
  request.append(agent).append("\r\nHost: ").append(address.HostField()).append("\r\n");
  request.append(extra_headers).append("\r\n\r\n");
  const auto end = Clock::now() + Limits.HeadTime;
  if (!Buffer.SetSize(kBufferSize)) throw std::bad_alloc();
  First = End = 0;
  return Send(request, end) && ReceiveHead(end);
}

// Interim replies (RFC 9110, 15.2) are passed over: the one that counts follows.
bool XTCPSocket::ReceiveHead(Clock::time_point end) {
  constexpr size_t kReadSize = 16384;
  size_t seen = 0;
  for (;;) {
    const size_t length = HTTPHeadLength({Text() + First, End - First}, seen);
    if (length != 0) {
      const size_t plain = PlainHTTPHead(reinterpret_cast<char*>(Buffer.Data() + First), length);
      LastHead = {Text() + First, plain};
      First += length;
      seen = 0;
      if (plain == 0) return false;
      if (!FindHeaderLine("HTTP/?.? 1")) return true;
      continue;
    }
    seen = End - First;
    if (!WaitFor(POLLIN, end)) return false;
    const ssize_t got =
        ::recv(Handle, Buffer.Data() + End, std::min(kReadSize, kBufferSize - End), MSG_DONTWAIT);
    if (got > 0) {
      End += static_cast<size_t>(got);
    } else if (got == 0 || !IsTemporary(errno)) {
      return false;
    }
  }
}

void XTCPSocket::WakeAt(int bytes) {
  if (bytes == WakesAt) return;
  ::setsockopt(Handle, SOL_SOCKET, SO_RCVLOWAT, &bytes,
               sizeof bytes);  // only costs time if it fails
  WakesAt = bytes;
}

size_t XTCPSocket::Receive(void* to, size_t count, size_t spill, bool more_follows) {
  if (!IsConnected()) return 0;
  First = End = 0;
  const bool takes_all = spill == 0;
  WakeAt(takes_all && more_follows && count >= size_t{kWakingSize} ? kWakingSize : 1);
  iovec parts[] = {{to, count}, {Buffer.Data(), std::min(spill, kBufferSize)}};
  msghdr message{};
  message.msg_iov = parts;
  message.msg_iovlen = 2;
  const auto end = Clock::now() + Limits.SilentTime;
  ssize_t got = ::recvmsg(Handle, &message, takes_all ? kWaitForAll : 0);
  for (bool waits = true; got < 0 && IsTemporary(errno) && waits;) {
    waits = WaitFor(POLLIN, end);  // after a signal: the time left
    got = ::recvmsg(Handle, &message, MSG_DONTWAIT);
  }
  if (got <= 0) return 0;
  End = std::max(static_cast<size_t>(got), count) - count;
  return static_cast<size_t>(got);
}

}  // namespace wavecodec
