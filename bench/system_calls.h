// Counts system calls.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace bench {

// System calls of `work`, as the kernel stops a traced copy of this process at them; 0 where
// nothing can be traced. Counted once for each name: tracing takes its time.
double SystemCalls(const std::string& name, const std::function<void()>& work);

// What the system says that this process has read and written so far; 0 where it does not say.
struct IoCounts {
  uint64_t BytesWritten = 0;
  uint64_t Reads = 0;  // system calls
  uint64_t Writes = 0;
};
IoCounts ProcessIo();

}  // namespace bench
