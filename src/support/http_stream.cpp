#include "support/http_stream.h"

#include <algorithm>
#include <cstring>

#include "support/xstr.h"

namespace wavecodec {
namespace {

constexpr std::string_view kAgentName = "Tonvark";
constexpr uint32_t kMostRedirects = 3;
constexpr int64_t kLargestReceive = 131072;
// A smaller rest of a read is received with what comes behind it, for the reads to follow.
constexpr int64_t kSmallestOwnReceive = 16384;

// The end of the range is the size itself, one more than the last byte's place: servers cut it.
std::string ExtraHeaders(int64_t position, int64_t total) {
  std::string text = "Connection: Close";
  if (position != 0 && total >= 1) {
    text += "\r\nRange: bytes=" + std::to_string(position) + "-" + std::to_string(total);
  }
  return text;
}

}  // namespace

void HTTPStream::Patience::Add(const HTTPLimits& limits, Clock::duration waited, int64_t brought) {
  Waited += waited;
  InCall += waited;
  Brought += brought;
  IsLost = IsLost || InCall >= limits.CallTime;
  if (Waited < limits.PatienceTime) return;
  // Per second, in whole milliseconds.
  IsLost = IsLost || Brought * 1000 < limits.LeastBytesPerSecond * limits.PatienceTime.count();
  Waited = {};
  Brought = 0;
}

bool HTTPStream::Open(const wchar_t* name) {
  const auto bytes = ToFileNameBytes(name);
  const auto address = bytes ? HTTPAddress::Parse(*bytes) : std::nullopt;
  if (!address) return false;
  Address = *address;
  return ReconnectStream(0);
}

bool HTTPStream::ReconnectStream(int64_t position) {
  if (Connect(position)) {
    Position = position;
    return true;
  }
  Disconnect();
  return false;
}

void HTTPStream::Disconnect() {
  Socket.Close();
  Body = {};
}

bool HTTPStream::Connect(int64_t position) {
  const std::string headers = ExtraHeaders(position, TotalSize);
  HTTPAddress address = Address;
  for (;;) {
    if (!Socket.Connect(address) || !Socket.GET(address, kAgentName, headers)) return false;
    const auto reply = HTTPReply::Parse(Socket.Head());
    if (!reply) return false;
    if (reply->HasFile()) {
      Address = address;
      return Accept(*reply, position);
    }
    const auto next = address.Resolve(reply->Location);
    if (reply->Status != 301 || !next || RedirectCount == kMostRedirects) return false;
    ++RedirectCount;
    address = *next;
  }
}

// Bytes of another file, or from another place in it, are never given for those asked for.
bool HTTPStream::IsSameFile(const HTTPReply& reply, int64_t position) const {
  if (!ETag.empty() && !reply.StrongETag.empty() && reply.StrongETag != ETag) return false;
  const auto agrees = [](std::optional<int64_t> size, int64_t known) {
    return !size || known == 0 || *size == known;
  };
  if (reply.Status != 206) return agrees(reply.ContentLength, TotalSize);
  if (reply.ContentRange) {
    const int64_t total = TotalSize != 0 ? TotalSize : reply.ContentLength.value_or(0);
    return reply.ContentRange->First == position && agrees(reply.ContentRange->Total, total);
  }
  return position == 0 ? agrees(reply.ContentLength, TotalSize)
                       : reply.ContentLength == TotalSize - position;
}

bool HTTPStream::Accept(const HTTPReply& reply, int64_t position) {
  if (!IsSameFile(reply, position)) return false;
  if (ETag.empty()) ETag = reply.StrongETag;
  if (TotalSize == 0) TotalSize = reply.ContentLength.value_or(0);
  if (TotalSize != 0 && reply.AcceptsRanges) Seekable = true;

  const int64_t start = reply.Status == 206 ? position : 0;
  auto length = reply.ContentLength;
  if (!length && TotalSize != 0) length = TotalSize - start;
  Body = reply.Chunked ? HTTPBody::InChunks() : HTTPBody::Plain(length);
  return ReadBody(nullptr, position - start) == position - start;  // a server without ranges
}

bool HTTPStream::Resume() {
  if (TotalSize == 0 || Waiting.IsLost) return false;
  // What receiving counts itself, when a server without ranges is read up to there, counts once.
  const auto begin = Clock::now() - Waiting.InCall;
  const bool connected = ReconnectStream(Position);
  Waiting.Add(Limits, Clock::now() - Waiting.InCall - begin, 0);
  if (Waiting.IsLost) Disconnect();
  return connected && !Waiting.IsLost;
}

size_t HTTPStream::Read(void* buffer, size_t count) {
  auto wanted = static_cast<int64_t>(std::min<size_t>(count, INT64_MAX));
  if (TotalSize != 0) wanted = std::min(wanted, TotalSize - Position);
  auto* to = static_cast<uint8_t*>(buffer);
  int64_t done = ReadBody(to, wanted);
  Position += done;
  if (done < wanted && Resume() && done == 0) {
    done = ReadBody(to, wanted);
    Position += done;
  }
  return static_cast<size_t>(done);
}

// To nowhere when `to` is null. Fewer bytes at the end of the body or of the connection.
int64_t HTTPStream::ReadBody(uint8_t* to, int64_t count) {
  int64_t done = 0;
  while (done < count && !Body.IsOver()) {
    uint8_t* next = to != nullptr ? to + done : nullptr;
    done +=
        Socket.LeftoverSize() != 0 ? TakeLeftover(next, count - done) : Receive(next, count - done);
  }
  if (Body.IsOver()) Socket.Close();
  return done;
}

int64_t HTTPStream::TakeLeftover(uint8_t* to, int64_t count) {
  if (Body.DataLeft() == 0) {
    Socket.TakeLeftover(Body.TakeFraming(Socket.Leftover(), Socket.LeftoverSize()));
    return 0;
  }
  const int64_t taken =
      std::min({count, Body.DataLeft(), static_cast<int64_t>(Socket.LeftoverSize())});
  const auto size = static_cast<size_t>(taken);
  if (to != nullptr) std::memcpy(to, Socket.Leftover(), size);
  Socket.TakeLeftover(size);
  Body.TakeData(taken);
  Waiting.Brought += taken;
  return taken;
}

// Straight to where they belong, as far as they are data; what else comes becomes the leftover, but
// nothing is asked for beyond a known end. The body is over when nothing comes.
int64_t HTTPStream::Receive(uint8_t* to, int64_t count) {
  const int64_t left = Body.DataLeft();
  const int64_t direct = to != nullptr ? std::min({count, left, kLargestReceive}) : 0;
  int64_t spill = 0;
  if (Body.IsInChunks()) {
    spill = XTCPSocket::kBufferSize;
  } else if (direct < kSmallestOwnReceive) {
    spill = std::min(left - direct, int64_t{XTCPSocket::kBufferSize});
  }
  const auto begin = Clock::now();
  const bool more_follows = left - direct >= kSmallestOwnReceive;
  const size_t got =
      Socket.Receive(to, static_cast<size_t>(direct), static_cast<size_t>(spill), more_follows);
  const int64_t data = std::min(static_cast<int64_t>(got), direct);
  Waiting.Add(Limits, Clock::now() - begin, data);
  if (data != 0) Body.TakeData(data);
  if (got == 0 || Waiting.IsLost) Body = {};
  return data;
}

bool HTTPStream::IsEOF() const {
  if (Waiting.IsLost) return true;
  return TotalSize != 0 ? Position >= TotalSize : Body.IsOver();
}

// -1 when there is no such place.
int64_t HTTPStream::Target(int64_t offset, ENXFilePos from) const {
  int64_t base = 0;
  if (from == ENXFilePos::Current) base = Position;
  if (from == ENXFilePos::End) {
    if (TotalSize == 0) return -1;
    base = TotalSize;
  }
  int64_t target = 0;
  return __builtin_add_overflow(base, offset, &target) ? -1 : target;
}

bool HTTPStream::SetPosition(int64_t offset, ENXFilePos from) {
  const int64_t target = Target(offset, from);
  if (target == Position) return true;
  if (!Seekable || Waiting.IsLost || target < 0 || target > TotalSize) return false;
  if (target != TotalSize) return ReconnectStream(target);
  Disconnect();
  Position = target;
  return true;
}

}  // namespace wavecodec
