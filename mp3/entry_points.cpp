// The nine entry points and the module's handle: all that the library exports. Each is a guard
// around one method of clMP3Decoder; no exception passes it.
#define WAVECODEC_EXPORT __attribute__((visibility("default")))
#include "module/report/entry_guard.h"
#include "mp3/decoder.h"
#include "wavecodec/codec_module.h"

using wavecodec::clMP3Decoder;

void* gInstance = nullptr;  // this module looks for nothing beside itself

using Guard = wavecodec::EntryGuard<clMP3Decoder>;

extern "C" {

void* Create(const STNStdReport* report) { return Guard::Create(report); }

uint32_t Destroy(void* instance) { return Guard::Destroy(instance); }

uint32_t Open(void* instance, STZuOpenDecoder* record) {
  return Guard::Run(instance, record, "Open",
                    [](clMP3Decoder& decoder, STZuOpenDecoder& r) { return decoder.Open(r); });
}

uint32_t Close(void* instance, STZuEncoderFluid* /*fluid*/) {
  return Guard::Run(instance, "Close", [](clMP3Decoder& decoder) { return decoder.Close(); });
}

uint32_t DecodeBlock(void* instance, STZuAudioBlock* block) {
  return Guard::Run(instance, block, "DecodeBlock", [](clMP3Decoder& decoder, STZuAudioBlock& b) {
    return decoder.DecodeBlock(b);
  });
}

uint32_t SetPosition(void* instance, int64_t /*frames*/) {
  return Guard::Run(instance, "SetPosition",
                    [](clMP3Decoder& decoder) { return decoder.SetPosition(); });
}

uint32_t DeleteATag(void* instance, const wchar_t* /*fileName*/, const wchar_t* /*names*/) {
  return Guard::Run(instance, "DeleteATag",
                    [](clMP3Decoder& decoder) { return decoder.DeleteATag(); });
}

uint32_t Get(void* instance, const wchar_t* key, STZuCodecGetSet* record) {
  return Guard::Run(instance, record, "Get", [&](clMP3Decoder& decoder, STZuCodecGetSet& r) {
    return key != nullptr && decoder.Get(key, r);
  });
}

uint32_t Set(void* instance, const wchar_t* key, STZuCodecGetSet* record) {
  return Guard::Run(instance, record, "Set", [&](clMP3Decoder& decoder, STZuCodecGetSet&) {
    return key != nullptr && decoder.Set(key);
  });
}

}  // extern "C"
