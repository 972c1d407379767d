// Speed and cost of decoding beside a bare read loop and libsndfile, in one run with the other
// benchmarks, as ratios.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sndfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "bench_module.h"
#include "heap.h"
#include "system_calls.h"
#include "wave_builder.h"

namespace {

namespace fs = std::filesystem;
using bench::Module;
using bench::TheModule;
using wavecodec::test::Chunk;
using wavecodec::test::Fmt;
using wavecodec::test::LE;
using wavecodec::test::Noise;
using wavecodec::test::Riff;

constexpr uint64_t kDecodeBytes = 1ULL << 30;
constexpr size_t kReadSize = 65536;

// A Wave file in the benchmark folder, made once and read once, so that it lies in the page cache.
fs::path Cached(const std::string& name, const std::string& front, uint64_t noise_bytes) {
  fs::path path = fs::path(BENCH_FOLDER) / name;
  if (!fs::exists(path) || fs::file_size(path) != front.size() + noise_bytes) {
    fs::create_directories(path.parent_path());
    const std::string noise = Noise(1 << 20);
    std::ofstream file(path, std::ios::binary);
    file << front;
    for (uint64_t left = noise_bytes; left > 0;) {
      const uint64_t piece = std::min<uint64_t>(left, noise.size());
      file.write(noise.data(), static_cast<std::streamsize>(piece));
      left -= piece;
    }
  }
  return path;
}

const fs::path& DecodeFile() {
  static const fs::path path = Cached("decode.wav",
                                      "RIFF" + LE(36 + kDecodeBytes, 4) + "WAVE" +
                                          Fmt(1, 2, 44100, 16) + "data" + LE(kDecodeBytes, 4),
                                      kDecodeBytes);
  return path;
}

fs::path ChunksFile(int64_t count) {
  std::string chunks = Fmt(1, 2, 44100, 16);
  for (int64_t i = 2; i < count; ++i) chunks += Chunk("note", "sixteen bytes...");
  chunks += Chunk("data", Noise(100000));
  return Cached("chunks" + std::to_string(count) + ".wav", Riff(chunks), 0);
}

// Read system calls that this process has made, and what one call of this function adds to them.
constexpr uint64_t kReadsOfReadCalls = 2;  // the last one finds the end
uint64_t ReadCalls() { return bench::ProcessIo().Reads; }

void Decode_Bare(benchmark::State& state) {
  std::vector<char> buffer(kReadSize);
  for (auto _ : state) {
    const int file = open(DecodeFile().c_str(), O_RDONLY | O_CLOEXEC);
    while (read(file, buffer.data(), buffer.size()) > 0) benchmark::DoNotOptimize(buffer.data());
    close(file);
  }
}

void Decode_Module(benchmark::State& state) {
  const Module& module = TheModule();
  const STNStdReport silent{};
  const std::wstring name = DecodeFile().wstring();
  for (auto _ : state) {
    heap::ResetPeak();
    const heap::Counts start = heap::Now();
    void* decoder = module.Create(&silent);
    STZuOpenDecoder source{};
    source.fileName = name.c_str();
    source.flags = ZuOpenDecode;
    if (module.Open(decoder, &source) != 1) state.SkipWithError("cannot open");
    STZuAudioBlock block{};
    uint64_t bytes = 0;
    uint64_t blocks = 0;
    heap::Counts first;
    uint64_t reads = 0;
    do {
      if (module.DecodeBlock(decoder, &block) != 1) state.SkipWithError("cannot decode");
      benchmark::DoNotOptimize(block.data);
      bytes += block.byteCount;
      if (++blocks == 1) {
        reads = ReadCalls();
        first = heap::Now();
      }
    } while (block.lastBlock == 0);
    const heap::Counts last = heap::Now();
    reads = ReadCalls() - reads - kReadsOfReadCalls;
    const auto later_blocks = static_cast<double>(blocks - 1);
    if (bytes != kDecodeBytes) state.SkipWithError("wrong length");
    state.counters["reads/block"] = static_cast<double>(reads) / later_blocks;
    state.counters["allocs/block"] = static_cast<double>(last.Calls - first.Calls) / later_blocks;
    state.counters["heap_KiB"] = static_cast<double>(last.Peak - start.Live) / 1024;
    module.Destroy(decoder);
  }
}

void Decode_SndfileRaw(benchmark::State& state) {
  std::vector<char> buffer(kReadSize);
  for (auto _ : state) {
    SF_INFO info{};
    SNDFILE* file = sf_open(DecodeFile().c_str(), SFM_READ, &info);
    while (sf_read_raw(file, buffer.data(), static_cast<sf_count_t>(buffer.size())) > 0) {
      benchmark::DoNotOptimize(buffer.data());
    }
    sf_close(file);
  }
}

void Decode_SndfileFloat(benchmark::State& state) {
  std::vector<float> buffer(kReadSize / sizeof(short));
  for (auto _ : state) {
    SF_INFO info{};
    SNDFILE* file = sf_open(DecodeFile().c_str(), SFM_READ, &info);
    while (sf_read_float(file, buffer.data(), static_cast<sf_count_t>(buffer.size())) > 0) {
      benchmark::DoNotOptimize(buffer.data());
    }
    sf_close(file);
  }
}

// What any program must do to look at a file: open, size, two reads, close.
void Open_Bare(benchmark::State& state) {
  const fs::path path = ChunksFile(state.range(0));
  std::vector<char> buffer(4096);
  for (auto _ : state) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status {};
    fstat(file, &status);
    benchmark::DoNotOptimize(pread(file, buffer.data(), buffer.size(), 0));
    benchmark::DoNotOptimize(pread(file, buffer.data(), buffer.size(), 50000));
    close(file);
  }
}

void Open_Module(benchmark::State& state) {
  const Module& module = TheModule();
  const STNStdReport silent{};
  const std::wstring name = ChunksFile(state.range(0)).wstring();
  void* decoder = module.Create(&silent);
  for (auto _ : state) {
    STZuOpenDecoder source{};
    source.fileName = name.c_str();
    source.flags = ZuOpenDecode;
    if (module.Open(decoder, &source) != 1) state.SkipWithError("cannot open");
    module.Close(decoder, nullptr);
  }
  module.Destroy(decoder);
}

void Open_Sndfile(benchmark::State& state) {
  const fs::path path = ChunksFile(state.range(0));
  for (auto _ : state) {
    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (file == nullptr) state.SkipWithError("cannot open");
    sf_close(file);
  }
}

// Prints, behind the ordinary table, the median of each benchmark against the bare one of its
// group.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  RatioReporter() : ConsoleReporter(OO_Tabular) {}
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.aggregate_name != "median" || run.error_occurred) continue;
      const std::string& name = run.run_name.function_name;  // Kind_Who or Kind_Who/case
      const size_t bar = name.find('_');
      const size_t slash = std::min(name.find('/'), name.size());
      const std::string group = name.substr(0, bar) + " " + run.run_name.args +
                                name.substr(std::min(slash + 1, name.size()));
      Medians[group][name.substr(bar + 1, slash - bar - 1)] = run.GetAdjustedRealTime();
    }
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    printf("\nMedian times as ratios to the bare loop of the same kind:\n");
    for (const auto& [group, times] : Medians) {
      const auto bare = times.find("Bare");
      if (bare == times.end()) continue;
      for (const auto& [name, time] : times) {
        printf("  %-14s %-14s %6.2f\n", group.c_str(), name.c_str(), time / bare->second);
      }
    }
  }

 private:
  std::map<std::string, std::map<std::string, double>> Medians;
};

}  // namespace

BENCHMARK(Decode_Bare)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Decode_Module)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Decode_SndfileRaw)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Decode_SndfileFloat)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Open_Bare)->Arg(5)->Arg(5000)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(Open_Module)->Arg(5)->Arg(5000)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(Open_Sndfile)->Arg(5)->Arg(5000)->Unit(benchmark::kMicrosecond)->UseRealTime();

int main(int argc, char** argv) {
  // Repetitions of all benchmarks take turns, so that a noisy moment hits none of them alone.
  std::vector<char*> arguments(argv, argv + argc);
  std::string interleave = "--benchmark_enable_random_interleaving=true";
  std::string repetitions = "--benchmark_repetitions=9";
  std::string aggregates = "--benchmark_report_aggregates_only=true";
  for (std::string* argument : {&interleave, &repetitions, &aggregates}) {
    arguments.insert(arguments.begin() + 1, argument->data());
  }
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
}
