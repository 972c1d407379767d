#include "codec_module.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <system_error>

#include "error.h"
#include "process.h"
#include "text.h"

namespace wavehost {

namespace fs = std::filesystem;

void CodecModule::Closer::operator()(void* handle) const { dlclose(handle); }

void* CodecModule::Symbol(const char* name) const {
  void* const symbol = dlsym(library_.get(), name);
  if (symbol == nullptr) {
    throw Error(fmt::format("'{}' is no codec module: it has no '{}'", name_, name));
  }
  return symbol;
}

template <typename Function>
void CodecModule::Bind(Function& function, const char* name) const {
  function = reinterpret_cast<Function>(Symbol(name));
}

CodecModule::CodecModule(const fs::path& file) : name_(Displayable(file.native())) {
  // A name without a folder would be looked for in the system's library folders.
  std::error_code failure;
  const fs::path full = fs::absolute(file, failure);
  library_.reset(dlopen((failure ? file : full).c_str(), RTLD_NOW | RTLD_LOCAL));
  if (library_ == nullptr) {
    const char* const reason = dlerror();
    throw Error(fmt::format("cannot load the codec module '{}': {}", name_,
                            Displayable(reason == nullptr ? "" : reason)));
  }
  Bind(Create, "Create");
  Bind(Destroy, "Destroy");
  Bind(Open, "Open");
  Bind(Close, "Close");
  Bind(DecodeBlock, "DecodeBlock");
  Bind(DeleteATag, "DeleteATag");
  Bind(Get, "Get");
  Bind(Set, "Set");
  *static_cast<void**>(Symbol("gInstance")) = library_.get();
}

fs::path DefaultModuleFile() {
  const fs::path folder = ExecutableFolder();
  const fs::path beside = folder / "wave.dll";
  const fs::path installed = (folder / WAVEHOST_MODULE_FOLDER / "wave.dll").lexically_normal();
  std::error_code failure;
  return !fs::exists(beside, failure) && fs::exists(installed, failure) ? installed : beside;
}

}  // namespace wavehost
