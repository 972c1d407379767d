#include "support/xforward_stream.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace wavecodec {

void XForwardStream::Begin(XFileHTTPStream& stream) {
  Close();
  Stream = &stream;
  IsEmpty = stream.IsEOF();
  SetOpened(stream.Size());
}

void XForwardStream::Close() {
  XFile::Close();
  Stream = nullptr;
  IsEmpty = false;
  LooksAhead = true;
  ForgetKept();
}

void XForwardStream::ForgetKept() {
  Kept.Free();
  KeptLength = 0;
  Pieces = {};
}

int64_t XForwardStream::Size() const {
  if (Stream == nullptr) return -1;
  return Stream->Size() > 0 || IsEmpty ? Stream->Size() : kUnknownSize;
}

size_t XForwardStream::Read(void* buffer, size_t count) {
  if (Stream == nullptr) return 0;
  const int64_t position = GetPosition();
  size_t got = ReadKept(buffer, count, position);
  if (got == 0 && Reach(position)) got = Receive(buffer, count);
  return SetPosition(static_cast<int64_t>(got), ENXFilePos::Current) ? got : 0;
}

size_t XForwardStream::ReadKept(void* buffer, size_t count, int64_t position) const {
  const auto behind =
      std::upper_bound(Pieces.begin(), Pieces.end(), position,
                       [](int64_t wanted, const Piece& piece) { return wanted < piece.Position; });
  if (behind == Pieces.begin()) return 0;
  const Piece& piece = *std::prev(behind);
  const auto offset = static_cast<size_t>(position - piece.Position);
  if (offset >= piece.Length) return 0;
  count = std::min(count, piece.Length - offset);
  std::memcpy(buffer, Kept.Data() + piece.Offset + offset, count);
  return count;
}

bool XForwardStream::Reach(int64_t position) {
  if (LooksAhead && position > Stream->GetPosition()) return SkipTo(position);
  return Stream->SetPosition(position);
}

bool XForwardStream::SkipTo(int64_t position) {
  std::array<uint8_t, 16384> dropped;
  for (;;) {
    const int64_t left = position - Stream->GetPosition();
    if (left == 0) return true;
    const auto count = static_cast<size_t>(std::min<int64_t>(left, dropped.size()));
    if (Stream->Read(dropped.data(), count) == 0) return false;
  }
}

size_t XForwardStream::Receive(void* buffer, size_t count) {
  size_t done = 0;
  while (done < count) {
    const size_t got = Stream->Read(static_cast<uint8_t*>(buffer) + done, count - done);
    if (got == 0) break;
    done += got;
  }
  return done;
}

int64_t XForwardStream::KeepAhead(int64_t count) {
  // Twice the largest ID3v2 tag. What is not kept is asked for again when it is wanted.
  constexpr size_t kMostKept = size_t{512} << 20;
  constexpr size_t kFirstRoom = 4096;
  const int64_t position = GetPosition();
  if (Stream == nullptr || !Reach(position)) return 0;
  if (static_cast<uint64_t>(count) > kMostKept - KeptLength) return count;
  const size_t start = KeptLength;
  const size_t end = start + static_cast<size_t>(count);
  while (KeptLength < end) {
    // Memory grows with what arrives, not with what is claimed.
    if (KeptLength == Kept.Size() && !Kept.SetSize(std::max(kFirstRoom, 2 * KeptLength), true)) {
      KeptLength = start;
      return count;
    }
    const size_t room = std::min(end, Kept.Size());
    const size_t got = Receive(Kept.Data() + KeptLength, room - KeptLength);
    KeptLength += got;
    if (KeptLength < room) break;
  }
  const size_t length = KeptLength - start;
  if (length != 0) {
    Pieces.push_back({position, static_cast<uint32_t>(start), static_cast<uint32_t>(length)});
  }
  return static_cast<int64_t>(length);
}

bool XForwardStream::JumpTo(int64_t position) {
  return Stream != nullptr && Stream->SetPosition(position);
}

bool XForwardStream::MoveTo(int64_t position) {
  if (Stream == nullptr) return false;
  const bool reads_on = LooksAhead && !Stream->IsSeekable() && position > Stream->GetPosition();
  if (!(reads_on ? SkipTo(position) : Stream->SetPosition(position))) return false;
  LooksAhead = false;
  ForgetKept();
  return SetPosition(position);
}

}  // namespace wavecodec
