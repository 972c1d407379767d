// The module as a host loads it.
#pragma once

#include <dlfcn.h>

#define WAVECODEC_NO_PROTOTYPES
#include "wavecodec/codec_module.h"

namespace bench {

struct Module {
  Module() : Handle(dlopen(WAVE_MODULE, RTLD_NOW | RTLD_LOCAL)) {}
  template <typename Function>
  Function Entry(const char* name) const {
    return reinterpret_cast<Function>(dlsym(Handle, name));
  }
  void* Handle;
  ZuCreateFn Create = Entry<ZuCreateFn>("Create");
  ZuDestroyFn Destroy = Entry<ZuDestroyFn>("Destroy");
  ZuOpenFn Open = Entry<ZuOpenFn>("Open");
  ZuCloseFn Close = Entry<ZuCloseFn>("Close");
  ZuDecodeBlockFn DecodeBlock = Entry<ZuDecodeBlockFn>("DecodeBlock");
};

inline const Module& TheModule() {
  static const Module module;
  return module;
}

}  // namespace bench
