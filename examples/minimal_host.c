/* Writes the samples of a Wave file to standard output: minimal_host wave.dll FILE */
#include <dlfcn.h>
#include <stdio.h>
#include "wavecodec/codec_module.h"

static int find(void* module, const char* name, void* entry) {
  return module != NULL && (*(void**)entry = dlsym(module, name)) != NULL;
}

int main(int argc, char** argv) {
  void* module = argc == 3 ? dlopen(argv[1], RTLD_NOW) : NULL;
  ZuCreateFn create;
  ZuOpenFn open;
  ZuDecodeBlockFn decode;
  ZuDestroyFn destroy;
  if (!find(module, "Create", &create) || !find(module, "Open", &open) ||
      !find(module, "DecodeBlock", &decode) || !find(module, "Destroy", &destroy))
    return 2;
  wchar_t name[4096] = {0}; /* raw bytes: no name needs to be UTF-8 */
  for (int i = 0; i < 4095 && argv[2][i] != 0; ++i)
    name[i] = argv[2][i] & 0x80 ? 0xDC00 | (argv[2][i] & 0xFF) : argv[2][i];
  STZuOpenDecoder source = {.fileName = name, .flags = ZuOpenDecode};
  STZuAudioBlock block = {0};
  void* decoder = create(&(STNStdReport){.ErrorHandle = 2});
  uint32_t good = open(decoder, &source);
  while (good && !block.lastBlock && (good = decode(decoder, &block)))
    fwrite(block.data, 1, block.byteCount, stdout);
  destroy(decoder);
  return good ? 0 : 1;
}
