/* A host in plain C, against the public header alone: decodes a file and prints the byte count. */
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "wavecodec/codec_module.h"

static void* entry(void* module, const char* name) {
  void* function = dlsym(module, name);
  if (function == NULL) {
    fprintf(stderr, "missing: %s\n", name);
    exit(1);
  }
  return function;
}

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  void* module = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  if (module == NULL) return 1;
  *(void**)entry(module, "gInstance") = module;
  ZuCreateFn create;
  ZuOpenFn open_source;
  ZuDecodeBlockFn decode;
  ZuDestroyFn destroy;
  *(void**)&create = entry(module, "Create");
  *(void**)&open_source = entry(module, "Open");
  *(void**)&decode = entry(module, "DecodeBlock");
  *(void**)&destroy = entry(module, "Destroy");

  wchar_t name[4096] = {0};
  for (size_t i = 0; i + 1 < sizeof name / sizeof *name && argv[2][i] != 0; ++i) {
    name[i] = (wchar_t)argv[2][i];
  }
  STNStdReport report = {2, 0, 0};
  STZuOpenDecoder source;
  memset(&source, 0, sizeof source);
  source.fileName = name;
  source.flags = ZuOpenDecode;
  void* decoder = create(&report);
  if (open_source(decoder, &source) != 1) return 1;
  unsigned long long bytes = 0;
  STZuAudioBlock block;
  do {
    memset(&block, 0, sizeof block);
    if (decode(decoder, &block) != 1) return 1;
    bytes += block.byteCount;
  } while (block.lastBlock == 0);
  destroy(decoder);
  printf("%llu\n", bytes);
  return bytes == source.audioInfo.lengthBytes ? 0 : 1;
}
