// Writing tags into one large file, beside TagLib and the fewest bare system calls that do it.
// WAVECODEC_BENCH_MB makes the file smaller than its 1,024 MiB.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <infotag.h>  // of TagLib
#include <sys/stat.h>
#include <unistd.h>
#include <wavfile.h>  // of TagLib

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "bench_module.h"
#include "cost.h"
#include "wave_builder.h"

namespace {

namespace fs = std::filesystem;
using bench::TheModule;
using wavecodec::test::Chunk;
using wavecodec::test::Fmt;
using wavecodec::test::LE;
using wavecodec::test::Noise;

constexpr size_t kOldComment = 200;
constexpr size_t kNewComment = 900;
constexpr size_t kPadding = 4096;

// What is done to which file. All contenders write one `LIST` with a comment and nothing else.
enum class Work {
  Append,      // the file has no tags; they come to its end
  EditAtEnd,   // the file ends in a `LIST`, which grows
  EditPadded,  // before `data` are a `LIST` and padding, which the tag grows into
  Insert       // a `LIST` comes, or grows, before `data`, without padding: the audio moves
};

uint64_t AudioBytes() {
  const char* megabytes = std::getenv("WAVECODEC_BENCH_MB");
  constexpr uint64_t kDefault = 1024;
  return (megabytes != nullptr ? std::strtoull(megabytes, nullptr, 10) : kDefault) << 20;
}

std::string List(size_t comment, char letter) {
  return Chunk("LIST", "INFO" + Chunk("ICMT", std::string(comment, letter) + '\0'));
}
std::string OldList() { return List(kOldComment, 'o'); }

struct Layout {
  std::string Head;                // up to the audio
  std::string Tail;                // behind it
  std::string ListPosition = "0";  // the option
};

// TagLib removes a `LIST` and puts the new one behind all chunks. Where the others insert, it gets
// one before `data`, so that all of them have the audio to move.
Layout LayoutOf(Work work, bool has_list) {
  Layout layout;
  std::string chunks;
  if (work == Work::EditAtEnd) layout.Tail = OldList();
  if (work == Work::EditPadded || (work == Work::Insert && has_list)) chunks = OldList();
  if (work == Work::EditPadded) chunks += Chunk("JUNK", std::string(kPadding, '\0'));
  if (work == Work::Insert) layout.ListPosition = "1";
  chunks = "WAVE" + Fmt(1, 2, 44100, 16) + chunks + "data" + LE(AudioBytes(), 4);
  const uint64_t size = chunks.size() + AudioBytes() + layout.Tail.size();
  layout.Head = "RIFF" + LE(size, 4) + chunks;
  return layout;
}

class WrittenFile {
 public:
  WrittenFile(Work work, bool has_list) : Form(LayoutOf(work, has_list)) {
    fs::create_directories(Path.parent_path());
    if (!fs::exists(Path) || fs::file_size(Path) < AudioBytes()) {
      const std::string noise = Noise(1 << 20);
      std::ofstream file(Path, std::ios::binary);
      for (uint64_t done = 0; done <= AudioBytes(); done += noise.size()) file << noise;
    }
    const fs::path settings =
        fs::path(BENCH_FOLDER) / ("write-settings" + Form.ListPosition + ".json");
    if (!fs::exists(settings)) {  // a young file would be read again and again
      std::ofstream(settings, std::ios::binary)
          << R"({"HKCU":{"Software":{"Mardel":{"Tonvark":{"Tagging":{"WaveTagDefault":1,)"
             R"("WaveLISTPadding":2,"WaveLISTPos":)"
          << Form.ListPosition << "}}}}}}";
    }
    setenv("XCLASS_XREGISTRY_LOCATION", settings.c_str(), 1);
    Handle = open(Path.c_str(), O_RDWR | O_CLOEXEC);
    Restore();
  }
  WrittenFile(const WrittenFile&) = delete;
  WrittenFile& operator=(const WrittenFile&) = delete;
  ~WrittenFile() { close(Handle); }

  // Puts head, tail and size back. What lies between may be other audio than before.
  void Restore() const {
    Put(Form.Head, 0);
    Put(Form.Tail, static_cast<off_t>(Size() - Form.Tail.size()));
    if (ftruncate(Handle, static_cast<off_t>(Size())) != 0) std::abort();
  }
  // What was written before does not disturb what is measured next.
  void Settle() const { fdatasync(Handle); }
  [[nodiscard]] std::string Read(size_t count, off_t position) const {
    std::string bytes(count, '\0');
    const ssize_t got = pread(Handle, bytes.data(), count, position);
    return bytes.substr(0, static_cast<size_t>(std::max<ssize_t>(got, 0)));
  }
  // As it is restored.
  [[nodiscard]] uint64_t Size() const { return Form.Head.size() + AudioBytes() + Form.Tail.size(); }

  const fs::path Path = fs::path(BENCH_FOLDER) / "write.wav";

 private:
  void Put(std::string_view bytes, off_t position) const {
    if (pwrite(Handle, bytes.data(), bytes.size(), position) < 0) std::abort();
  }

  Layout Form;
  int Handle = -1;
};

using Writer = std::function<bool(const WrittenFile& file, Work work)>;

bool WriteModule(const WrittenFile& file, Work /*work*/) {
  static const std::string comment = [] {
    std::string units;
    for (const char c : "Comment" + std::string(1, '\0') + std::string(kNewComment, 'n') + '\0') {
      units += LE(static_cast<unsigned char>(c), 2);
    }
    return LE(1, 4) + LE(4 + units.size(), 4) + units;
  }();
  static const auto set = TheModule().Entry<ZuSetFn>("Set");
  const STNStdReport silent{};
  const std::wstring name = file.Path.wstring();
  STZuCodecGetSet record{};
  record.Text1 = name.c_str();
  record.Data = comment.data();
  record.SubIndex = static_cast<int32_t>(comment.size());
  void* const instance = TheModule().Create(&silent);
  const bool written = set(instance, L"IDTags", &record) == 1;
  TheModule().Destroy(instance);
  return written;
}

bool WriteTagLib(const WrittenFile& file, Work /*work*/) {
  TagLib::RIFF::WAV::File wave(file.Path.c_str(), false);
  wave.InfoTag()->setComment(TagLib::String(std::string(kNewComment, 'n')));
  return wave.save(TagLib::RIFF::WAV::File::Info, TagLib::File::StripNone);
}

bool PutAll(int file, std::string_view bytes, uint64_t position) {
  return pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(position)) ==
         static_cast<ssize_t>(bytes.size());
}

// Moves what lies behind `from` towards the end, as the simplest safe loop does it.
bool ShiftTail(int file, uint64_t from, uint64_t end, uint64_t distance) {
  std::vector<char> buffer(65536);
  while (end > from) {
    const uint64_t piece = std::min<uint64_t>(buffer.size(), end - from);
    end -= piece;
    if (pread(file, buffer.data(), piece, static_cast<off_t>(end)) < 0) return false;
    if (!PutAll(file, {buffer.data(), piece}, end + distance)) return false;
  }
  return true;
}

// The least that any program has to do, which knows beforehand what is where.
bool WriteBare(const WrittenFile& file, Work work) {
  static const std::string list = List(kNewComment, 'n');
  static const std::string padding = "JUNK" + LE(kPadding - (kNewComment - kOldComment), 4);
  constexpr size_t kFirst = 36;  // the place behind `fmt `
  const int handle = open(file.Path.c_str(), O_RDWR | O_CLOEXEC);
  bool good = false;
  if (work == Work::EditPadded) {
    good = PutAll(handle, list + padding, kFirst);
  } else {
    struct stat status {};
    std::vector<char> head(4096);
    good = fstat(handle, &status) == 0 && pread(handle, head.data(), head.size(), 0) > 0;
    const auto old_end = static_cast<uint64_t>(status.st_size);
    const bool at_end = work == Work::EditAtEnd;
    const uint64_t end = old_end + list.size() - (at_end ? OldList().size() : 0);
    good = good && posix_fallocate(handle, status.st_size, static_cast<off_t>(end - old_end)) == 0;
    if (work == Work::Insert) {
      good =
          good && ShiftTail(handle, kFirst, old_end, list.size()) && PutAll(handle, list, kFirst);
    } else {
      good = good && PutAll(handle, list, end - list.size());
    }
    good = good && PutAll(handle, LE(end - 8, 4), 4);
  }
  close(handle);
  return good;
}

bool HasNewTag(const WrittenFile& file) {
  const std::string ends =
      file.Read(kPadding, 0) +
      file.Read(kPadding, static_cast<off_t>(fs::file_size(file.Path) - kPadding));
  return ends.find(std::string(kNewComment, 'n')) != std::string::npos;
}

void Measure(benchmark::State& state, const std::string& who, Work work, const Writer& write) {
  using Clock = std::chrono::steady_clock;
  const WrittenFile file(work, who == "TagLib");
  const bool moves = work == Work::Insert;
  const auto write_it = [&] {
    if (!write(file, work)) state.SkipWithError("not written");
  };
  file.Settle();
  // A move of the audio in small pieces would be traced for minutes.
  bench::TellCost(
      state, write_it, [&] { file.Restore(); }, !(moves && who == "TagLib"));
  double cpu_seconds = 0;
  for (auto _ : state) {
    const double cpu = bench::CpuSeconds();
    const auto start = Clock::now();
    write_it();
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    cpu_seconds += bench::CpuSeconds() - cpu;
    if (!HasNewTag(file)) state.SkipWithError("not written");
    file.Restore();
  }
  state.counters["cpu_seconds"] =
      benchmark::Counter(cpu_seconds, benchmark::Counter::kAvgIterations);
  file.Settle();
}

void Write_Bare(benchmark::State& state, Work work) { Measure(state, "Bare", work, WriteBare); }
void Write_Module(benchmark::State& state, Work work) {
  Measure(state, "Module", work, WriteModule);
}
void Write_TagLib(benchmark::State& state, Work work) {
  Measure(state, "TagLib", work, WriteTagLib);
}

}  // namespace

#define WRITE(who, name, work) BENCHMARK_CAPTURE(Write_##who, name, work)->UseManualTime()
#define WRITE_ALL(name, work) \
  WRITE(Bare, name, work);    \
  WRITE(Module, name, work);  \
  WRITE(TagLib, name, work)
#define INSERT(who) WRITE(who, insert, Work::Insert)->Iterations(1)
WRITE_ALL(append, Work::Append);
WRITE_ALL(edit_end, Work::EditAtEnd);
WRITE(Bare, edit_padded, Work::EditPadded);
WRITE(Module, edit_padded, Work::EditPadded);
INSERT(Bare);
INSERT(Module);
INSERT(TagLib);
