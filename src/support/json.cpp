#include "support/json.h"

#include <algorithm>
#include <utility>

#include "support/json_scanner.h"
#include "support/json_text.h"
#include "support/xstr.h"

namespace wavecodec {
namespace {

constexpr size_t kFewSearches = 16;

// Differs from run to run, so that no file can be made whose names all meet in one place.
uint64_t HashOf(std::wstring_view name, bool object) {
  static const char anchor = 0;
  uint64_t hash = reinterpret_cast<uintptr_t>(&anchor) ^ (object ? 1U : 0U);
  for (const wchar_t c : name) {
    hash = (hash ^ static_cast<uint32_t>(FoldCase(c))) * 0x9E3779B97F4A7C15;
    hash ^= hash >> 32;
  }
  return hash;
}

}  // namespace

// Reads a whole document in one loop. Objects become members; an array is only checked and its text
// kept, whatever lies in it.
class JsonDocument::Reader {
 public:
  Reader(std::string_view text, std::vector<Members>& objects) : Scan(text), Objects(objects) {}

  bool Run() {
    Scan.SkipSpace();
    if (!Scan.Take('{')) return false;
    Open.push_back({kRoot, false, 0});
    bool first = true;
    while (!Open.empty()) {
      Scan.SkipSpace();
      if (Scan.Take(Open.back().Array ? ']' : '}')) {
        Close();
        first = false;
        continue;
      }
      if (!first && !Scan.Take(',')) return false;
      const size_t depth = Open.size();
      if (!TakeItem()) return false;
      first = Open.size() > depth;
    }
    Scan.SkipSpace();
    return Scan.AtEnd();
  }

 private:
  struct Level {
    ObjectId Object;  // kNone inside an array
    bool Array;
    size_t Start;
  };

  // The object that is being filled here; null inside an array.
  Members* Target() { return Open.back().Object == kNone ? nullptr : &Objects[Open.back().Object]; }

  bool TakeItem() {
    Scan.SkipSpace();
    Member member;
    if (!Open.back().Array) {
      const size_t key = Scan.Where();
      if (!Scan.TakeString()) return false;
      if (Target() != nullptr) member.Key = Scan.Since(key);
      Scan.SkipSpace();
      if (!Scan.Take(':')) return false;
      Scan.SkipSpace();
    }
    const size_t start = Scan.Where();
    const bool object = Scan.Take('{');
    const bool array = !object && Scan.Take('[');
    if (object || array) {
      Enter(std::move(member), array, start);
      return true;
    }
    if (!Scan.TakeScalar()) return false;
    if (Target() != nullptr) {
      member.Text = Scan.Since(start);
      Target()->push_back(std::move(member));
    }
    return true;
  }

  void Enter(Member member, bool array, size_t start) {
    ObjectId inside = kNone;
    if (Members* target = Target(); target != nullptr) {
      if (!array) inside = member.Object = Objects.size();
      target->push_back(std::move(member));
      if (!array) Objects.emplace_back();
    }
    Open.push_back({inside, array, start});
  }

  void Close() {
    const Level closed = Open.back();
    Open.pop_back();
    if (!closed.Array || Open.empty() || Target() == nullptr) return;
    Target()->back().Text = Scan.Since(closed.Start);
  }

  JsonScanner Scan;
  std::vector<Members>& Objects;
  std::vector<Level> Open;
};

bool JsonDocument::Parse(std::string_view text) {
  Changed = false;
  Indexes.clear();
  Objects.assign(1, {});
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);  // a byte order mark
  if (Reader(text, Objects).Run()) return true;
  Objects.assign(1, {});
  return false;
}

std::string JsonDocument::Write() const {
  // No deeper: a document of many small members deep down would grow hundredfold otherwise.
  constexpr size_t kMaxIndent = 32;
  std::string out = "{";
  std::vector<std::pair<ObjectId, size_t>> open = {{kRoot, 0}};  // and the next member of each
  while (!open.empty()) {
    const Members& members = Objects[open.back().first];
    const size_t index = open.back().second++;
    if (index == members.size()) {
      open.pop_back();
      if (index != 0) out.append(1, '\n').append(std::min(2 * open.size(), kMaxIndent), ' ');
      out += '}';
      continue;
    }
    out += index == 0 ? "\n" : ",\n";
    out.append(std::min(2 * open.size(), kMaxIndent), ' ').append(members[index].Key).append(": ");
    if (members[index].IsObject()) {
      out += '{';
      open.emplace_back(members[index].Object, 0);
    } else {
      out += members[index].Text;
    }
  }
  return out += '\n';
}

size_t JsonDocument::IndexOf(ObjectId in, std::wstring_view name, bool object) const {
  const Members& members = Objects[in];
  const auto matches = [&](const Member& member) {
    return member.IsObject() == object && JsonStringIs(member.Key, name);
  };
  const auto index = Indexes.find(in);
  if (index != Indexes.end() && !index->second.Places.empty()) {
    const auto place = index->second.Places.find(HashOf(name, object));
    if (place == index->second.Places.end()) return SIZE_MAX;
    if (matches(members[place->second])) return place->second;
    // Two names with one hash: only the first of them has its place there.
  }
  const auto found = std::find_if(members.begin(), members.end(), matches);
  return found == members.end() ? SIZE_MAX : static_cast<size_t>(found - members.begin());
}

void JsonDocument::PrepareSearch(ObjectId in) {
  const Members& members = Objects[in];
  if (members.size() <= kFewSearches) return;
  Index& index = Indexes[in];
  if (++index.Searches <= kFewSearches || !index.Places.empty()) return;
  for (size_t i = 0; i < members.size(); ++i) {
    index.Places.emplace(HashOf(FromJsonString(members[i].Key), members[i].IsObject()), i);
  }
}

void JsonDocument::Append(ObjectId in, Member member, std::wstring_view name) {
  Changed = true;
  const auto index = Indexes.find(in);
  if (index != Indexes.end() && !index->second.Places.empty()) {
    index->second.Places.emplace(HashOf(name, member.IsObject()), Objects[in].size());
  }
  Objects[in].push_back(std::move(member));
}

JsonDocument::ObjectId JsonDocument::FindObject(ObjectId in, std::wstring_view name) const {
  const size_t index = IndexOf(in, name, true);
  return index == SIZE_MAX ? kNone : Objects[in][index].Object;
}

const std::string* JsonDocument::FindValue(ObjectId in, std::wstring_view name) const {
  const size_t index = IndexOf(in, name, false);
  return index == SIZE_MAX ? nullptr : &Objects[in][index].Text;
}

JsonDocument::ObjectId JsonDocument::MakeObject(ObjectId in, std::wstring_view name) {
  PrepareSearch(in);
  const ObjectId found = FindObject(in, name);
  if (found != kNone) return found;
  Objects.emplace_back();
  Append(in, {ToJsonString(name), {}, Objects.size() - 1}, name);
  return Objects.size() - 1;
}

void JsonDocument::SetValue(ObjectId in, std::wstring_view name, std::string_view text) {
  PrepareSearch(in);
  const size_t index = IndexOf(in, name, false);
  if (index == SIZE_MAX) {
    Append(in, {ToJsonString(name), std::string(text), kNone}, name);
  } else if (Objects[in][index].Text != text) {
    Objects[in][index].Text = text;
    Changed = true;
  }
}

void JsonDocument::Remove(ObjectId in, std::wstring_view name, bool objects) {
  const size_t removed = std::erase_if(Objects[in], [&](const Member& member) {
    return member.IsObject() == objects && JsonStringIs(member.Key, name);
  });
  if (removed == 0) return;
  Indexes.erase(in);
  Changed = true;
}

void JsonDocument::Merge(ObjectId target, const JsonDocument& other, ObjectId source) {
  std::vector<std::pair<ObjectId, ObjectId>> left = {{target, source}};
  while (!left.empty()) {
    const auto [to, from] = left.back();
    left.pop_back();
    for (const Member& member : other.Objects[from]) {
      const XStr name = FromJsonString(member.Key);
      if (member.IsObject()) {
        left.emplace_back(MakeObject(to, name), member.Object);
      } else {
        SetValue(to, name, member.Text);
      }
    }
  }
}

std::vector<std::string_view> JsonStringElements(std::string_view array) {
  std::vector<std::string_view> strings;
  if (!array.starts_with('[')) return strings;
  JsonScanner scan(array);
  for (size_t depth = 0; !scan.AtEnd(); scan.SkipSpace()) {
    const size_t start = scan.Where();
    const char c = scan.Peek();
    if (c == '[' || c == '{') ++depth;
    if (c == ']' || c == '}') --depth;
    if (std::string_view("[]{},:").find(c) != std::string_view::npos) {
      scan.Take(c);
    } else if (!scan.TakeScalar()) {
      break;
    } else if (c == '"' && depth == 1) {
      strings.push_back(scan.Since(start));
    }
  }
  return strings;
}

}  // namespace wavecodec
