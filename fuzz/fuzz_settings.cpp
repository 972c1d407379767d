// The text of a settings file: parsed, looked at, edited, written and parsed again.
#include "fuzz_target.h"
#include "support/base64.h"
#include "support/json.h"
#include "support/utf8.h"
#include "support/xregistry_value.h"

namespace wavecodec::fuzz {

std::vector<Seed> Seeds() {
  return {
      {"options",
       R"(1{"HKCU":{"Software":{"Mardel":{"Tonvark":{"Tagging":{"WaveLISTPos":1,"b":"x"}}}}}})"},
      {"every value",
       R"( {"HKCU":{"a":[1,"two",{"c":null}],"A":-1.5e300,"b":true,"c":"\u00e9\ud83d)"
       R"(\ude00\n","d":"AAECAw==","e":18446744073709551616,"":{},"n":[[]]}})"},
      {"twice", R"(3{"hkcu":{"x":1},"HKCU":{"X":"1","x":{"y":2}},"HKCU":3})"},
      {"deep", "2" + std::string(R"({"a":)") + std::string(200, '[') + std::string(200, ']') + "}"},
      {"broken", R"(4{"a":"\x","b")"},
  };
}

namespace {

constexpr XRegistryKey kKey{L"HKCU", L"Software\\Mardel"};

// Every way of looking at a value.
void Look(const JsonDocument& document, JsonDocument::ObjectId key, std::wstring_view name) {
  const XRegistryValue value(document, key, name);
  XMem memory;
  XStrList list;
  Check(value.List(list) || list.empty());
  Check(value.Exists() || (value.Number() == 0 && value.String().empty() && list.empty()));
  uint8_t few[3];
  Check(value.Bytes(few, sizeof few) <= sizeof few);
  if (value.Bytes(memory)) Check(memory.Size() <= value.Length() + value.String().size());
}

void LookAtAll(const JsonDocument& document, JsonDocument::ObjectId object, unsigned depth) {
  for (const JsonDocument::Member& member : document.MembersOf(object)) {
    if (member.IsObject() && depth < 50) LookAtAll(document, member.Object, depth + 1);
    if (!member.IsObject()) JsonStringElements(member.Text);
    const std::string_view name = std::string_view(member.Key).substr(1, member.Key.size() - 2);
    Look(document, object, std::wstring(name.begin(), name.end()));
  }
}

void Edit(JsonDocument& document, uint8_t edits) {
  const auto key = kKey.Make(document);
  Check(kKey.Find(document) == key);
  if ((edits & 1) != 0) document.SetValue(key, L"n\u00E9w \"", "[\"1\"]");
  if ((edits & 2) != 0) document.Remove(JsonDocument::kRoot, L"A", (edits & 8) != 0);
  if ((edits & 4) != 0) kKey.Delete(document);
  JsonDocument other;
  Check(other.Parse(R"({"HKCU":{"a":{"c":2},"b":3}})"));
  if ((edits & 16) != 0) document.Merge(JsonDocument::kRoot, other, JsonDocument::kRoot);
}

}  // namespace
}  // namespace wavecodec::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace wavecodec;
  using namespace wavecodec::fuzz;
  std::string_view input = Text(data, size);
  const uint8_t edits = TakeByte(input);
  JsonDocument document;
  if (!document.Parse(input)) Check(document.MembersOf(JsonDocument::kRoot).empty());
  for (int round = 0; round < 2; ++round) {
    const std::string written = document.Write();
    JsonDocument again;
    Check(again.Parse(written) && again.Write() == written, written);
    LookAtAll(document, JsonDocument::kRoot, 0);
    Edit(document, edits);
  }
  return 0;
}
