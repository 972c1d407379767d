/* A codec module that decodes nothing: what it answers is told by the first byte of each block. Built
 * several times, each without one entry point or with one that fails. */
#include <stdlib.h>
#include <string.h>

#include "wavecodec/codec_module.h"

/* The function that the build leaves out gets another name. */
#ifdef WITHOUT_Create
#define Create LeftOut
#endif
#ifdef WITHOUT_Destroy
#define Destroy LeftOut
#endif
#ifdef WITHOUT_Get
#define Get LeftOut
#endif
#ifdef WITHOUT_Set
#define Set LeftOut
#endif
#ifdef WITHOUT_Open
#define Open LeftOut
#endif
#ifdef WITHOUT_Close
#define Close LeftOut
#endif
#ifdef WITHOUT_DecodeBlock
#define DecodeBlock LeftOut
#endif
#ifdef WITHOUT_SetPosition
#define SetPosition LeftOut
#endif
#ifdef WITHOUT_DeleteATag
#define DeleteATag LeftOut
#endif
#ifdef WITHOUT_SetModulePath
#define SetModulePath LeftOut
#endif
#ifdef FAILS_Create
#define CREATED NULL
#else
#define CREATED calloc(1, sizeof(struct Stub))
#endif
#ifdef FAILS_Open
#define OPENED 0
#else
#define OPENED 1
#endif

#define EXPORTED __attribute__((visibility("default")))

struct Stub {
  uint8_t Output[8];
};

EXPORTED void* Create(const STNStdReport* report);
EXPORTED uint32_t Destroy(void* instance);
EXPORTED uint32_t Open(void* instance, STZuOpenDecoder* record);
EXPORTED uint32_t Close(void* instance, STZuEncoderFluid* fluid);
EXPORTED uint32_t DecodeBlock(void* instance, STZuAudioBlock* block);
EXPORTED uint32_t SetPosition(void* instance, int64_t frames);
EXPORTED uint32_t DeleteATag(void* instance, const wchar_t* name, const wchar_t* names);
EXPORTED uint32_t Get(void* instance, const wchar_t* key, STZuCodecGetSet* record);
EXPORTED uint32_t Set(void* instance, const wchar_t* key, STZuCodecGetSet* record);
EXPORTED void SetModulePath(const wchar_t* path);

static size_t g_path_length;

void* Create(const STNStdReport* report) { return report == NULL ? NULL : CREATED; }

uint32_t Destroy(void* instance) {
  free(instance);
  return 1;
}

uint32_t Open(void* instance, STZuOpenDecoder* record) {
  const STZuOpenDecoder packets = {.flags = ZuOpenPackets};
  return instance != NULL && memcmp(record, &packets, sizeof packets) == 0 ? OPENED : 0;
}

uint32_t Close(void* instance, STZuEncoderFluid* fluid) {
  return instance != NULL && fluid == NULL;
}

/* 'F' fails, 'E' and 'N' give nothing yet; else eight bytes: the first of the block, whether it is the
 * last, its size, and the length of the path that the module was told. */
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

uint32_t SetPosition(void* instance, int64_t frames) { return instance != NULL && frames >= 0; }

uint32_t DeleteATag(void* instance, const wchar_t* name, const wchar_t* names) {
  return instance != NULL && name != NULL && names != NULL;
}

uint32_t Get(void* instance, const wchar_t* key, STZuCodecGetSet* record) {
  return instance != NULL && key != NULL && record != NULL;
}

uint32_t Set(void* instance, const wchar_t* key, STZuCodecGetSet* record) {
  return instance != NULL && key != NULL && record != NULL;
}

void SetModulePath(const wchar_t* path) { g_path_length = wcslen(path); }
