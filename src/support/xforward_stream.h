// A stream as those see it who read headers and tags: what was kept of it can be read again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "support/xfile.h"
#include "support/xfile_http_stream.h"
#include "support/xmem.h"

namespace wavecodec {

// While headers are looked at the stream is only read forwards: what lies between two reads is
// received and dropped, what KeepAhead was told of is kept. After MoveTo it is a file whose moves
// are those of the stream.
class XForwardStream final : public XFile {
 public:
  XForwardStream() noexcept = default;
  XForwardStream(const XForwardStream&) = delete;
  XForwardStream& operator=(const XForwardStream&) = delete;
  ~XForwardStream() override = default;

  // Reads an open stream from where it is, which stays the caller's.
  void Begin(XFileHTTPStream& stream);
  void Close() override;
  [[nodiscard]] bool IsSeekable() const { return Stream != nullptr && Stream->IsSeekable(); }

  // kUnknownSize when the server does not tell it.
  [[nodiscard]] int64_t Size() const override;
  // Reads on over re-opened connections: fewer bytes only at the end or on a failure.
  [[nodiscard]] size_t Read(void* buffer, size_t count) override;
  [[nodiscard]] size_t ReadSmall(void* buffer, size_t count) override {
    return Read(buffer, count);
  }
  [[nodiscard]] int64_t KeepAhead(int64_t count) override;
  [[nodiscard]] std::string PathOnDisk() const override { return {}; }

  // Goes to a place that is not read up to; what was kept stays.
  [[nodiscard]] bool JumpTo(int64_t position);
  // Ends the looking at headers: forgets what was kept and goes to where the audio is read from. A
  // stream that cannot be positioned is read up to there, but only the first time. On failure nothing
  // has moved.
  [[nodiscard]] bool MoveTo(int64_t position);

 private:
  // Bytes of the stream that are kept: at `Position` there, at `Offset` in Kept.
  struct Piece {
    int64_t Position;
    uint32_t Offset;
    uint32_t Length;
  };

  void ForgetKept();
  [[nodiscard]] size_t ReadKept(void* buffer, size_t count, int64_t position) const;
  [[nodiscard]] bool Reach(int64_t position);
  [[nodiscard]] bool SkipTo(int64_t position);
  [[nodiscard]] size_t Receive(void* buffer, size_t count);

  XFileHTTPStream* Stream = nullptr;
  bool IsEmpty = false;    // the server told so; a size of 0 alone is an unknown one
  bool LooksAhead = true;  // headers are being looked at
  XMem Kept;
  size_t KeptLength = 0;
  std::vector<Piece> Pieces;  // ascending
};

}  // namespace wavecodec
