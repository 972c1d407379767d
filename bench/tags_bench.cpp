// Reading tags and properties: many small files beside bare system calls and TagLib, and files that
// have a million of something.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <wavfile.h>  // of TagLib

#include <functional>
#include <string>
#include <vector>

#include "bench_module.h"
#include "cost.h"
#include "tag_files.h"

namespace {

namespace fs = std::filesystem;
using bench::Million;
using bench::Module;
using bench::TaggedFiles;
using bench::TheModule;

// Runs the work, which is on all the small files, again and again.
void OnTaggedFiles(benchmark::State& state, const std::function<void()>& work) {
  bench::TellCost(state, work);
  work();  // the first time takes longer
  for (auto _ : state) work();
}

// What any program must do to look at the front and at the tags: open, size, two reads, close.
void Tags_Bare(benchmark::State& state) {
  OnTaggedFiles(state, [&] {
    std::vector<char> buffer(4096);
    for (const fs::path& path : TaggedFiles()) {
      const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
      struct stat status {};
      fstat(file, &status);
      benchmark::DoNotOptimize(pread(file, buffer.data(), buffer.size(), 0));
      benchmark::DoNotOptimize(pread(file, buffer.data(), buffer.size(), 16000));
      close(file);
    }
  });
}

bool OpenWithTags(void* decoder, const std::wstring& name, STZuOpenDecoder& source) {
  source = {};
  source.fileName = name.c_str();
  source.flags = ZuOpenTags | ZuOpenProperties;
  return TheModule().Open(decoder, &source) == 1 && source.tagSize != 0 && source.propsSize != 0;
}

void Tags_Module(benchmark::State& state) {
  const Module& module = TheModule();
  std::vector<std::wstring> names;
  for (const fs::path& path : TaggedFiles()) names.push_back(path.wstring());
  const STNStdReport silent{};
  OnTaggedFiles(state, [&] {
    void* decoder = module.Create(&silent);
    STZuOpenDecoder source;
    for (const std::wstring& name : names) {
      if (!OpenWithTags(decoder, name, source)) state.SkipWithError("no tags");
      module.Close(decoder, nullptr);
    }
    module.Destroy(decoder);
  });
}

// Its tags are parsed when it opens a file.
void Tags_TagLib(benchmark::State& state) {
  OnTaggedFiles(state, [&] {
    for (const fs::path& path : TaggedFiles()) {
      const TagLib::RIFF::WAV::File file(path.c_str());
      if (!file.hasID3v2Tag() || !file.hasInfoTag()) state.SkipWithError("no tags");
      benchmark::DoNotOptimize(file.audioProperties()->sampleRate());
    }
  });
}

void Million_Module(benchmark::State& state, Million kind) {
  const Module& module = TheModule();
  const std::wstring name = bench::MillionFile(kind).wstring();
  const auto open_once = [&] {
    const STNStdReport silent{};
    void* decoder = module.Create(&silent);
    STZuOpenDecoder source;
    if (!OpenWithTags(decoder, name, source)) state.SkipWithError("no tags");
    module.Destroy(decoder);
  };
  bench::TellCost(state, open_once);
  for (auto _ : state) open_once();
}

}  // namespace

BENCHMARK(Tags_Bare)->UseRealTime();
BENCHMARK(Tags_Module)->UseRealTime();
BENCHMARK(Tags_TagLib)->UseRealTime();
#define MILLION_OF(kind) \
  BENCHMARK_CAPTURE(Million_Module, kind, Million::kind)->UseRealTime()->Iterations(1)
MILLION_OF(Chunks);
MILLION_OF(InfoItems);
MILLION_OF(TitleFrames);
MILLION_OF(PrivateFrames);
MILLION_OF(UserTextFrames);
