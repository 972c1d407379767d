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
  void PutNumber(uint32_t number) const {
    Put("{\"HKCU\": {\"a\": " + std::to_string(number) + "}}");
  }
  [[nodiscard]] std::filesystem::path Beside(const char* ending) const {
    return File.native() + ending;
  }
  [[nodiscard]] auto FileCount() const {
    const std::filesystem::directory_iterator all(Folder);
    return std::distance(begin(all), end(all));
  }
  // Ends a write of "a" = 2 to kOne in another process before a step.
  void KillAt(const char* step) const {
    static std::string_view last;
    last = step;
    Put(kOne);
    InChild([] {
      XRegistryFile::OnStep = [](const char* name) {
        if (name == last) _exit(1);
        return true;
      };
      return Commit(2, L"a");
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
  static bool CommitText(size_t length, uint32_t value = 1) {
    XRegistryTransaction changes;
    changes.SetDWORD(value, L"a", kUser, L"");
    changes.SetString(XStr(length, L'y'), L"b", kUser, L"");
    return changes.Commit();
  }
  static uint32_t Number(const wchar_t* name) { return XRegistry::GetDWORD(name, kUser, L""); }

  // Whether work succeeds in another process, which ends without clearing anything up.
  static bool InChild(const std::function<bool()>& work) {
    const pid_t child = fork();
    if (child == 0) _exit(work() ? 0 : 1);
    int status = -1;
    waitpid(child, &status, 0);
    return status == 0;
  }

  std::filesystem::path Folder;
  std::filesystem::path File;
};

TEST_F(Settings, NothingThereGivesDefaults) {
  XStrList list{{L"old"}};
  EXPECT_FALSE(XRegistry::EnumKeys(list, kUser, nullptr) ||
               XRegistry::GetStringList(list, L"a", kUser, nullptr));
  EXPECT_TRUE(list.empty());
  EXPECT_EQ(FileCount(), 0);  // reading makes no file
  for (const std::string_view text : {"", "[1]", "{\"HKCU\": {\"a\": 1}", "\"x\""}) {
    Put(text);
    EXPECT_EQ(Number(L"a"), 0U) << text;
  }
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
      {L"cHOICE", L"\\\\software\\VENDOR\\Product\\\\", 7},
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
  const XStr text = L"a/b \"\xE9\x1F600";
  const XStrList texts{{L"x", L"", L"y\\"}};
  const auto put = [&](auto&& store) {
    EXPECT_TRUE(store.SetDWORD(UINT32_MAX, L"dword", kUser, kPath));
    store.SetInt32(INT32_MIN, L"int", kUser, kPath);
    store.SetInt64(INT64_MIN, L"long", kUser, kPath);
    store.SetString(text, L"string", kUser, kPath);
    store.SetBinaryData(L"bytes", bytes, sizeof bytes, kUser, kPath);
    store.SetStringList(texts, L"list", kUser, kPath);
  };
  const auto look = [&](auto&& store) {
    EXPECT_EQ(store.GetDWORD(L"dword", kUser, kPath), UINT32_MAX);
    EXPECT_EQ(store.GetInt32(L"int", kUser, kPath), INT32_MIN);
    EXPECT_EQ(store.GetInt64(L"long", kUser, kPath), INT64_MIN);
    EXPECT_EQ(store.GetString(L"string", kUser, kPath), text);
    EXPECT_EQ(store.GetString(L"dword", kUser, kPath), L"");
    XMem memory;
    ASSERT_TRUE(store.GetBinaryDataToXMem(L"bytes", memory, kUser, kPath));
    EXPECT_TRUE(std::equal(bytes, std::end(bytes), memory.Data(), memory.Data() + memory.Size()));
    XStrList list;
    EXPECT_TRUE(store.GetStringList(list, L"list", kUser, kPath) && list == texts);
    EXPECT_FALSE(store.GetBinaryDataToXMem(L"string", memory, kUser, kPath) ||
                 store.GetStringList(list, L"string", kUser, kPath));
  };
  XRegistryTransaction dropped;
  put(dropped);
  look(dropped);
  put(XRegistry());
  look(XRegistry());
  EXPECT_EQ(XRegistry::GetValueLength(L"bytes", kUser, kPath), sizeof bytes);
  EXPECT_EQ(XRegistry::GetValueLength(L"string", kUser, kPath), text.size());
  uint8_t part[3] = {};
  EXPECT_EQ(XRegistry::GetBinaryData(L"bytes", part, 2, kUser, kPath), 2U);
  EXPECT_TRUE(part[1] == 1 && part[2] == 0);
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
  ASSERT_TRUE(InChild([] { return XRegistry::SetDWORD(9, L"c", kUser, L"one"); }));
  EXPECT_TRUE(changes.Commit());
  EXPECT_EQ(FlatText(), R"({"HKCU": {"one": {"c": 9,"copy": {"a": 1,"c": 9,"two": {"b": 2}}}}})");
}

TEST_F(Settings, SeesWhatOthersWriteAtOnce) {
  // Of one length and within one tick of the file's clock, or with a time that is set by hand.
  for (uint32_t i = 100; i < 400; ++i) {
    PutNumber(i);
    const timespec times[2] = {{INT64_MAX / 2, 1}, {INT64_MAX / 2, 1}};
    if (i < 105) utimensat(AT_FDCWD, File.c_str(), times, 0);
    ASSERT_EQ(Number(L"a"), i);
  }
  // Long after the last write the document is believed, until the file changes.
  usleep(60000);
  EXPECT_EQ(Number(L"a"), 399U);
  ASSERT_TRUE(InChild([] { return Commit(700, L"a"); }));
  EXPECT_EQ(Number(L"a"), 700U);
  std::filesystem::remove(File);
  EXPECT_EQ(Number(L"a"), 0U);
}

TEST_F(Settings, TheFileIsWhereTheProgramOrTheEnvironmentSays) {
  PutNumber(2);
  std::ofstream(Folder / "second") << kOne;
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
  setenv("XCLASS_XREGISTRY_LOCATION", Folder.c_str(), 1);  // no file, but a folder
  EXPECT_TRUE(!Commit(1, L"a") && Number(L"a") == 0);
}

TEST_F(Settings, ADamagedFileIsKeptBesideBeforeItIsReplaced) {
  const std::pair<const char*, const char*> cases[] = {
      {"{\"precious\": ", ".damaged"}, {"[]", ".damaged2"}, {"[]", ".damaged2"}};
  for (const auto& [text, beside] : cases) {
    Put(text);
    EXPECT_TRUE(Commit(1, L"a"));
    EXPECT_EQ(Number(L"a"), 1U);
    EXPECT_EQ(FileBytes(Beside(beside)), text);
  }
  EXPECT_EQ(FileCount(), 3);
}

// Kills the writer before each of its steps, in a document of several pieces and for texts that
// grow, shrink and begin.
TEST_F(Settings, AKillAtAnyStepLeavesTheOldOrTheNewDocument) {
  const std::string large = "{\"HKCU\": {\"a\": 1, \"b\": \"" + std::string(150000, 'x') + "\"}}";
  for (const std::string& old : {std::string(), std::string(kOne), large}) {
    for (const size_t length : {1U, 200000U}) {
      bool done = false;
      for (int step = 0; !done; ++step) {
        ASSERT_LT(step, 100);
        Put(old);
        done = InChild([&] {
          StepsLeft = step;
          XRegistryFile::OnStep = [](const char*) {
            if (StepsLeft-- == 0) _exit(1);
            return true;
          };
          return CommitText(length, 2);
        });
        if (Number(L"a") == 2) {
          EXPECT_EQ(XRegistry::GetString(L"b", kUser, L"").size(), length) << step;
        } else {
          EXPECT_TRUE(Number(L"a") == (old.empty() ? 0 : 1) && !done) << step;
          EXPECT_EQ(Text().substr(0, old.size()), old) << step;
        }
        // The next write works, and nothing is left behind.
        EXPECT_TRUE(Commit(3, L"c") && Number(L"c") == 3) << step;
        EXPECT_FALSE(std::filesystem::exists(Beside(kSide))) << step;
      }
    }
  }
  EXPECT_LE(FileCount(), 3);  // two texts that were not taken are kept
}

TEST_F(Settings, AWriteThatFailsLeavesTheFileAsItWas) {
  for (const std::string old : {kOne, "{\"HKCU\": ", ""}) {
    for (int step = 0; step < 9; ++step) {
      Put(old);
      StepsLeft = step;
      XRegistryFile::OnStep = [](const char*) { return StepsLeft-- != 0; };
      EXPECT_FALSE(CommitText(1000)) << step;
      XRegistryFile::OnStep = nullptr;
      EXPECT_TRUE(Text() == old && !std::filesystem::exists(Beside(kSide))) << step;
    }
  }
  Put(kOne);
  EXPECT_FALSE(CommitText(1U << 24));  // what could not be read again
  EXPECT_TRUE(InChild([] {
    const rlimit limit{1000, 1000};
    setrlimit(RLIMIT_FSIZE, &limit);
    return !CommitText(980);
  }));
  EXPECT_TRUE(Text() == kOne && !std::filesystem::exists(Beside(kSide)));
}

TEST_F(Settings, ALeftSideFileNeverUndoesWhatCameLater) {
  for (const char* step : {"claim room", "write", "remove side"}) {
    for (const uint32_t later : {7U, 1U}) {
      KillAt(step);
      PutNumber(later);
      EXPECT_EQ(Number(L"a"), later) << step;
      EXPECT_TRUE(Commit(8, L"b"));
      EXPECT_EQ(Number(L"a"), later) << step;
      EXPECT_EQ(FileBytes(Beside(".damaged")), "{\n  \"HKCU\": {\n    \"a\": 2\n  }\n}\n");
      EXPECT_EQ(FileCount(), 2) << step;  // kept once, however often
    }
  }
  std::filesystem::remove(Beside(".damaged"));
  // A reader that may not write looks into the side file.
  KillAt("write");
  XRegistryFile::OnStep = [](const char*) { return false; };
  EXPECT_EQ(Number(L"a"), 2U);
  EXPECT_FALSE(Commit(3, L"a"));
  EXPECT_EQ(Number(L"a"), 2U);
  XRegistryFile::OnStep = nullptr;
  // On a slow machine what was read is old enough to be believed.
  std::filesystem::last_write_time(File, std::filesystem::file_time_type::clock::now());
  EXPECT_EQ(Number(L"a"), 2U);
  EXPECT_EQ(FileCount(), 1);
}

TEST_F(Settings, ASideFileThatCannotBeReadNowIsReadLater) {
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
  Put(kOne);
  ASSERT_TRUE(chown(Folder.c_str(), kUserId, kUserId) == 0 &&
              chown(File.c_str(), kUserId, kUserId) == 0 && chmod(File.c_str(), 0640) == 0);
  KillAt("write");
  const std::filesystem::path path = Beside(kSide);
  struct stat side {};
  ASSERT_EQ(stat(path.c_str(), &side), 0);
  EXPECT_TRUE(side.st_uid == kUserId && side.st_gid == kUserId && (side.st_mode & 0777) == 0640);
  ASSERT_TRUE(chown(path.c_str(), 0, 0) == 0 && chmod(path.c_str(), 0644) == 0);  // had that failed
  EXPECT_TRUE(InChild([] {
    BecomeUser();
    return Commit(3, L"b") && Number(L"a") == 2;
  }));
  EXPECT_EQ(FileCount(), 1);
}

TEST_F(Settings, AreWrittenWhereNoSideFileCanBe) {
  Put(kOne);
  std::ofstream(Beside(kSide)) << "notes of the user";
  EXPECT_TRUE(Commit(2, L"a"));
  EXPECT_EQ(FileBytes(Beside(kSide)), "notes of the user");
  std::filesystem::remove(Beside(kSide));
  chmod(File.c_str(), 0666);
  chmod(Folder.c_str(), 0555);
  EXPECT_TRUE(InChild([] {
    BecomeUser();
    return Number(L"a") == 2 && Commit(4, L"a");
  }));
  chmod(Folder.c_str(), 0755);
  EXPECT_EQ(Number(L"a"), 4U);
}

TEST_F(Settings, ALockThatIsKeptHoldsNoReaderUp) {
  Put(kOne);
  const int file = open(File.c_str(), O_RDWR);
  ASSERT_EQ(flock(file, LOCK_EX), 0);
  EXPECT_EQ(Number(L"a"), 1U);  // read without the lock
  ASSERT_EQ(pwrite(file, "", 1, 0), 1);
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(Number(L"a"), 1U);  // read before
  close(file);
  EXPECT_EQ(Number(L"a"), 0U);
}

TEST_F(Settings, EightProcessesLoseNoUpdate) {
  for (int number = 0; number < 8; ++number) {
    if (fork() != 0) continue;
    for (int i = 0; i < 1000; ++i) {
      XRegistryTransaction changes;
      if (!changes.Lock()) _exit(1);
      changes.SetDWORD(changes.GetDWORD(L"n", kUser, L"") + 1, L"n", kUser, L"");
      if (!changes.Commit()) _exit(1);
    }
    _exit(0);
  }
  for (int status = 0; wait(&status) > 0;) EXPECT_EQ(status, 0);
  EXPECT_EQ(Number(L"n"), 8000U);
}

}  // namespace
}  // namespace wavecodec
