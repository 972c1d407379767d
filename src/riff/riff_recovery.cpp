#include "riff/riff_recovery.h"

#include <array>
#include <cstdint>

#include "module/report/std_report.h"
#include "riff/chunk_id.h"
#include "support/byte_order.h"
#include "support/file_rewrite.h"

namespace wavecodec {
namespace {

constexpr uint64_t kHeaderSize = 8;

// True when the container's header does not have the file's size, as is so while it is changed.
bool SizesDiffer(XFile& file) {
  // The container header, and the beginning of a `ds64` chunk.
  std::array<uint8_t, 28> head{};
  if (!file.SetPosition(0)) return false;
  const size_t got = file.ReadSmall(head.data(), head.size());
  static_cast<void>(file.SetPosition(0));
  if (got < head.size()) return false;
  const auto size = static_cast<uint64_t>(file.Size());
  if (!CompareID(ReadU32LE(head.data()), chunk_id::kRf64, true)) {
    return CompareID(ReadU32LE(head.data()), chunk_id::kRiff, true) &&
           ReadU32LE(head.data() + 4) + kHeaderSize != size;
  }
  return !CompareID(ReadU32LE(head.data() + 12), chunk_id::kDs64, true) ||
         ReadU64LE(head.data() + 20) + kHeaderSize != size;
}

}  // namespace

bool FinishInterruptedChange(XFile& file, const wchar_t* name, XFileAccess access,
                             const STNStdReport& report) {
  constexpr const char* kName = "FinishInterruptedChange";
  if (!SizesDiffer(file) || !IsRewriteInterrupted(file)) return true;
  InfoLine(report, kName) << L"Warning: a change of the file was interrupted, finishing it.";
  bool finished = false;
  if (access == XFileAccess::ReadWrite) {
    finished = FinishRewrite(file);
  } else {
    XFile writable;
    finished = writable.Open(name, XFileAccess::ReadWrite) && FinishRewrite(writable);
    writable.Close();
    finished = finished && file.Open(name);
  }
  if (!finished) {
    ErrorLine(report, kName)
        << L"Error a change of the file was interrupted and cannot be finished: it must be "
           L"writable, with its journal beside it.";
  }
  return finished;
}

}  // namespace wavecodec
