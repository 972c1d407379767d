// Where the audio lies in a Wave file, found without the module: a check of the module must not
// rest on what it checks.
#pragma once

#include <cstdint>
#include <optional>

#include "input_file.h"

namespace wavehost {

struct WaveLayout {
  bool is_rf64 = false;
  uint32_t riff_size = 0;        // as it is stored
  std::optional<uint64_t> ds64;  // position of the data of this chunk (EBU Tech 3306)
  uint64_t ds64_riff_size = 0;   // as they are stored in it
  uint64_t ds64_data_size = 0;
  uint32_t data_size_field = 0;  // as it is stored
  uint64_t data_begin = 0;
  uint64_t data_end = 0;     // no farther than the file goes
  uint16_t block_align = 0;  // 0 without a format
  bool has_tags = false;     // a `LIST` chunk of type INFO, or an ID3 chunk
  [[nodiscard]] uint64_t DataSize() const { return data_end - data_begin; }
};

inline constexpr uint32_t kSizeIn64Bits = 0xFFFFFFFF;

// None when the file is no Wave file with audio.
std::optional<WaveLayout> FindAudio(const InputFile& file);

}  // namespace wavehost
