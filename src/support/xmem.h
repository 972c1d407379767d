// An owned, resizable block of bytes that is not cleared and never throws when it is resized.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

namespace wavecodec {

class XMem {
 public:
  XMem() noexcept = default;
  XMem(const XMem& other) { CopyFrom(other); }
  XMem(XMem&& other) noexcept { Swap(other); }
  XMem& operator=(const XMem& other) {
    if (this != &other) CopyFrom(other);
    return *this;
  }
  XMem& operator=(XMem&& other) noexcept {
    Swap(other);
    return *this;
  }
  ~XMem() = default;

  // Makes the block `bytes` long; what is new in it is not set. Memory is only asked for when the
  // block grows past the most it ever held. `keep` keeps the contents that fit. False when there is
  // no memory: the block is then as it was with `keep`, and empty without.
  [[nodiscard]] bool SetSize(size_t bytes, bool keep = false) {
    if (bytes > Capacity) {
      if (!keep) Free();
      if (bytes > PTRDIFF_MAX - kPage) return false;
      const size_t capacity = bytes < kPage ? bytes : (bytes + kPage - 1) / kPage * kPage;
      void* grown = bytes < kPage ? std::malloc(capacity) : std::aligned_alloc(kPage, capacity);
      if (grown == nullptr) return false;
      if (Length != 0) std::memcpy(grown, Block.get(), Length);
      Block.reset(static_cast<uint8_t*>(grown));
      Capacity = capacity;
    }
    Length = bytes;
    return true;
  }

  void Free() {
    Block.reset();
    Length = Capacity = 0;
  }

  uint8_t* Data() { return Block.get(); }
  [[nodiscard]] const uint8_t* Data() const { return Block.get(); }
  [[nodiscard]] size_t Size() const { return Length; }
  [[nodiscard]] bool IsEmpty() const { return Length == 0; }

 private:
  // Blocks of this size and more begin at a page, as file data do in the page cache: at some other
  // distances the system copies them several times slower.
  static constexpr size_t kPage = 4096;

  struct FreeBlock {
    void operator()(uint8_t* block) const { std::free(block); }
  };

  void CopyFrom(const XMem& other) {
    if (!SetSize(other.Length)) throw std::bad_alloc();
    if (Length != 0) std::memcpy(Block.get(), other.Block.get(), Length);
  }
  void Swap(XMem& other) noexcept {
    std::swap(Block, other.Block);
    std::swap(Length, other.Length);
    std::swap(Capacity, other.Capacity);
  }

  std::unique_ptr<uint8_t, FreeBlock> Block;
  size_t Length = 0;
  size_t Capacity = 0;
};

}  // namespace wavecodec
