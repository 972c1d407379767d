// The nine entry points and the module's handle: all that the library exports. Each is a guard
// around one method of clDecoder; no exception passes it.
#define WAVECODEC_EXPORT __attribute__((visibility("default")))
#include "module/decoder.h"
#include "module/report/entry_guard.h"
#include "wavecodec/codec_module.h"

using wavecodec::clDecoder;

using Guard = wavecodec::EntryGuard<clDecoder>;

extern "C" {

void* Create(const STNStdReport* report) { return Guard::Create(report); }

uint32_t Destroy(void* instance) { return Guard::Destroy(instance); }

uint32_t Open(void* instance, STZuOpenDecoder* record) {
  return Guard::Run(instance, record, "Open",
                    [](clDecoder& decoder, STZuOpenDecoder& r) { return decoder.Open(r); });
}

uint32_t Close(void* instance, STZuEncoderFluid* fluid) {
  return Guard::Run(instance, "Close", [&](clDecoder& decoder) { return decoder.Close(fluid); });
}

uint32_t DecodeBlock(void* instance, STZuAudioBlock* block) {
  return Guard::Run(instance, block, "DecodeBlock",
                    [](clDecoder& decoder, STZuAudioBlock& b) { return decoder.DecodeBlock(b); });
}

uint32_t SetPosition(void* instance, int64_t frames) {
  return Guard::Run(instance, "SetPosition",
                    [&](clDecoder& decoder) { return decoder.SetPosition(frames); });
}

uint32_t DeleteATag(void* instance, const wchar_t* fileName, const wchar_t* names) {
  return Guard::Run(instance, "DeleteATag",
                    [&](clDecoder& decoder) { return decoder.DeleteATag(fileName, names); });
}

uint32_t Get(void* instance, const wchar_t* key, STZuCodecGetSet* record) {
  return Guard::Run(instance, record, "Get", [&](clDecoder& decoder, STZuCodecGetSet& r) {
    return key != nullptr && decoder.Get(key, r);
  });
}

uint32_t Set(void* instance, const wchar_t* key, STZuCodecGetSet* record) {
  return Guard::Run(instance, record, "Set", [&](clDecoder& decoder, STZuCodecGetSet& r) {
    return key != nullptr && decoder.Set(key, r);
  });
}

}  // extern "C"
