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
#include "system_calls.h"
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

// Writes once, and says in the counters what that was. The time that it took, in seconds.
double WriteOnce(benchmark::State& state, const WrittenFile& file, Work work, const Writer& write) {
  const bench::IoCounts before = bench::ProcessIo();
  const auto start = std::chrono::steady_clock::now();
  const bool good = write(file, work);
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
  const bench::IoCounts after = bench::ProcessIo();
  if (!good || !HasNewTag(file)) state.SkipWithError("not written");
  const auto count = [&](const char* counter, uint64_t value) {
    state.counters[counter] = static_cast<double>(value);
  };
  count("grown", fs::file_size(file.Path) - file.Size());
  count("bytes", after.BytesWritten - before.BytesWritten);
  count("writes", after.Writes - before.Writes);
  file.Restore();
  return time.count();
}

void Measure(benchmark::State& state, const std::string& who, Work work, const Writer& write) {
  using Clock = std::chrono::steady_clock;
  const WrittenFile file(work, who == "TagLib");
  file.Settle();
  if (work == Work::Insert || (who == "TagLib" && work == Work::EditPadded)) {
    for (auto _ : state) state.SetIterationTime(WriteOnce(state, file, work, write));
    file.Settle();
    return;  // one move of the audio is enough
  }
  WriteOnce(state, file, work, write);  // and does what only a first call does
  const std::string name = "Write_" + who + std::to_string(static_cast<int>(work));
  state.counters["calls"] = bench::SystemCalls(name, [&] { write(file, work); });
  file.Restore();
  for (auto _ : state) {
    const auto start = Clock::now();
    const bool good = write(file, work);
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    if (!good) state.SkipWithError("not written");
    file.Restore();
  }
}

void Write_Bare(benchmark::State& state, Work work) { Measure(state, "Bare", work, WriteBare); }
void Write_Module(benchmark::State& state, Work work) {
  Measure(state, "Module", work, WriteModule);
}
void Write_TagLib(benchmark::State& state, Work work) {
  Measure(state, "TagLib", work, WriteTagLib);
}

}  // namespace

#define WRITE(who, name, work) \
  BENCHMARK_CAPTURE(Write_##who, name, work)->Unit(benchmark::kMicrosecond)->UseManualTime()
#define WRITE_SMALL(who, name, work) WRITE(who, name, work)->MinTime(0.2)
#define WRITE_LARGE(who, name, work, times) \
  WRITE(who, name, work)->Iterations(1)->Repetitions(times)
WRITE_SMALL(Bare, append, Work::Append);
WRITE_SMALL(Module, append, Work::Append);
WRITE_SMALL(TagLib, append, Work::Append);
WRITE_SMALL(Bare, edit_end, Work::EditAtEnd);
WRITE_SMALL(Module, edit_end, Work::EditAtEnd);
WRITE_SMALL(TagLib, edit_end, Work::EditAtEnd);
WRITE_SMALL(Bare, edit_padded, Work::EditPadded);
WRITE_SMALL(Module, edit_padded, Work::EditPadded);
WRITE_LARGE(TagLib, edit_padded, Work::EditPadded, 3);
WRITE_LARGE(Bare, insert, Work::Insert, 7);
WRITE_LARGE(Module, insert, Work::Insert, 7);
WRITE_LARGE(TagLib, insert, Work::Insert, 3);
