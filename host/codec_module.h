// The loaded codec module.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "wavecodec/codec_module.h"

namespace wavehost {

// The entry points of a module, callable as long as the object lives.
class CodecModule {
 public:
  // Loads the module file; throws Error when it cannot be loaded or is no codec module.
  explicit CodecModule(const std::filesystem::path& file);

  ZuCreateFn Create;
  ZuDestroyFn Destroy;
  ZuOpenFn Open;
  ZuCloseFn Close;
  ZuDecodeBlockFn DecodeBlock;
  ZuDeleteATagFn DeleteATag;
  ZuGetFn Get;
  ZuSetFn Set;

 private:
  struct Closer {
    void operator()(void* handle) const;
  };
  [[nodiscard]] void* Symbol(const char* name) const;
  template <typename Function>
  void Bind(Function& function, const char* name) const;

  std::string name_;  // of the file, for messages
  std::unique_ptr<void, Closer> library_;
};

// Where the module lies when the user does not say: beside the executable, or in the library folder
// of an installation.
std::filesystem::path DefaultModuleFile();

}  // namespace wavehost
