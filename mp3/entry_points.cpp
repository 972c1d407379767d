// The nine entry points and the module's handle: all that the library exports. Each is a guard
// around one method of clMP3Decoder; no exception passes it.
#define WAVECODEC_EXPORT __attribute__((visibility("default")))
#include <exception>
#include <new>
#include <type_traits>

#include "module/report/std_report.h"
#include "mp3/decoder.h"
#include "wavecodec/codec_module.h"

using wavecodec::clMP3Decoder;

void* gInstance = nullptr;  // this module looks for nothing beside itself

namespace {

// Runs `call` on the instance; 0 when there is none, when it fails and when memory runs out.
template <typename Call>
uint32_t Guard(void* instance, const char* name, Call call) noexcept {
  if (instance == nullptr) return 0;
  auto& decoder = *static_cast<clMP3Decoder*>(instance);
  try {
    return call(decoder) ? 1 : 0;
  } catch (const std::bad_alloc&) {
    wavecodec::StdReport::WriteNoMemory(decoder.GetReport());
  } catch (const std::exception&) {
    wavecodec::ErrorLine(decoder.GetReport(), name) << L"Error of the system's library.";
  }
  return 0;
}

}  // namespace

extern "C" {

void* Create(const STNStdReport* report) {
  static_assert(std::is_nothrow_constructible_v<clMP3Decoder, const STNStdReport&>);
  return new (std::nothrow) clMP3Decoder(report != nullptr ? *report : STNStdReport{});
}

uint32_t Destroy(void* instance) {
  delete static_cast<clMP3Decoder*>(instance);
  return 1;
}

uint32_t Open(void* instance, STZuOpenDecoder* record) {
  return Guard(instance, "Open",
               [&](clMP3Decoder& decoder) { return record != nullptr && decoder.Open(*record); });
}

uint32_t Close(void* instance, STZuEncoderFluid* /*fluid*/) {
  return Guard(instance, "Close", [](clMP3Decoder& decoder) { return decoder.Close(); });
}

uint32_t DecodeBlock(void* instance, STZuAudioBlock* block) {
  return Guard(instance, "DecodeBlock", [&](clMP3Decoder& decoder) {
    return block != nullptr && decoder.DecodeBlock(*block);
  });
}

uint32_t SetPosition(void* instance, int64_t /*frames*/) {
  return Guard(instance, "SetPosition",
               [](clMP3Decoder& decoder) { return decoder.SetPosition(); });
}

uint32_t DeleteATag(void* instance, const wchar_t* /*fileName*/, const wchar_t* /*names*/) {
  return Guard(instance, "DeleteATag", [](clMP3Decoder& decoder) { return decoder.DeleteATag(); });
}

uint32_t Get(void* instance, const wchar_t* key, STZuCodecGetSet* record) {
  return Guard(instance, "Get", [&](clMP3Decoder& decoder) {
    return key != nullptr && record != nullptr && decoder.Get(key, *record);
  });
}

uint32_t Set(void* instance, const wchar_t* key, STZuCodecGetSet* record) {
  return Guard(instance, "Set", [&](clMP3Decoder& decoder) {
    return key != nullptr && record != nullptr && decoder.Set(key);
  });
}

}  // extern "C"
