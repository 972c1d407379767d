// Counts system calls.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace bench {

// System calls of `work`, of its threads and processes, as the kernel stops a traced copy of this
// process at them; 0 where nothing can be traced. A few of the copy's own come with them.
double TracedCalls(const std::function<void()>& work);

// Those of `work` alone.
double SystemCalls(const std::function<void()>& work);

// What the system says that a process has read and written so far; 0 where it does not say.
struct IoCounts {
  uint64_t BytesWritten = 0;
  uint64_t Reads = 0;  // system calls
  uint64_t Writes = 0;
};
IoCounts ProcessIo(const std::string& process = "self");

}  // namespace bench
