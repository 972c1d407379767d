#define WAVECODEC_EXPORT __attribute__((visibility("default")))
#include "support/module_folder.h"

#include <dlfcn.h>

#include <filesystem>
#include <system_error>

#include "wavecodec/codec_module.h"

void* gInstance = nullptr;

namespace wavecodec {
namespace {

// An entry point that every codec module has; its address tells the file that it was loaded from.
constexpr const char* kAnyEntryPoint = "Create";
const char kOwnAddress = 0;

}  // namespace

XStr ModuleFolder() {
  const void* address = gInstance != nullptr ? ::dlsym(gInstance, kAnyEntryPoint) : nullptr;
  if (address == nullptr) address = &kOwnAddress;
  Dl_info info{};
  if (::dladdr(address, &info) == 0 || info.dli_fname == nullptr) return {};
  std::error_code error;
  const auto path = std::filesystem::absolute(info.dli_fname, error);
  return error ? XStr() : FromFileNameBytes((path.parent_path() / "").native());
}

}  // namespace wavecodec
