// What every entry point of a codec module does around its call of the instance's method.
#pragma once

#include <cstdint>
#include <exception>
#include <new>
#include <type_traits>

#include "module/report/std_report.h"

namespace wavecodec {

// `Decoder` is the class of the module's instances; it tells its report.
template <typename Decoder>
struct EntryGuard {
  // Null when there is no memory; without a report, a silent instance.
  static void* Create(const STNStdReport* report) noexcept {
    static_assert(std::is_nothrow_constructible_v<Decoder, const STNStdReport&>);
    return new (std::nothrow) Decoder(report != nullptr ? *report : STNStdReport{});
  }
  static uint32_t Destroy(void* instance) noexcept {
    delete static_cast<Decoder*>(instance);
    return 1;
  }

  // Runs `call` on the instance; 0 when there is none, when it fails and when memory runs out.
  template <typename Call>
  static uint32_t Run(void* instance, const char* name, Call call) noexcept {
    if (instance == nullptr) return 0;
    auto& decoder = *static_cast<Decoder*>(instance);
    try {
      return call(decoder) ? 1 : 0;
    } catch (const std::bad_alloc&) {
      StdReport::WriteNoMemory(decoder.GetReport());
    } catch (const std::exception&) {
      ErrorLine(decoder.GetReport(), name) << L"Error of the system's library.";
    }
    return 0;
  }

  // The same for a call that takes a record of the host; 0 when the host gave none.
  template <typename Record, typename Call>
  static uint32_t Run(void* instance, Record* record, const char* name, Call call) noexcept {
    return Run(instance, name,
               [&](Decoder& decoder) { return record != nullptr && call(decoder, *record); });
  }
};

}  // namespace wavecodec
