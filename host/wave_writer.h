// Puts decoded samples into an output: bare, or as a Wave file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "output_file.h"
#include "wavecodec/codec_module.h"

namespace wavehost {

// Takes samples as they are decoded. This one writes them as they are.
class SampleWriter {
 public:
  explicit SampleWriter(OutputFile& output) : output_(output) {}
  SampleWriter(const SampleWriter&) = delete;
  SampleWriter& operator=(const SampleWriter&) = delete;
  virtual ~SampleWriter() = default;

  // `bytes`: how many will come, when that is known.
  virtual void Begin(const WAVEFORMATEXTENSIBLE& /*format*/, std::optional<uint64_t> /*bytes*/) {}
  virtual void Write(std::span<const std::byte> samples) { output_.Write(samples); }
  virtual void Finish() {}

 protected:
  OutputFile& output_;
};

// Writes a RIFF/WAVE file, or RF64 (EBU Tech 3306) when 32-bit sizes do not hold its length. The
// header goes out first, for the expected length; it is written anew at the end when the length was
// not known or another one. On a pipe an unknown length stays 0xFFFFFFFF.
class WaveWriter final : public SampleWriter {
 public:
  using SampleWriter::SampleWriter;
  void Begin(const WAVEFORMATEXTENSIBLE& format, std::optional<uint64_t> bytes) override;
  void Write(std::span<const std::byte> samples) override;
  void Finish() override;

 private:
  [[nodiscard]] std::vector<std::byte> Header(std::optional<uint64_t> data_bytes) const;
  [[nodiscard]] bool NeedsRF64(uint64_t data_bytes) const;

  WAVEFORMATEXTENSIBLE format_ = {};
  std::optional<uint64_t> expected_;
  bool reserve_ = false;  // a chunk before `fmt ` keeps the place of `ds64`
  uint64_t written_ = 0;
};

}  // namespace wavehost
