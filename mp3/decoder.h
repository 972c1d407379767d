// A decoder instance of mp3.dll: bytes of an MPEG audio stream in, samples out.
#pragma once

#include <mpg123.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "mp3/frame_length.h"
#include "support/xmem.h"
#include "wavecodec/codec_module.h"

namespace wavecodec {

// Each method is the entry point of its name; see the public header. False is failure, already
// reported.
class clMP3Decoder {
 public:
  explicit clMP3Decoder(const STNStdReport& report) noexcept : Report(report) {}
  clMP3Decoder(const clMP3Decoder&) = delete;
  clMP3Decoder& operator=(const clMP3Decoder&) = delete;

  bool Open(const STZuOpenDecoder& record);
  bool Close();
  // Takes `byteCount` bytes at `data`, the stream's last ones when `lastBlock` is set, and gives in
  // their place all that can be decoded by now.
  bool DecodeBlock(STZuAudioBlock& block);
  // The next bytes come from elsewhere in the stream.
  bool SetPosition();
  bool DeleteATag();
  bool Get(std::wstring_view key, STZuCodecGetSet& record);
  bool Set(std::wstring_view key);

  [[nodiscard]] const STNStdReport& GetReport() const { return Report; }

 private:
  struct DeleteHandle {
    void operator()(mpg123_handle* handle) const { mpg123_delete(handle); }
  };

  bool SetUp();
  bool StartStream();
  bool Feed(const uint8_t* bytes, size_t count);
  bool Decode(const uint8_t* bytes, size_t count);
  bool SearchOn(const uint8_t*& bytes, size_t& count);
  bool DecodeLast();
  bool LockFormat();
  bool GrowOutput();
  void Describe(STZuAudioBlock& block);
  void KeepTail(const uint8_t* bytes, size_t count);
  [[nodiscard]] size_t TailBytes() const {
    return static_cast<size_t>(std::min<uint64_t>(Fed, Tail.size()));
  }
  [[nodiscard]] bool HasFrame() const { return mpg123_spf(Handle.get()) > 0; }
  [[nodiscard]] bool FormatIsKnown() const { return Rate != 0; }
  bool Fail(std::string_view reason) const;

  const STNStdReport Report;
  std::unique_ptr<mpg123_handle, DeleteHandle> Handle;  // null: nothing is open
  XMem Output;
  size_t Decoded = 0;  // bytes in Output

  // The format of the first frame; the whole stream is told in it. 0: no frame yet.
  uint32_t Rate = 0;
  uint16_t Channels = 0;
  int32_t BitRate = 0;  // of the frame that was decoded last

  uint64_t Fed = 0;                           // bytes since the library started
  std::array<uint8_t, kLongestFrame> Tail{};  // the last of them
  std::vector<uint8_t> Rest;                  // of Tail, when the library starts anew with it
};

}  // namespace wavecodec
