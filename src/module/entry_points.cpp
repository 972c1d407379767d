// The nine entry points and the module's handle: all that the library exports. Each is a guard
// around one method of clDecoder; no exception passes it.
#define WAVECODEC_EXPORT __attribute__((visibility("default")))
#include <exception>
#include <new>
#include <type_traits>

#include "module/decoder.h"
#include "module/report/std_report.h"
#include "wavecodec/codec_module.h"

using wavecodec::clDecoder;

namespace {

// Runs `call` on the instance; 0 when there is none, when it fails and when memory runs out.
template <typename Call>
uint32_t Guard(void* instance, const char* name, Call call) noexcept {
  if (instance == nullptr) return 0;
  auto& decoder = *static_cast<clDecoder*>(instance);
  try {
    return call(decoder) ? 1 : 0;
  } catch (const std::bad_alloc&) {
    wavecodec::StdReport::WriteNoMemory(decoder.GetReport());
  } catch (const std::exception&) {
    wavecodec::ErrorLine(decoder.GetReport(), name) << L"Error of the system's library.";
  }
  return 0;
}

// The same for a call that takes a record of the host; 0 when the host gave none.
template <typename Record, typename Call>
uint32_t GuardRecord(void* instance, Record* record, const char* name, Call call) noexcept {
  return Guard(instance, name,
               [&](clDecoder& decoder) { return record != nullptr && call(decoder, *record); });
}

}  // namespace

extern "C" {

void* Create(const STNStdReport* report) {
  static_assert(std::is_nothrow_constructible_v<clDecoder, const STNStdReport&>);
  return new (std::nothrow) clDecoder(report != nullptr ? *report : STNStdReport{});
}

uint32_t Destroy(void* instance) {
  delete static_cast<clDecoder*>(instance);
  return 1;
}

uint32_t Open(void* instance, STZuOpenDecoder* record) {
  return GuardRecord(instance, record, "Open",
                     [](clDecoder& decoder, STZuOpenDecoder& r) { return decoder.Open(r); });
}

uint32_t Close(void* instance, STZuEncoderFluid* fluid) {
  return Guard(instance, "Close", [&](clDecoder& decoder) { return decoder.Close(fluid); });
}

uint32_t DecodeBlock(void* instance, STZuAudioBlock* block) {
  return GuardRecord(instance, block, "DecodeBlock",
                     [](clDecoder& decoder, STZuAudioBlock& b) { return decoder.DecodeBlock(b); });
}

uint32_t SetPosition(void* instance, int64_t frames) {
  return Guard(instance, "SetPosition",
               [&](clDecoder& decoder) { return decoder.SetPosition(frames); });
}

uint32_t DeleteATag(void* instance, const wchar_t* fileName, const wchar_t* names) {
  return Guard(instance, "DeleteATag",
               [&](clDecoder& decoder) { return decoder.DeleteATag(fileName, names); });
}

uint32_t Get(void* instance, const wchar_t* key, STZuCodecGetSet* record) {
  return GuardRecord(instance, record, "Get", [&](clDecoder& decoder, STZuCodecGetSet& r) {
    return key != nullptr && decoder.Get(key, r);
  });
}

uint32_t Set(void* instance, const wchar_t* key, STZuCodecGetSet* record) {
  return GuardRecord(instance, record, "Set", [&](clDecoder& decoder, STZuCodecGetSet& r) {
    return key != nullptr && decoder.Set(key, r);
  });
}

}  // extern "C"
