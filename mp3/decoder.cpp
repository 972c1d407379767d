#include "mp3/decoder.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string>

#include "module/report/std_report.h"

namespace wavecodec {
namespace {

constexpr const wchar_t* kDescription = L"MPEG Audio Decoder";

constexpr size_t kSampleBytes = 2;
constexpr long kInputPiece = 65536;       // as wave.dll hands in
constexpr size_t kFirstOutput = 1 << 20;  // what such a piece gives at 96 kbit/s

}  // namespace

// For failures inside DecodeBlock, which has no trace.
bool clMP3Decoder::Fail(std::string_view reason) const {
  ErrorLine(Report, "DecodeBlock") << L"Error decoding MPEG audio: " << FromUtf8(reason);
  return false;
}

bool clMP3Decoder::Open(const STZuOpenDecoder& record) {
  Handle.reset();
  Rate = 0;
  const TraceScope trace(Report, "Open");
  if (record.flags != ZuOpenPackets || record.fileName != nullptr) {
    return trace.Fail(L"Error this module decodes packets only: flag 2 and no file name open it.");
  }
  static const int library = mpg123_init();
  int error = library;
  if (error == MPG123_OK) Handle.reset(mpg123_new(nullptr, &error));
  if (Handle == nullptr) {
    return trace.Fail(L"Error starting the MPEG decoder: ", FromUtf8(mpg123_plain_strerror(error)));
  }
  if (!SetUp() || !StartStream()) {
    trace.Error() << L"Error starting the MPEG decoder: "
                  << FromUtf8(mpg123_strerror(Handle.get()));
    Handle.reset();
    return false;
  }
  return trace.Leave(true);
}

// All is as a player has it by default.
bool clMP3Decoder::SetUp() {
  mpg123_handle* const handle = Handle.get();
  const auto set = [&](mpg123_parms parameter, long value) {
    return mpg123_param(handle, parameter, value, 0) == MPG123_OK;
  };
  // Pictures in tags are not kept; nobody jumps by the frame index.
  return set(MPG123_ADD_FLAGS, MPG123_QUIET | MPG123_GAPLESS | MPG123_SKIP_ID3V2) &&
         set(MPG123_INDEX_SIZE, 0) && set(MPG123_FEEDBUFFER, kInputPiece) &&
         set(MPG123_FEEDPOOL, 2) && mpg123_format_none(handle) == MPG123_OK &&
         mpg123_format2(handle, 0, MPG123_MONO | MPG123_STEREO, MPG123_ENC_SIGNED_16) == MPG123_OK;
}

bool clMP3Decoder::StartStream() {
  Fed = 0;
  return mpg123_open_feed(Handle.get()) == MPG123_OK;
}

bool clMP3Decoder::Close() {
  const TraceScope trace(Report, "Close");
  Handle.reset();
  Output.Free();
  return trace.Leave(true);
}

bool clMP3Decoder::SetPosition() {
  const TraceScope trace(Report, "SetPosition");
  if (Handle == nullptr) return trace.Fail(L"Error nothing is open.");
  if (!StartStream()) {
    return trace.Fail(L"Error restarting the MPEG decoder: ",
                      FromUtf8(mpg123_strerror(Handle.get())));
  }
  return trace.Leave(true);
}

bool clMP3Decoder::DecodeBlock(STZuAudioBlock& block) {
  const auto* const bytes = static_cast<const uint8_t*>(block.data);
  if (Handle == nullptr) return Fail("nothing is open.");
  if (bytes == nullptr && block.byteCount != 0) return Fail("there are no bytes.");
  Decoded = 0;
  if (!Decode(bytes, block.byteCount)) return false;
  if (block.lastBlock != 0) {
    if (!DecodeLast()) return false;
    if (!FormatIsKnown()) return Fail("no frame was found.");
  }
  Describe(block);
  return true;
}

bool clMP3Decoder::Feed(const uint8_t* bytes, size_t count) {
  if (count == 0) return true;
  if (mpg123_feed(Handle.get(), bytes, count) != MPG123_OK) {
    return Fail(mpg123_strerror(Handle.get()));
  }
  KeepTail(bytes, count);
  return true;
}

// Decodes until the library has no whole frame left.
bool clMP3Decoder::Decode(const uint8_t* bytes, size_t count) {
  if (!Feed(bytes, count)) return false;
  for (;;) {
    if (Decoded == Output.Size() && !GrowOutput()) return false;
    size_t got = 0;
    const int result = mpg123_decode(Handle.get(), nullptr, 0, Output.Data() + Decoded,
                                     Output.Size() - Decoded, &got);
    Decoded += got;
    if (result == MPG123_NEED_MORE || result == MPG123_DONE) return true;
    if (result == MPG123_NEW_FORMAT) {
      if (!LockFormat()) return false;
    } else if (result != MPG123_OK && !SearchOn(bytes, count)) {
      return false;
    }
  }
}

// Behind a kilobyte of damage the library gives up, and a player ends. Starting anew with what it
// has not looked at finds the next frame, and no false one in a long piece of something else: two
// in a row have to fit each other. Looking for the second one, it may have waited for this block
// with the end of the one before.
bool clMP3Decoder::SearchOn(const uint8_t*& bytes, size_t& count) {
  const std::string reason = mpg123_strerror(Handle.get());
  long left = 0;
  if (mpg123_errcode(Handle.get()) != MPG123_RESYNC_FAIL ||
      mpg123_getstate(Handle.get(), MPG123_BUFFERFILL, &left, nullptr) != MPG123_OK ||
      static_cast<size_t>(left) >= Fed) {
    return Fail(reason);
  }
  InfoLine(Report, "DecodeBlock") << L"Warning: skipping bytes that are no MPEG audio.";
  const auto rest = static_cast<size_t>(left);
  if (rest > count) {
    const uint8_t* const end = Tail.data() + TailBytes();
    Rest.assign(end - std::min(rest, TailBytes()), end);
    bytes = Rest.data();
    count = Rest.size();
  } else {
    bytes += count - rest;
    count = rest;
  }
  return StartStream() ? Feed(bytes, count) : Fail(mpg123_strerror(Handle.get()));
}

// The library believes in the first frame of a stream only when another one follows. A single frame
// that ends where the stream ends gets its own header as the next one.
bool clMP3Decoder::DecodeLast() {
  if (HasFrame()) return true;
  for (size_t at = 0; at + kFrameHeaderBytes <= TailBytes(); ++at) {
    if (FrameLength(&Tail[at]) != TailBytes() - at) continue;
    const auto header = std::to_array({Tail[at], Tail[at + 1], Tail[at + 2], Tail[at + 3]});
    return Decode(header.data(), header.size());
  }
  return true;
}

// From now on frames of any other format are converted to this one.
bool clMP3Decoder::LockFormat() {
  mpg123_handle* const handle = Handle.get();
  long rate = 0;
  int channels = 0, encoding = 0;
  if (mpg123_getformat(handle, &rate, &channels, &encoding) != MPG123_OK ||
      mpg123_format_none(handle) != MPG123_OK ||
      mpg123_format(handle, rate, channels, encoding) != MPG123_OK) {
    return Fail(mpg123_strerror(handle));
  }
  Rate = static_cast<uint32_t>(rate);
  Channels = static_cast<uint16_t>(channels);
  return true;
}

bool clMP3Decoder::GrowOutput() {
  const size_t size = std::max(kFirstOutput, Output.Size() * 2);
  if (size > std::numeric_limits<uint32_t>::max()) return Fail("too much audio in one block.");
  if (Output.SetSize(size, true)) return true;
  StdReport::WriteNoMemory(Report);
  return false;
}

void clMP3Decoder::KeepTail(const uint8_t* bytes, size_t count) {
  const size_t taken = std::min(count, Tail.size());
  const size_t kept = std::min(TailBytes(), Tail.size() - taken);
  std::memmove(Tail.data(), Tail.data() + (TailBytes() - kept), kept);
  std::memcpy(Tail.data() + kept, bytes + (count - taken), taken);
  Fed += count;
}

void clMP3Decoder::Describe(STZuAudioBlock& block) {
  block.data = Decoded != 0 ? Output.Data() : nullptr;
  block.byteCount = static_cast<uint32_t>(Decoded);
  block.blockMs = 0;
  if (!FormatIsKnown()) return;
  mpg123_frameinfo frame{};
  if (Decoded != 0 && mpg123_info(Handle.get(), &frame) == MPG123_OK) {
    // A free format frame tells its rate by its length only.
    BitRate = frame.bitrate != 0 ? frame.bitrate * 1000
                                 : static_cast<int32_t>(int64_t{frame.framesize} * 8 * frame.rate /
                                                        mpg123_spf(Handle.get()));
  }
  const auto align = static_cast<uint16_t>(Channels * kSampleBytes);
  block.format.Format = {.wFormatTag = WaveFormatPCM,
                         .nChannels = Channels,
                         .nSamplesPerSec = Rate,
                         .nAvgBytesPerSec = Rate * align,
                         .nBlockAlign = align,
                         .wBitsPerSample = kSampleBytes * 8,
                         .cbSize = 0};
  block.bitRate = BitRate;
  block.blockMs = uint64_t{Decoded / align} * 1000 / Rate;
}

bool clMP3Decoder::DeleteATag() {
  const TraceScope trace(Report, "DeleteATag");
  return trace.Fail(L"Error this module changes no files.");
}

bool clMP3Decoder::Get(std::wstring_view key, STZuCodecGetSet& record) {
  DebugLine(Report, "Get") << key;
  if (key != L"Decoder Description") return false;
  record.Text1 = kDescription;
  return true;
}

bool clMP3Decoder::Set(std::wstring_view key) {
  DebugLine(Report, "Set") << key;
  return false;
}

}  // namespace wavecodec
