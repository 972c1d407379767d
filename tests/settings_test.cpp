#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "support/xregistry.h"
#include "support/xregistry_file.h"
#include "support/xregistry_transaction.h"
#include "tag_writing.h"

namespace wavecodec {
namespace {

using test::FileBytes;

constexpr const wchar_t* kUser = L"HKCU";
constexpr const char* kOne = "{\"HKCU\": {\"a\": 1}}";
constexpr const char* kSide = ".xregistry-rewrite";
constexpr const wchar_t* kPath = L"Software\\Vendor\\Product";

constexpr uid_t kUserId = 12345;
int StepsLeft = 0;

// A settings file in a folder of its own.
class Settings : public ::testing::Test {
 protected:
  Settings() {
    // In memory where that can be had: a disk makes each write wait for milliseconds.
    const bool memory = access("/dev/shm", W_OK) == 0;
    std::string folder =
        (memory ? "/dev/shm" : std::filesystem::temp_directory_path()) / "settingsXXXXXX";
    if (mkdtemp(folder.data()) == nullptr) throw std::runtime_error("no temporary folder");
    Folder = folder;
    File = Folder / "settings";
    setenv("XCLASS_XREGISTRY_LOCATION", File.c_str(), 1);
  }
  ~Settings() override {
    XRegistryFile::OnStep = nullptr;
    unsetenv("XCLASS_XREGISTRY_LOCATION");
    std::filesystem::remove_all(Folder);
  }

  [[nodiscard]] std::string Text() const { return FileBytes(File); }
  // Without line ends and indentation.
  [[nodiscard]] std::string FlatText() const {
    return test::Replaced(test::Replaced(Text(), "  ", ""), "\n", "");
  }
  // As a program does that knows the file and nothing else.
  void Put(std::string_view text) const { std::ofstream(File, std::ios::binary) << text; }
  [[nodiscard]] std::filesystem::path Beside(const char* ending) const {
    return File.native() + ending;
  }
  [[nodiscard]] auto FileCount() const {
    const std::filesystem::directory_iterator all(Folder);
    return std::distance(begin(all), end(all));
  }
  // Ends a write of "a" = 2 in another process before a step.
  void KillAt(const char* step) const {
    static std::string_view last;
    last = step;
    InChild([] {
      XRegistryFile::OnStep = [](const char* name) {
        if (name == last) _exit(1);
        return true;
      };
      return XRegistry::SetDWORD(2, L"a", kUser, L"") ? 0 : 1;
    });
    ASSERT_TRUE(std::filesystem::exists(Beside(kSide)));
  }
  // A user who is not the superuser.
  static void BecomeUser() {
    if (geteuid() == 0 && (setgid(kUserId) != 0 || setuid(kUserId) != 0)) _exit(99);
  }
  static bool Commit(uint32_t value, const wchar_t* name) {
    XRegistryTransaction changes;
    changes.SetDWORD(value, name, kUser, L"");
    return changes.Commit();
  }
  static uint32_t Number(const wchar_t* name) { return XRegistry::GetDWORD(name, kUser, L""); }

  // The result of `work` in another process, which ends without clearing anything up.
  static int InChild(const std::function<int()>& work) {
    const pid_t child = fork();
    if (child == 0) _exit(work());
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  std::filesystem::path Folder;
  std::filesystem::path File;
};

TEST_F(Settings, NothingThereGivesDefaults) {
  bool exists = true;
  EXPECT_EQ(XRegistry::GetDWORD(L"Choice", kUser, kPath, &exists), 0U);
  EXPECT_FALSE(exists);
  XStrList list{{L"old"}};
  EXPECT_FALSE(XRegistry::EnumKeys(list, kUser, nullptr));
  EXPECT_FALSE(XRegistry::GetStringList(list, L"a", kUser, nullptr));
  EXPECT_TRUE(list.empty());
  EXPECT_EQ(FileCount(), 0);  // reading makes no file
  for (const std::string_view text : {"", "[1]", "{\"HKCU\": {\"Choice\": 1}", "\"x\""}) {
    Put(text);
    EXPECT_EQ(XRegistry::GetDWORD(L"Choice", kUser, L""), 0U) << text;
  }
  setenv("XCLASS_XREGISTRY_LOCATION", Folder.c_str(), 1);  // no file, but a folder
  EXPECT_TRUE(XRegistry::SetDWORD(1, L"a", kUser, L""));
  EXPECT_EQ(Number(L"a"), 0U);
}

TEST_F(Settings, FindsValuesAsTheyAreNamed) {
  Put(R"({"other": 1, "HKCU": "no key", "hkcu": {"Software": {"Vendor": {"product": {
      "Choice": 7, "CHOICE": 8, "Text": "7", "Big": 4294967297, "Minus": -1, "Sub": {"x": 1},
      "sub": 5}}}}, "UNSPEC": {"": 3}})");
  const struct {
    const wchar_t* Name;
    const wchar_t* Path;
    uint32_t Value;
    bool Exists = true;
  } cases[] = {
      {L"cHOICE", kPath, 7},
      {L"cHOICE", L"software\\vendor\\product", 7},
      {L"cHOICE", L"\\\\Software\\VENDOR\\Product\\\\", 7},
      {L"Text", kPath, 0},
      {L"Sub", kPath, 5},  // the key of that name is no value
      {L"Big", kPath, 1},
      {L"Minus", kPath, UINT32_MAX},
      {L"Choice", L"Software\\\\Vendor\\Product", 0, false},
      {L"Choice", L"Software\\Vendor\\Product\\Choice", 0, false},
  };
  for (const auto& c : cases) {
    bool exists = !c.Exists;
    EXPECT_EQ(XRegistry::GetDWORD(c.Name, kUser, c.Path, &exists), c.Value) << c.Name << c.Path;
    EXPECT_EQ(exists, c.Exists) << c.Name << c.Path;
  }
  EXPECT_EQ(XRegistry::GetInt32(L"Minus", kUser, kPath), -1);
  EXPECT_EQ(XRegistry::GetInt64(L"Big", kUser, kPath), 4294967297);
  EXPECT_TRUE(XRegistry::DoesKeyExist(kUser, L"Software\\Vendor\\Product\\SUB"));
  EXPECT_FALSE(XRegistry::DoesKeyExist(kUser, L"Software\\Vendor\\Product\\Text"));

  EXPECT_EQ(XRegistry::GetDWORD(nullptr, nullptr, nullptr), 3U);
  XRegistry::SetDefault(std::wstring(kUser).c_str(), std::wstring(kPath).c_str());
  EXPECT_EQ(XRegistry::GetDWORD(L"Choice", nullptr, nullptr), 7U);
  XRegistry::SetDefault(nullptr, nullptr);

  XStrList list;
  EXPECT_TRUE(XRegistry::EnumValueNames(list, kUser, kPath));
  EXPECT_EQ(list, (XStrList{{L"Choice", L"CHOICE", L"Text", L"Big", L"Minus", L"sub"}}));
  EXPECT_TRUE(XRegistry::EnumKeys(list, kUser, kPath));
  EXPECT_EQ(list, (XStrList{{L"Sub"}}));
}

TEST_F(Settings, EveryKindOfValueComesBack) {
  const uint8_t bytes[] = {0, 1, 254, 255, 63};
  EXPECT_TRUE(XRegistry::SetDWORD(UINT32_MAX, L"dword", kUser, kPath));
  XRegistry::SetInt32(INT32_MIN, L"int", kUser, kPath);
  XRegistry::SetInt64(INT64_MIN, L"long", kUser, kPath);
  XRegistry::SetString(L"a/b \"\xE9\x1F600", L"string", kUser, kPath);
  XRegistry::SetBinaryData(L"bytes", bytes, sizeof bytes, kUser, kPath);
  XRegistry::SetStringList({{L"x", L"", L"y\\"}}, L"list", kUser, kPath);
  EXPECT_EQ(XRegistry::GetDWORD(L"dword", kUser, kPath), UINT32_MAX);
  EXPECT_EQ(XRegistry::GetInt32(L"int", kUser, kPath), INT32_MIN);
  EXPECT_EQ(XRegistry::GetInt64(L"long", kUser, kPath), INT64_MIN);
  EXPECT_EQ(XRegistry::GetString(L"string", kUser, kPath), L"a/b \"\xE9\x1F600");
  XMem memory;
  ASSERT_TRUE(XRegistry::GetBinaryDataToXMem(L"bytes", memory, kUser, kPath));
  ASSERT_EQ(memory.Size(), sizeof bytes);
  EXPECT_EQ(memcmp(memory.Data(), bytes, sizeof bytes), 0);
  uint8_t part[3] = {};
  EXPECT_EQ(XRegistry::GetBinaryData(L"bytes", part, 2, kUser, kPath), 2U);
  EXPECT_EQ(part[1], 1);
  EXPECT_FALSE(XRegistry::GetBinaryDataToXMem(L"string", memory, kUser, kPath));
  XStrList list;
  EXPECT_TRUE(XRegistry::GetStringList(list, L"list", kUser, kPath));
  EXPECT_EQ(list, (XStrList{{L"x", L"", L"y\\"}}));
  EXPECT_FALSE(XRegistry::GetStringList(list, L"string", kUser, kPath));
  EXPECT_EQ(XRegistry::GetValueLength(L"bytes", kUser, kPath), 5U);
  EXPECT_EQ(XRegistry::GetValueLength(L"string", kUser, kPath), 7U);
  EXPECT_EQ(XRegistry::GetString(L"dword", kUser, kPath), L"");
  EXPECT_EQ(FlatText(), R"({"HKCU": {"Software": {"Vendor": {"Product": {"dword": 4294967295,)"
                        R"("int": -2147483648,"long": -9223372036854775808,"string": "a\/b \")"
                        "\xC3\xA9\xF0\x9F\x98\x80"
                        R"(","bytes": "AAH+\/z8=","list": ["x", "", "y\\"]}}}}})");
}

TEST_F(Settings, AWriteLeavesEverythingElseAsItWas) {
  Put("{\"Z\": 1e400, \"HKCU\": {\"a\": [0.10, {}], \"key\": 1, \"b\": \"\\ud800\xFF/\", \"a\": "
      "2}}");
  XRegistry::SetDWORD(5, L"B", kUser, L"KEY");  // a value of that name is no key
  XRegistry::DeleteVal(L"A", kUser, nullptr);
  EXPECT_EQ(FlatText(),
            "{\"Z\": 1e400,\"HKCU\": {\"key\": 1,\"b\": \"\\ud800\xFF/\",\"KEY\": {\"B\": 5}}}");
  XRegistry::DeleteKeyAndSubKeys(kUser, L"\\key\\");
  EXPECT_TRUE(XRegistry::DoesValueExist(L"key", kUser, L""));
  XRegistry::DeleteKeyAndSubKeys(L"hkcu", L"");
  EXPECT_EQ(Text(), "{\n  \"Z\": 1e400\n}\n");
  EXPECT_EQ(FileCount(), 1);
}

TEST_F(Settings, TransactionsAreWrittenAtOnce) {
  XRegistry::SetDWORD(1, L"a", kUser, L"one");
  const std::string before = Text();
  XRegistryTransaction changes;
  changes.SetDWORD(2, L"b", kUser, L"one\\two");
  EXPECT_EQ(changes.GetDWORD(L"a", kUser, L"one"), 1U);
  EXPECT_EQ(changes.GetDWORD(L"B", kUser, L"one\\two"), 2U);
  changes.CopyKey(kUser, L"one", kUser, L"one\\copy");  // into itself
  changes.CopyKey(kUser, L"none", kUser, L"none of that");
  changes.DeleteVal(L"a", kUser, L"one");
  changes.DeleteKeyAndSubKeys(kUser, L"one\\two");
  EXPECT_FALSE(changes.DoesKeyExist(kUser, L"one\\two"));
  EXPECT_EQ(Text(), before);
  // What another process writes meanwhile stays.
  ASSERT_EQ(InChild([] { return XRegistry::SetDWORD(9, L"c", kUser, L"one") ? 0 : 1; }), 0);
  EXPECT_TRUE(changes.Commit());
  EXPECT_EQ(FlatText(), R"({"HKCU": {"one": {"c": 9,"copy": {"a": 1,"c": 9,"two": {"b": 2}}}}})");
  // What could not be read again is not written.
  const std::string whole = Text();
  changes.SetString(XStr(1U << 24, L'x'), L"x", kUser, L"");
  EXPECT_FALSE(changes.Commit());
  EXPECT_EQ(Text(), whole);
  EXPECT_EQ(FileCount(), 1);
}

TEST_F(Settings, SeesWhatOthersWriteAtOnce) {
  // Of one length and within one tick of the file's clock.
  for (uint32_t i = 100; i < 400; ++i) {
    Put("{\"HKCU\": {\"a\": " + std::to_string(i) + "}}");
    ASSERT_EQ(Number(L"a"), i);
  }
  // Long after the last write the document is believed, until the file changes.
  usleep(60000);
  EXPECT_EQ(Number(L"a"), 399U);
  ASSERT_EQ(InChild([] { return XRegistry::SetDWORD(700, L"a", kUser, L"") ? 0 : 1; }), 0);
  EXPECT_EQ(Number(L"a"), 700U);
  std::filesystem::remove(File);
  EXPECT_EQ(Number(L"a"), 0U);
  // Also when the time of the last write is set by hand.
  for (uint32_t i = 1; i < 5; ++i) {
    Put("{\"HKCU\": {\"a\": " + std::to_string(i) + "}}");
    const timespec times[2] = {{INT64_MAX / 2, 1}, {INT64_MAX / 2, 1}};
    utimensat(AT_FDCWD, File.c_str(), times, 0);
    EXPECT_EQ(Number(L"a"), i);
  }
  // So is the place of the file.
  Put(kOne);
  std::filesystem::copy_file(File, Folder / "second");
  XRegistry::SetDWORD(2, L"a", kUser, L"");
  setenv("XCLASS_XREGISTRY_LOCATION", "~/second", 1);
  const std::string home = getenv("HOME") != nullptr ? getenv("HOME") : "";
  setenv("HOME", Folder.c_str(), 1);
  EXPECT_EQ(Number(L"a"), 1U);
  XRegistry::SetRegFileLocation(File.wstring().c_str());
  EXPECT_TRUE(XRegistry::IsRegFileLocationSet());
  EXPECT_EQ(Number(L"a"), 2U);
  XRegistry::SetRegFileLocation(nullptr);
  EXPECT_EQ(XRegistry::RegFileLocation(), (Folder / "second").wstring());
  unsetenv("HOME");
  EXPECT_EQ(XRegistry::RegFileLocation(), L"");
  setenv("HOME", home.c_str(), 1);
}

TEST_F(Settings, ADamagedFileIsKeptBesideBeforeItIsReplaced) {
  const std::pair<const char*, const char*> cases[] = {
      {"{\"precious\": ", ".damaged"},
      {"[]", ".damaged2"},
      {"[]", ".damaged2"},
      {"{", ".damaged"},
  };
  for (const auto& [text, beside] : cases) {
    Put(text);
    XRegistry::SetDWORD(1, L"a", kUser, L"");
    EXPECT_EQ(Number(L"a"), 1U);
    EXPECT_EQ(FileBytes(Beside(beside)), text);
  }
  EXPECT_EQ(FileCount(), 3);
}

// Kills the writer before each of its steps, in a document of several pieces and for texts that
// grow, shrink and begin.
TEST_F(Settings, AKillAtAnyStepLeavesTheOldOrTheNewDocument) {
  const std::string large(150000, 'x');
  const std::string bodies[] = {"", "{\"HKCU\": {\"a\": 1, \"b\": 1}}",
                                "{\"HKCU\": {\"a\": 1, \"b\": \"" + large + "\"}}"};
  const auto write = [](const XStr& value) {
    XRegistryTransaction changes;
    changes.SetDWORD(2, L"a", kUser, L"");
    changes.SetString(value, L"b", kUser, L"");
    return changes.Commit();
  };
  for (const std::string& old : bodies) {
    for (const size_t length : {1U, 200000U}) {
      for (int step = 0, status = 1; status != 0; ++step) {
        ASSERT_LT(step, 100);
        Put(old);
        status = InChild([&] {
          StepsLeft = step;
          XRegistryFile::OnStep = [](const char*) {
            if (StepsLeft-- == 0) _exit(1);
            return true;
          };
          return write(XStr(length, L'y')) ? 0 : 2;
        });
        ASSERT_NE(status, 2);
        const size_t found = XRegistry::GetString(L"b", kUser, L"").size();
        if (Number(L"a") == 2) {
          EXPECT_EQ(found, length) << step;
        } else {
          EXPECT_TRUE(Number(L"a") == (old.empty() ? 0 : 1) && status != 0) << step;
          EXPECT_EQ(Text().substr(0, old.size()), old) << step;
        }
        // The next write works, and nothing is left behind.
        XRegistry::SetDWORD(3, L"c", kUser, L"");
        EXPECT_EQ(Number(L"c"), 3U);
        EXPECT_FALSE(std::filesystem::exists(Beside(kSide))) << step;
      }
    }
  }
  EXPECT_LE(FileCount(), 3);  // two texts that were not taken are kept
}

TEST_F(Settings, AStepThatFailsLeavesTheFileAsItWas) {
  for (const std::string old : {kOne, "{\"HKCU\": ", ""}) {
    for (int step = 0; step < 9; ++step) {
      Put(old);
      StepsLeft = step;
      XRegistryFile::OnStep = [](const char*) { return StepsLeft-- != 0; };
      XRegistryTransaction changes;
      changes.SetString(XStr(1000, L'x'), L"b", kUser, L"");
      EXPECT_FALSE(changes.Commit()) << step;
      EXPECT_EQ(Text(), old) << step;
      XRegistryFile::OnStep = nullptr;
      EXPECT_FALSE(std::filesystem::exists(Beside(kSide))) << step;
    }
  }
}

TEST_F(Settings, ALimitOfTheFileSizeLeavesTheFileAsItWas) {
  XRegistry::SetDWORD(1, L"a", kUser, L"");
  const std::string before = Text();
  EXPECT_EQ(InChild([] {
              const rlimit limit{1000, 1000};
              setrlimit(RLIMIT_FSIZE, &limit);
              XRegistryTransaction changes;
              changes.SetString(XStr(980, L'x'), L"b", kUser, L"");
              return changes.Commit() ? 1 : 0;
            }),
            0);
  EXPECT_EQ(Text(), before);
  EXPECT_EQ(FileCount(), 1);
}

TEST_F(Settings, ALeftSideFileNeverUndoesWhatCameLater) {
  for (const char* step : {"claim room", "write", "remove side"}) {
    for (const std::string_view later : {"{\"HKCU\": {\"a\": 7}}", kOne}) {
      Put(kOne);
      KillAt(step);
      Put(later);
      const uint32_t now = later == kOne ? 1 : 7;
      EXPECT_EQ(Number(L"a"), now) << step;
      EXPECT_TRUE(Commit(8, L"b"));
      EXPECT_EQ(Number(L"a"), now) << step;
      EXPECT_EQ(FileBytes(Beside(".damaged")), "{\n  \"HKCU\": {\n    \"a\": 2\n  }\n}\n");
      EXPECT_EQ(FileCount(), 2) << step;  // kept once, however often
    }
  }
  std::filesystem::remove(Beside(".damaged"));
  // A side file without its text is nothing, and neither is one whose text is in the file.
  for (const char* step : {"write side", "write side text", "remove side"}) {
    Put(kOne);
    KillAt(step);
    EXPECT_EQ(Number(L"a"), *step == 'r' ? 2U : 1U);
    EXPECT_TRUE(Commit(8, L"b"));
    EXPECT_EQ(FileCount(), 1);
  }
  // A reader that may not write looks into the side file.
  Put(kOne);
  KillAt("write");
  XRegistryFile::OnStep = [](const char*) { return false; };
  EXPECT_EQ(Number(L"a"), 2U);
  XRegistry::SetDWORD(3, L"a", kUser, L"");
  EXPECT_EQ(Number(L"a"), 2U);
  XRegistryFile::OnStep = nullptr;
  // On a slow machine what was read is old enough to be believed.
  std::filesystem::last_write_time(File, std::filesystem::file_time_type::clock::now());
  EXPECT_EQ(Number(L"a"), 2U);
  EXPECT_EQ(FileCount(), 1);
}

TEST_F(Settings, ASideFileThatCannotBeReadNowIsReadLater) {
  Put(kOne);
  KillAt("write");
  usleep(60000);  // old enough to be believed
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  const int next = dup(0);
  close(next);
  const rlimit one{static_cast<rlim_t>(next) + 1, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &one);
  EXPECT_EQ(Number(L"a"), 0U);
  EXPECT_FALSE(Commit(1, L"b"));
  setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_EQ(Number(L"a"), 2U);
}

TEST_F(Settings, TheSuperuserLocksNobodyOut) {
  if (geteuid() != 0) GTEST_SKIP() << "only the superuser can write for somebody else";
  ASSERT_EQ(chown(Folder.c_str(), kUserId, kUserId), 0);
  Put(kOne);
  ASSERT_EQ(chown(File.c_str(), kUserId, kUserId), 0);
  ASSERT_EQ(chmod(File.c_str(), 0640), 0);
  KillAt("write");
  struct stat side {};
  ASSERT_EQ(stat(Beside(kSide).c_str(), &side), 0);
  EXPECT_EQ(side.st_uid, kUserId);
  EXPECT_EQ(side.st_gid, kUserId);
  EXPECT_EQ(side.st_mode & 0777, 0640U);
  ASSERT_EQ(chown(Beside(kSide).c_str(), 0, 0), 0);  // as if that had failed
  ASSERT_EQ(chmod(Beside(kSide).c_str(), 0644), 0);
  EXPECT_EQ(InChild([] {
              BecomeUser();
              return Commit(3, L"b") && Number(L"a") == 2 ? 0 : 1;
            }),
            0);
  EXPECT_EQ(FileCount(), 1);
}

TEST_F(Settings, AreWrittenWhereNoSideFileCanBe) {
  Put(kOne);
  std::ofstream(Beside(kSide)) << "notes of the user";
  EXPECT_TRUE(Commit(2, L"a"));
  EXPECT_EQ(FileBytes(Beside(kSide)), "notes of the user");
  std::filesystem::remove(Beside(kSide));
  std::filesystem::create_directory(Beside(kSide));
  EXPECT_TRUE(Commit(3, L"a"));
  std::filesystem::remove(Beside(kSide));
  chmod(File.c_str(), 0666);
  chmod(Folder.c_str(), 0555);
  EXPECT_EQ(InChild([] {
              BecomeUser();
              return Number(L"a") == 3 && Commit(4, L"a") ? 0 : 1;
            }),
            0);
  chmod(Folder.c_str(), 0755);
  EXPECT_EQ(Number(L"a"), 4U);
}

TEST_F(Settings, ALockThatIsKeptHoldsNoReaderUp) {
  XRegistry::SetDWORD(1, L"a", kUser, L"");
  const int file = open(File.c_str(), O_RDWR);
  ASSERT_EQ(flock(file, LOCK_EX), 0);
  EXPECT_EQ(Number(L"a"), 1U);  // read without the lock
  ASSERT_EQ(pwrite(file, "", 1, 0), 1);
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(Number(L"a"), 1U);  // read before
  close(file);
  EXPECT_EQ(Number(L"a"), 0U);
}

TEST_F(Settings, EightProcessesLoseNoUpdate) {
  constexpr uint32_t kProcesses = 8;
  constexpr uint32_t kUpdates = 1000;
  for (uint32_t number = 0; number < kProcesses; ++number) {
    if (fork() != 0) continue;
    const XStr own = L"p" + std::to_wstring(number);
    for (uint32_t i = 1; i <= kUpdates; ++i) {
      if (i % 2 == 0) XRegistry::SetDWORD(i, own.c_str(), kUser, L"own");
      XRegistryTransaction changes;
      if (!changes.Lock()) _exit(1);
      changes.SetDWORD(changes.GetDWORD(L"n", kUser, L"") + 1, L"n", kUser, L"");
      if (!changes.Commit()) _exit(1);
    }
    _exit(0);
  }
  for (int status = 0; wait(&status) > 0;) EXPECT_EQ(status, 0);
  EXPECT_EQ(Number(L"n"), kProcesses * kUpdates);
  for (uint32_t i = 0; i < kProcesses; ++i) {
    EXPECT_EQ(XRegistry::GetDWORD((L"p" + std::to_wstring(i)).c_str(), kUser, L"own"), kUpdates);
  }
  EXPECT_EQ(FileCount(), 1);
}

}  // namespace
}  // namespace wavecodec
