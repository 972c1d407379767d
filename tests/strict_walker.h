// Reads a Wave file as the strictest of other programs would: every size is believed, and whatever
// does not fit is said. It shares no code with the module.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "wave_builder.h"

namespace wavecodec::test {

inline uint64_t ReadLE(std::string_view bytes, size_t at, size_t width) {
  uint64_t value = 0;
  for (size_t i = width; i-- > 0;) value = value << 8 | static_cast<uint8_t>(bytes[at + i]);
  return value;
}

struct WalkedChunk {
  std::string ID;
  std::string_view Body;

  [[nodiscard]] bool IsPadding() const {
    return ID == "JUNK" || ID == "junk" || ID == "PAD " || ID == "pad ";
  }
  [[nodiscard]] bool IsInfo() const { return ID == "LIST" && Body.starts_with("INFO"); }
  // Not for a writer of tags to change.
  [[nodiscard]] bool IsForeign() const {
    return !IsPadding() && !IsInfo() && ID != "bext" && ID != "id3 " && ID != "ID3 " &&
           ID != "ds64";
  }
};

struct WalkedFile {
  // The bytes are not copied.
  explicit WalkedFile(std::string_view file) {
    if (file.size() < 12 || file.substr(8, 4) != "WAVE") {
      Fault += "no header;";
      return;
    }
    const bool rf64 = file.starts_with("RF64");
    const uint64_t size = ReadLE(file, 4, 4);
    size_t end = file.size();
    if (rf64) {
      if (size != 0xFFFFFFFF) Fault += "the size of RF64 is no mark;";
    } else if (size % 2 != 0 || size + 8 > end) {
      Fault += "the container's size is " + std::to_string(size) + ";";
    } else {
      end = static_cast<size_t>(size) + 8;
    }
    Trailing = file.substr(end);
    size_t at = 12;
    while (end - at >= 8) at += Take(file.substr(0, end), at);
    if (at != end) Fault += std::to_string(end - at) + " bytes behind the last chunk;";
    if (rf64) CheckDs64(file.size());
  }

  [[nodiscard]] const WalkedChunk* Find(std::string_view id) const {
    for (const WalkedChunk& chunk : Chunks) {
      if (chunk.ID == id) return &chunk;
    }
    return nullptr;
  }
  // "fmt 16, data 400"
  [[nodiscard]] std::string Shape() const {
    std::string shape = Fault;
    for (const WalkedChunk& chunk : Chunks) {
      if (!shape.empty()) shape += ", ";
      shape += (chunk.ID.ends_with(' ') ? chunk.ID : chunk.ID + " ");
      shape += std::to_string(chunk.Body.size());
    }
    return shape;
  }
  [[nodiscard]] std::vector<std::string> Foreign() const {
    std::vector<std::string> foreign;
    for (const WalkedChunk& chunk : Chunks) {
      if (chunk.IsForeign()) foreign.push_back(chunk.ID + std::string(chunk.Body));
    }
    return foreign;
  }
  [[nodiscard]] size_t PaddingPairs() const {
    size_t pairs = 0;
    for (size_t i = 1; i < Chunks.size(); ++i) {
      pairs += Chunks[i - 1].IsPadding() && Chunks[i].IsPadding() ? 1 : 0;
    }
    return pairs;
  }

  std::string Fault;  // empty for a tight file
  std::vector<WalkedChunk> Chunks;
  std::string_view Trailing;

 private:
  size_t Take(std::string_view file, size_t at) {
    const std::string id(file.substr(at, 4));
    const uint64_t size = ReadLE(file, at + 4, 4);
    const uint64_t left = file.size() - at - 8;
    const bool marked = id == "data" && size == 0xFFFFFFFF && file.starts_with("RF64");
    if (size + size % 2 > left || marked) {
      if (!marked || left < size) Fault += "'" + id + "' is cut;";
      Chunks.push_back({id, file.substr(at + 8)});
      return file.size() - at;
    }
    Chunks.push_back({id, file.substr(at + 8, static_cast<size_t>(size))});
    return static_cast<size_t>(8 + size + size % 2);
  }
  void CheckDs64(uint64_t file_size) {
    const WalkedChunk* const ds64 = Find("ds64");
    const WalkedChunk* const data = Find("data");
    if (ds64 == nullptr) return;
    if (ds64 != Chunks.data()) Fault += "'ds64' is not the first;";
    if (ReadLE(ds64->Body, 0, 8) != file_size - 8) Fault += "the RIFF size in 'ds64';";
    if (data == nullptr || ReadLE(ds64->Body, 8, 8) != data->Body.size()) {
      Fault += "the data size in 'ds64';";
    }
  }
};

}  // namespace wavecodec::test
