// A file of the moment, in memory: for what is written only to be read again.
#pragma once

#include <cstddef>
#include <cstdint>

#include "support/xfile.h"
#include "support/xmem.h"

namespace wavecodec {

// Open and empty from the start.
class XTempFile final : public XFile {
 public:
  XTempFile() noexcept { SetOpened(0); }
  XTempFile(const XTempFile&) = delete;
  XTempFile& operator=(const XTempFile&) = delete;
  ~XTempFile() override = default;

  // All that it holds.
  [[nodiscard]] const XMem& Bytes() const { return Memory; }
  [[nodiscard]] std::string PathOnDisk() const override { return {}; }

 protected:
  [[nodiscard]] size_t ReadAt(void* buffer, size_t needed, size_t room,
                              int64_t position) const override;
  [[nodiscard]] bool WriteAt(const void* bytes, size_t count, int64_t position) override;
  [[nodiscard]] bool Resize(int64_t size) override;
  [[nodiscard]] bool Claim(int64_t from, int64_t size) override;

 private:
  XMem Memory;
};

}  // namespace wavecodec
