#define WAVECODEC_EXPORT __attribute__((visibility("default")))
#include "support/module_folder.h"

#include <dlfcn.h>

#include <exception>
#include <filesystem>
#include <system_error>

#include "wavecodec/codec_module.h"

void* gInstance = nullptr;

namespace wavecodec {
namespace {

// An entry point that every codec module has; its address tells the file that it was loaded from.
constexpr const char* kAnyEntryPoint = "Create";

// The folder of the module that an address lies in, for the working directory of this moment.
std::filesystem::path FolderOf(const Dl_info& info) {
  std::error_code error;
  const auto file = std::filesystem::absolute(info.dli_fname, error);
  return error ? std::filesystem::path() : file.lexically_normal().parent_path();
}

// The module that this code is in. Its folder is taken when it is loaded: a name that was relative
// then means another folder once the host has changed its working directory.
struct OwnModule {
  OwnModule() noexcept {
    try {
      if (::dladdr(this, &Info) != 0 && Info.dli_fname != nullptr) Folder = FolderOf(Info);
    } catch (const std::exception&) {
      Folder.clear();
    }
  }
  Dl_info Info{};
  std::filesystem::path Folder;
};
const OwnModule g_own;

}  // namespace

XStr ModuleFolder() {
  std::filesystem::path folder = g_own.Folder;
  const void* address = gInstance != nullptr ? ::dlsym(gInstance, kAnyEntryPoint) : nullptr;
  Dl_info info{};
  if (address != nullptr && ::dladdr(address, &info) != 0 && info.dli_fname != nullptr &&
      info.dli_fbase != g_own.Info.dli_fbase) {
    folder = FolderOf(info);
  }
  return folder.empty() ? XStr() : FromFileNameBytes((folder / "").native());
}

}  // namespace wavecodec
