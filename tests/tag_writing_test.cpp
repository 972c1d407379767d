// Layouts after writing and deleting tags, and files that are left alone.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

#include "strict_walker.h"
#include "tag_text.h"
#include "tag_writing.h"

namespace wavecodec {
namespace {

using namespace test;

const std::string kFmt = Fmt(1, 2, 44100, 16);
const std::string kData = Chunk("data", Noise(400));
const std::string kOddData = "data" + LE(401, 4) + Noise(401);
const std::string kBext = Chunk("bext", "d" + std::string(601, '\0'));
const std::string kFact = Chunk("fact", "1234");

std::string Zeros(size_t count) { return std::string(count, '\0'); }
std::string Junk(size_t size, const char* id = "JUNK") { return Chunk(id, Zeros(size)); }
std::string Info(const std::string& items) { return Chunk("LIST", "INFO" + items); }
std::string Item(const char* id, const std::string& text) { return Chunk(id, text + Zeros(1)); }
std::string Id3(const std::string& frames) { return Chunk("id3 ", Tag(3, 0, Frames(3, frames))); }
const std::string kTitle = Item("INAM", "T");
const std::string kArtist = Item("IART", "A");
const std::string kList = Info(kTitle + kArtist);                // 24 bytes
const std::string kOddList = Info("IART" + LE(5, 4) + "Queen");  // 17 bytes
const std::string kId3 = Id3("TIT2 ~T");

std::string Rf64(const std::string& chunks, uint64_t data = 400, uint64_t holes = 0) {
  const std::string ds64 = LE(40 + chunks.size() + holes, 8) + LE(data, 8) + LE(data / 4, 8);
  return "RF64" + LE(0xFFFFFFFF, 4) + "WAVE" + Chunk("ds64", ds64 + LE(0, 4)) + chunks;
}

// "Title=T; Artist=A" writes, "-Title; Artist" deletes, "-" deletes everything.
bool Do(const std::string& work, const std::wstring& file, const STNStdReport& report = {}) {
  Instance instance(report);
  if (!work.starts_with("-")) return SetTags(instance, file, SetOf(work));
  std::vector<std::wstring> names;
  for (const std::string& name : Items(work.substr(1)))
    names.emplace_back(name.begin(), name.end());
  return DeleteTags(instance, file, names);
}

constexpr char kBoth[] = "Title=T; Artist=A";
const std::string kMark = "data" + LE(0xFFFFFFFF, 4) + Noise(400);
constexpr char kLonger[] = "Comment=01234567890123456789";  // 30 bytes of a LIST

TEST(TagWriting, Layouts) {
  const struct {
    const char* options;
    std::string chunks;
    const char* work;
    const char* shape;
  } cases[] = {
      // New chunks.
      {"", kFmt + kData, kBoth, "fmt 16, data 400, LIST 24, id3 36"},
      {"D1", kFmt + kData, kBoth, "fmt 16, data 400, LIST 24"},
      {"D2", kFmt + kData, kBoth, "fmt 16, data 400"},
      {"D1", kFmt + kData + Junk(100), kBoth, "fmt 16, data 400, LIST 24, JUNK 68"},
      {"D1", kFmt + kOddData, kBoth, "fmt 16, data 401, LIST 24"},
      {"D1", kFmt + "data" + LE(500, 4) + Noise(400), kBoth, "fmt 16, data 400, LIST 24"},
      {"D1P1", kFmt + kData, kBoth, "fmt 16, LIST 24, data 400"},
      {"D1P1S4T1", kFmt + kData, kBoth, "fmt 16, LIST 24, PAD 16376, data 400"},
      // A padding chunk before `data` gives its room; what lies between moves, the audio does not.
      {"D1P1", kFmt + Junk(100) + kData, kBoth, "fmt 16, LIST 24, JUNK 68, data 400"},
      {"D1P1", Junk(100) + kFmt + kData, kBoth, "JUNK 68, fmt 16, LIST 24, data 400"},
      // Larger.
      {"", kFmt + kList + Junk(100) + kData, kLonger, "fmt 16, LIST 54, JUNK 70, data 400"},
      {"S1", kFmt + kList + kData, kLonger, "fmt 16, LIST 54, JUNK 1016, data 400"},
      // Smaller.
      {"", kFmt + kList + kData, "-Artist", "fmt 16, LIST 14, JUNK 2, data 400"},
      {"T2", kFmt + kList + kData, "-Artist", "fmt 16, LIST 14, data 400"},
      {"", kFmt + Info(kArtist) + kData, "-Artist", "fmt 16, JUNK 14, data 400"},
      // Everything.
      {"", kFmt + kData + kOddList + Junk(101) + kFact, "-", "fmt 16, data 400, JUNK 128, fact 4"},
      {"T2", kBext + kFmt + kData + kOddList + kId3, "-", "fmt 16, data 400"},
      // Room of 1 to 7 bytes can be no chunk, and no gap either.
      {"D1P1", kFmt + Junk(31) + kData, kBoth, "fmt 16, LIST 24, JUNK 0, data 400"},
      {"", kFmt + kOddList + kData, "Artist=AB", "fmt 16, LIST 18, data 400"},
      {"D1P1", Junk(24) + kFmt + kData, kBoth, "fmt 16, LIST 24, data 400"},
      // `bext`.
      {"D2", Junk(1000) + kFmt + kData, "Description=d", "bext 602, JUNK 390, fmt 16, data 400"},
      {"", kBext + Junk(390) + kFmt + kData, "-", "JUNK 1000, fmt 16, data 400"},
      {"", kFmt + kData + kBext, "CodingHistory=0123456789", "fmt 16, data 400, bext 616"},
      // Bytes behind the container stay there; one has neither a pad byte nor a size that counts it.
      {"", Riff(kFmt + kOddData) + "+", kBoth, "fmt 16, data 401, LIST 24, id3 36, +"},
      {"", Riff(kFmt + kData + kList) + "+", "-Title", "fmt 16, data 400, LIST 14, JUNK 2, +"},
      // RF64.
      {"D1", Rf64(kFmt + kMark), kBoth, "ds64 28, fmt 16, data 400, LIST 24"},
      {"D1", Rf64(Junk(610) + kFmt + kMark), "Description=d",
       "ds64 28, bext 602, JUNK 0, fmt 16, data 400"},
  };
  for (const auto& c : cases) {
    const bool whole = c.chunks.starts_with("RIFF") || c.chunks.starts_with("RF64");
    const StoredOptions options(c.options);
    const TempFile file(whole ? c.chunks : Riff(c.chunks));
    SCOPED_TRACE(WalkedFile(FileBytes(file.Path)).Shape() + " " + c.options + " " + c.work);
    EXPECT_TRUE(Do(c.work, file.Name()));
    const std::string once = FileBytes(file.Path);
    const WalkedFile walked(once);
    EXPECT_EQ(walked.Shape() + (walked.Trailing.empty() ? "" : ", ") + std::string(walked.Trailing),
              c.shape);
    ASSERT_NE(walked.Find("data"), nullptr);
    EXPECT_EQ(walked.Find("data")->Body.substr(0, 400), Noise(400));
    // What is there already changes nothing.
    EXPECT_TRUE(Do(c.work, file.Name()));
    EXPECT_TRUE(FileBytes(file.Path) == once);
  }
}

// What is written is what is read, and what is deleted is gone.
TEST(TagWriting, SeveralChunksOfOneKind) {
  const StoredOptions options("");
  const std::string other = Info(Item("IART", "B") + kTitle);
  const std::string bext = Chunk("bext", "e" + Zeros(601));
  const std::string chunks = kBext + kList + kId3 + kFmt + kData + Id3("TIT2 ~U") + bext + other;
  const std::pair<const char*, const char*> cases[] = {
      {"Artist=N; Title=M; Description=x",
       "Title=M; Artist=N; TagVersion=ID3v2.3; Description=x; TimeReference=0; "},
      {"-Artist; Title; Description; TimeReference", ""},
      {"-", ""},
  };
  for (const auto& [work, tags] : cases) {
    const TempFile file(Riff(chunks));
    EXPECT_TRUE(Do(work, file.Name()));
    Instance instance;
    EXPECT_TRUE(instance.Open(file.Name(), ZuOpenTags));
    const NTag read = SetIn(instance.Record.tagData, instance.Record.tagSize);
    EXPECT_EQ(Text(read), tags + std::string("_riff_1==fmt ; _riff_2==data")) << work;
    EXPECT_EQ(WalkedFile(FileBytes(file.Path)).Fault, "");
  }
}

// Bytes that the code page lacks, line ends, fields without a tag.
TEST(TagWriting, WhatNobodyChangedKeepsItsBytes) {
  const StoredOptions options("");
  const std::string utf8 = Item("IART", "\xC3\x81") + Item("IXYZ", "whatever");
  const std::string tail = std::string(246, 'u') + "A=PCM\r\nB=x\r\n";
  const std::string before = "\xC4\x8D" + Zeros(254);
  const TempFile file(Riff(Chunk("bext", before + Zeros(100) + tail) + kFmt + kData + Info(utf8)));
  EXPECT_TRUE(Do("Title=T; OrigTime=1", file.Name()));
  const std::string bytes = FileBytes(file.Path);
  for (const std::string& kept :
       {Item("IART", "\xC3\x81"), Item("IXYZ", "whatever"), before + Zeros(74) + "1", tail}) {
    EXPECT_NE(bytes.find(kept), std::string::npos) << kept;
  }
}

TEST(TagWriting, EveryValueOfANameIsWritten) {
  const StoredOptions options("");
  const std::string genre = Item("IGNR", "y");
  const TempFile file(Riff(kFmt + kData + Info(kArtist + kArtist + genre)));
  EXPECT_TRUE(Do("Artist=A; Genre=y; Genre=z", file.Name()));
  EXPECT_EQ(FileBytes(file.Path), Riff(kFmt + kData + Info(kArtist + genre + Item("IGNR", "z"))));
}

// The exit status of a child process that does something there is no way back from.
int InChild(const std::function<int()>& work) {
  const pid_t child = fork();
  if (child == 0) _exit(work());
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// The file of each case stays as it is, and the report says why; writing as well as deleting.
void ExpectRefusal(const std::filesystem::path& path, const std::string& what) {
  for (const char* work : {kBoth, "Description=d", "-", "-Artist; Description"}) {
    CapturedReport report;
    EXPECT_FALSE(Do(work, path.wstring(), report.Record)) << what << work;
    EXPECT_NE(report.Errors(), "") << what << work;
  }
}

TEST(TagWriting, RefusesWhatItDoesNotUnderstand) {
  const StoredOptions options("");
  const std::string empty = Chunk("data", "");
  const std::string cases[] = {
      "",
      Riff(kFmt),
      Riff(kData + kList),
      Noise(1000),
      Riff(kFmt + empty) + Noise(400),
      "RIFF" + LE(0, 4) + "WAVE" + kFmt + kData,
      "RIFX" + Riff(kFmt + kData).substr(4),
      "RIFF" + LE(500, 4) + "AVI " + kFmt + kData,
  };
  for (const std::string& bytes : cases) {
    const TempFile file(bytes);
    ExpectRefusal(file.Path, bytes.substr(0, 100));
    EXPECT_EQ(FileBytes(file.Path), bytes);
  }
}

TEST(TagWriting, RefusesWhatIsNoWritableFile) {
  const StoredOptions options("");
  const TempFile place;
  std::filesystem::remove(place.Path);
  ExpectRefusal(place.Path, "missing ");
  EXPECT_FALSE(std::filesystem::exists(place.Path));
  ASSERT_EQ(mkfifo(place.Path.c_str(), 0600), 0);
  ExpectRefusal(place.Path, "FIFO ");
  ExpectRefusal(std::filesystem::temp_directory_path(), "folder ");
  const TempFile file(Riff(kFmt + kData + kList));
  chmod(file.Path.c_str(), 0444);
  const auto refuse = [&] {
    if (geteuid() == 0 && setuid(12345) != 0) return 2;
    ExpectRefusal(file.Path, "read-only ");
    return HasFailure() ? 1 : 0;
  };
  EXPECT_EQ(InChild(refuse), 0);
  EXPECT_EQ(FileBytes(file.Path), Riff(kFmt + kData + kList));
}

TEST(TagWriting, RecordsThatSayNothing) {
  const TempFile file(Riff(kFmt + kData));
  const std::wstring name = file.Name();
  const std::tuple<const wchar_t*, const void*, int32_t, uint32_t> cases[] = {
      {nullptr, "\0\0\0", 4, 0},
      {name.c_str(), nullptr, 4, 0},
      {name.c_str(), "\0\0\0", -1, 0},
      {L"/nonexistent/file", "\0\0\0", 4, 1}};
  Instance instance;
  for (const auto& [path, data, size, result] : cases) {
    STZuCodecGetSet record{};
    record.Text1 = path;
    record.Data = data;
    record.SubIndex = size;
    EXPECT_EQ(instance.M.Set(instance.Self, L"IDTags", &record), result) << size;
  }
  EXPECT_EQ(instance.M.DeleteATag(instance.Self, nullptr, nullptr), 0U);
  EXPECT_EQ(FileBytes(file.Path), Riff(kFmt + kData));
}

TEST(TagWriting, ALimitOfTheFilesSizeLeavesItAsItWas) {
  const std::string whole = Riff(kFmt + Chunk("data", Noise(39000)) + kList);
  for (const char* choices : {"", "D1P1"}) {
    const StoredOptions options(choices);
    const TempFile file(whole);
    const auto write = [&] {
      const rlimit limit{whole.size() + 2, whole.size() + 2};
      setrlimit(RLIMIT_FSIZE, &limit);
      return Do("Comment=" + std::string(20000, 'c'), file.Name()) ? 1 : 0;
    };
    EXPECT_EQ(InChild(write), 0);
    EXPECT_TRUE(FileBytes(file.Path) == whole) << choices;
  }
}

TEST(TagWriting, FilesBeyond4GiB) {
  // Holes behind the first bytes. Not on /dev/shm, where a fault could fill the memory.
  constexpr uint64_t kAudio = uint64_t{9} << 29;
  const std::string head =
      Rf64(Junk(1000) + kFmt + Junk(4096) + "data" + LE(0xFFFFFFFF, 4), kAudio, kAudio);
  const TempFile file(head);
  const size_t size = head.size() + kAudio;
  if (truncate(file.Path.c_str(), static_cast<off_t>(size)) != 0) GTEST_SKIP() << "no such files";
  const StoredOptions options("");
  const TempFile full("RIFF" + LE(0xFFFFFFF0, 4) + "WAVE" + kFmt + "data" + LE(0xFFFFFFCC, 4));
  std::filesystem::resize_file(full.Path, 0xFFFFFFF8);
  EXPECT_FALSE(Do(kBoth, full.Name()));
  EXPECT_EQ(std::filesystem::file_size(full.Path), 0xFFFFFFF8);
  const std::pair<const char*, std::string> steps[] = {
      {"Title=T; Description=d", "Title=T; TagVersion=ID3v2.3; Description=d; TimeReference=0; "},
      {"-", ""}};
  for (const auto& [work, tags] : steps) {
    EXPECT_TRUE(Do(work, file.Name()));
    Instance instance;
    EXPECT_TRUE(instance.Open(file.Name(), ZuOpenTags));
    const NTag read = SetIn(instance.Record.tagData, instance.Record.tagSize);
    EXPECT_EQ(Text(read), tags + "_riff_1==fmt ; _riff_2==data");
    EXPECT_EQ(std::filesystem::file_size(file.Path), size);
    struct stat now {};
    stat(file.Path.c_str(), &now);
    EXPECT_LT(now.st_blocks, 64) << "holes have been moved";
  }
}

}  // namespace
}  // namespace wavecodec
