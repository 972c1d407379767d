#include "tags/tag_options.h"

#include "support/xregistry.h"

namespace wavecodec {

uint32_t TagOption(const wchar_t* name) {
  return XRegistry::GetDWORD(name, L"HKCU", L"Software\\Mardel\\Tonvark\\Tagging");
}

}  // namespace wavecodec
