/* A codec module that finds no tags and damages the audio when it is to write some: the host has to
 * notice. */
#define WAVECODEC_EXPORT __attribute__((visibility("default")))
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#include "wavecodec/codec_module.h"

void* gInstance;

static const char kNoEntries[4] = "\0\0\0";

void* Create(const STNStdReport* report) { return report == NULL ? NULL : &gInstance; }

uint32_t Destroy(void* instance) { return instance != NULL; }

uint32_t Open(void* instance, STZuOpenDecoder* record) {
  record->tagData = record->propsData = kNoEntries;
  record->tagSize = record->propsSize = sizeof(kNoEntries);
  return instance != NULL;
}

uint32_t Close(void* instance, STZuEncoderFluid* fluid) { return instance != NULL && !fluid; }

uint32_t DecodeBlock(void* instance, STZuAudioBlock* block) { return instance == (void*)block; }

uint32_t SetPosition(void* instance, int64_t frames) { return instance == NULL && frames == 0; }

uint32_t DeleteATag(void* instance, const wchar_t* file_name, const wchar_t* names) {
  char name[1024] = "";
  wcstombs(name, file_name, sizeof name - 1);
  FILE* const file = instance == (void*)names ? NULL : fopen(name, "r+b");
  if (file == NULL) return 0;
  const int written = fseek(file, 50, SEEK_SET) == 0 && fputc('!', file) != EOF;
  return fclose(file) == 0 && written;
}

uint32_t Get(void* instance, const wchar_t* key, STZuCodecGetSet* record) {
  return instance == (void*)key && record == NULL;
}

uint32_t Set(void* instance, const wchar_t* key, STZuCodecGetSet* record) {
  return wcscmp(key, L"IDTags") == 0 && DeleteATag(instance, record->Text1, NULL);
}
