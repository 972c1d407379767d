// Decoding and opening beside bare system calls and libsndfile. run.py calls this program again and
// again, for one benchmark at a time, in turns with other programs.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sndfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "bench_module.h"
#include "cost.h"
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

// Runs the work again and again, after telling what it costs beside its time.
void Repeat(benchmark::State& state, const std::function<void()>& work) {
  bench::TellCost(state, work);
  work();  // the first time takes longer
  for (auto _ : state) work();
}

void Decode_Bare(benchmark::State& state) {
  const fs::path& path = DecodeFile();
  Repeat(state, [&] {
    std::vector<char> buffer(kReadSize);
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    while (read(file, buffer.data(), buffer.size()) > 0) benchmark::DoNotOptimize(buffer.data());
    close(file);
  });
}

void Decode_Module(benchmark::State& state) {
  const Module& module = TheModule();
  const STNStdReport silent{};
  const std::wstring name = DecodeFile().wstring();
  Repeat(state, [&] {
    void* decoder = module.Create(&silent);
    STZuOpenDecoder source{};
    source.fileName = name.c_str();
    source.flags = ZuOpenDecode;
    if (module.Open(decoder, &source) != 1) state.SkipWithError("cannot open");
    STZuAudioBlock block{};
    uint64_t bytes = 0;
    do {
      if (module.DecodeBlock(decoder, &block) != 1) return state.SkipWithError("cannot decode");
      benchmark::DoNotOptimize(block.data);
      bytes += block.byteCount;
    } while (block.lastBlock == 0);
    if (bytes != kDecodeBytes) state.SkipWithError("wrong length");
    module.Destroy(decoder);
  });
}

void Decode_libsndfile(benchmark::State& state) {
  const fs::path& path = DecodeFile();
  Repeat(state, [&] {
    std::vector<char> buffer(kReadSize);
    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    while (sf_read_raw(file, buffer.data(), static_cast<sf_count_t>(buffer.size())) > 0) {
      benchmark::DoNotOptimize(buffer.data());
    }
    sf_close(file);
  });
}

// What any program must do to look at a file: open, size, two reads, close.
void Open_Bare(benchmark::State& state) {
  const fs::path path = ChunksFile(state.range(0));
  Repeat(state, [&] {
    std::vector<char> buffer(4096);
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status {};
    fstat(file, &status);
    benchmark::DoNotOptimize(pread(file, buffer.data(), buffer.size(), 0));
    benchmark::DoNotOptimize(pread(file, buffer.data(), buffer.size(), 50000));
    close(file);
  });
}

void Open_Module(benchmark::State& state) {
  const Module& module = TheModule();
  const STNStdReport silent{};
  const std::wstring name = ChunksFile(state.range(0)).wstring();
  Repeat(state, [&] {
    void* decoder = module.Create(&silent);
    STZuOpenDecoder source{};
    source.fileName = name.c_str();
    source.flags = ZuOpenDecode;
    if (module.Open(decoder, &source) != 1) state.SkipWithError("cannot open");
    module.Destroy(decoder);
  });
}

void Open_libsndfile(benchmark::State& state) {
  const fs::path path = ChunksFile(state.range(0));
  Repeat(state, [&] {
    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (file == nullptr) state.SkipWithError("cannot open");
    sf_close(file);
  });
}

}  // namespace

BENCHMARK(Decode_Bare)->UseRealTime();
BENCHMARK(Decode_Module)->UseRealTime();
BENCHMARK(Decode_libsndfile)->UseRealTime();
BENCHMARK(Open_Bare)->Arg(5)->UseRealTime();
BENCHMARK(Open_Module)->Arg(5)->UseRealTime();
BENCHMARK(Open_libsndfile)->Arg(5)->UseRealTime();

BENCHMARK_MAIN();
