#include "support/json.h"

#include <gtest/gtest.h>

#include <sstream>

#include "support/base64.h"
#include "support/json_text.h"

namespace wavecodec {
namespace {

std::string Rewritten(std::string_view text) {
  JsonDocument document;
  return document.Parse(text) ? document.Write() : "invalid";
}

TEST(Json, KeepsEverythingThatIsNotEdited) {
  // Written as it was read, apart from the layout: order, doubles, numbers as they are spelled,
  // escapes, lone surrogates, bytes that are no UTF-8, arrays with all that is in them.
  const std::string text =
      "{\n  \"z\": 1e400,\n  \"a\": -0.10,\n  \"z\": 12345678901234567890,\n  \"\": "
      "\"\\ud800\\/\",\n"
      "  \"k\\u00e9\xC3\xA9\": {\n    \"b\": \"\xFF\xED\xA0\x80\\\\\",\n    \"empty\": {},\n"
      "    \"B\": [1, {\"x\": [ ]}, \"]\\\"\"]\n  },\n  \"t\": true,\n  \"n\": null\n}\n";
  EXPECT_EQ(Rewritten(text), text);
  EXPECT_EQ(Rewritten("\xEF\xBB\xBF {\"a\":{\"b\":[ ]},\r\n\t\"c\":0} "),
            "{\n  \"a\": {\n    \"b\": [ ]\n  },\n  \"c\": 0\n}\n");
  // A document that breaks off is invalid at every place, and nothing is read past its end.
  for (size_t length = 0; length + 2 < text.size(); ++length) {
    const std::vector<char> exact(text.begin(), text.begin() + static_cast<ptrdiff_t>(length));
    EXPECT_FALSE(JsonDocument().Parse({exact.data(), length})) << length;
  }
}

TEST(Json, RefusesWhatIsNoDocument) {
  std::istringstream texts(
      R"(; ;[];1;"a";{;};{}};{},;{} {};{,};{"a"};{"a":};{"a":1,};{"a":1 "b":2};{a:1};{'a':1};)"
      R"({"a":01};{"a":+1};{"a":1.};{"a":.5};{"a":1e};{"a":1e+};{"a":-};{"a":0x1};{"a":NaN};)"
      R"({"a":tru};{"a":truex};{"a":True};{"a":[1,]};{"a":[,]};{"a":[1 2]};{"a":[1};{"a":{]};)"
      R"({"a":["b":1]};{"a":"\x"};{"a":"\u12g4"};{"a":"\u12;{/**/};{"a":"\"};{"a":1}x;)"
      "{\"a\":\"\n\"};\xEF\xBB{}");
  for (std::string text; std::getline(texts, text, ';');) {
    EXPECT_EQ(Rewritten(text), "invalid") << text;
  }
  EXPECT_EQ(Rewritten(std::string_view("{}\0", 3)), "invalid");
}

TEST(Json, IsSafeOnDeepNesting) {
  const auto repeated = [](std::string_view piece) {
    std::string out;
    for (int i = 0; i < 100000; ++i) out += piece;
    return out;
  };
  EXPECT_EQ(Rewritten("{\"a\":" + repeated("[{\"a\":")), "invalid");
  const std::string written = Rewritten(repeated("{\"a\":") + "[0]" + repeated("}"));
  EXPECT_NE(written, "invalid");
  EXPECT_EQ(Rewritten(written), written);
}

// So many that a search of all members for each would take minutes.
TEST(Json, ManyMembersAreEditedInNoTime) {
  constexpr auto kRoot = JsonDocument::kRoot;
  JsonDocument document;
  ASSERT_TRUE(document.Parse(R"({"N7": 1, "n7": 2})"));
  for (int i = 0; i < 100000; ++i) {
    const std::string number = std::to_string(i % 50000);
    document.SetValue(kRoot, (i % 3 == 0 ? L"n" : L"N") + XStr(number.begin(), number.end()),
                      number);
  }
  EXPECT_EQ(document.MembersOf(kRoot).size(), 50001U);
  EXPECT_EQ(document.MembersOf(kRoot)[0].Text, "7");  // the first one, in its place
  document.Remove(kRoot, L"n7", false);
  EXPECT_EQ(document.FindValue(kRoot, L"n7"), nullptr);
  EXPECT_EQ(*document.FindValue(kRoot, L"N49999"), "49999");
}

TEST(Json, StringsMeanTheirCharacters) {
  const wchar_t lone = 0xD800;
  EXPECT_EQ(ToJsonString(L"\"\\/\b\f\n\r\t\x01\x7F \xE9\x20AC\x1F600"),
            "\"\\\"\\\\\\/\\b\\f\\n\\r\\t\\u0001\\u007f \xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\"");
  EXPECT_EQ(ToJsonString(XStr{lone, 0}), "\"\\ud800\\u0000\"");
  EXPECT_EQ(FromJsonString("\"\\ud83d\\uDE00\\\"\\/\xC3\xA9\xFF\""), L"\x1F600\"/\xE9\xFFFD");
  EXPECT_EQ(FromJsonString("\"\\ud800\\u0041\\udc00\""), (XStr{lone, L'A', 0xDC00}));
  EXPECT_TRUE(JsonStringIs("\"Wave\\u0054\xC3\xA9\"", L"wAVEt\xE9"));
  EXPECT_FALSE(JsonStringIs("\"\xC3\x89\"", L"\xE9") ||  // only ASCII letters have a case here
               JsonStringIs("\"ab\"", L"a") || JsonStringIs("\"a\"", L"ab"));
  EXPECT_EQ(JsonStringElements("[ \"a\", 1, [\"b\"], {\"c\": \"d\"} ,\"\\\"]\" ]"),
            (std::vector<std::string_view>{"\"a\"", "\"\\\"]\""}));
}

TEST(Json, NumbersAreCutToIntegers) {
  // The text and its meaning.
  std::istringstream numbers(
      "0 0 -7 -7 1.9 1 -0.99 0 12.5e1 125 1250e-2 12 0.00012e7 1200 18446744073709551615 -1 "
      "1e-999999999999999999999 0 0.0e999999999999999999999 0 "
      "9223372036854775807 9223372036854775807 18446744073709551616 9223372036854775807 "
      "1e400 9223372036854775807 -1e999999999999999999999 -9223372036854775808 "
      "-9223372036854775808 -9223372036854775808 -9223372036854775809 -9223372036854775808");
  std::string number;
  for (int64_t value = 0; numbers >> number >> value;) {
    EXPECT_EQ(FromJsonNumber(number), value) << number;
  }
  for (const std::string_view text : {"\"1\"", "true", "null", "[1]"}) {
    EXPECT_FALSE(FromJsonNumber(text)) << text;
  }
}

TEST(Base64, ThereAndBack) {
  const std::pair<std::string_view, std::wstring_view> pairs[] = {
      {"", L""}, {"f", L"Zg=="}, {"fo", L"Zm8="}, {"foo", L"Zm9v"}, {"\xFB\xFF\xFE!", L"+//+IQ=="}};
  XMem memory;
  for (const auto& [bytes, text] : pairs) {
    const std::string coded =
        ToBase64(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    EXPECT_EQ(FromUtf8(coded), text);
    ASSERT_TRUE(FromBase64(text, memory));
    EXPECT_EQ(std::string_view(reinterpret_cast<char*>(memory.Data()), memory.Size()), bytes);
  }
  for (const std::wstring_view text :
       {L"Z", L"Zg=", L"Zg", L"Zg==Zg==", L"Z===", L"Zm 9", L"Zm9-", L"====", L"=g=="}) {
    EXPECT_FALSE(FromBase64(text, memory));
    EXPECT_TRUE(memory.IsEmpty());
  }
}

}  // namespace
}  // namespace wavecodec
