/* A codec module that decodes nothing: the first byte of each block tells what it answers. Built
 * several times: whole, with one entry point under another name, or with one that fails. */
#include <stdlib.h>
#include <string.h>

#define WAVECODEC_EXPORT __attribute__((visibility("default")))
#include "wavecodec/codec_module.h"

#ifndef CREATED
#define CREATED calloc(1, sizeof(struct Stub))
#endif
#ifndef OPENED
#define OPENED 1
#endif

struct Stub {
  uint8_t Output[32];
};

static size_t g_path_length;

WAVECODEC_EXPORT void SetModulePath(const wchar_t* path);
void SetModulePath(const wchar_t* path) { g_path_length = wcslen(path); }

void* Create(const STNStdReport* report) { return report == NULL ? NULL : CREATED; }

uint32_t Destroy(void* instance) {
  free(instance);
  return 1;
}

uint32_t Open(void* instance, STZuOpenDecoder* record) {
  const STZuOpenDecoder packets = {.flags = ZuOpenPackets};
  return instance != NULL && memcmp(record, &packets, sizeof packets) == 0 ? OPENED : 0;
}

uint32_t Close(void* self, STZuEncoderFluid* fluid) { return self != NULL && fluid == NULL; }

/* 'F' fails, 'E' and 'N' give nothing yet; else two milliseconds: the first byte of the block,
 * whether it is the last, its size, and the length of the path that the module was told. */
uint32_t DecodeBlock(void* instance, STZuAudioBlock* block) {
  struct Stub* const stub = instance;
  const uint8_t* const bytes = block->data;
  const tWAVEFORMATEX format = {WaveFormatPCM, 1, 8000, 16000, 2, 16, 65535 /* a lie */};
  const uint8_t kind = block->byteCount == 0 ? 0 : bytes[0];
  if (kind == 'F') return 0;
  stub->Output[0] = kind;
  stub->Output[1] = (uint8_t)block->lastBlock;
  memcpy(stub->Output + 2, &block->byteCount, 4);
  stub->Output[6] = (uint8_t)g_path_length;
  block->data = kind == 'N' ? NULL : stub->Output;
  block->byteCount = kind == 'E' ? 0 : sizeof stub->Output;
  memcpy(&block->format, &format, sizeof format);
  return 1;
}

uint32_t SetPosition(void* self, int64_t frames) { return self != NULL && frames >= 0; }
uint32_t DeleteATag(void* self, const wchar_t* a, const wchar_t* b) { return self && a && b; }
uint32_t Get(void* self, const wchar_t* key, STZuCodecGetSet* r) { return self && key && r; }
uint32_t Set(void* self, const wchar_t* key, STZuCodecGetSet* r) { return self && key && r; }
