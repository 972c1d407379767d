// What a file's tags are after each change, told without the module: which field goes where, which
// one is seen, and what is kept.
#pragma once

#include <algorithm>
#include <cwctype>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "options_json.h"
#include "tag_entries.h"

namespace wavecodec::fuzz {

using Fields = std::map<std::wstring, std::wstring>;  // by lower-case name; payloads as characters
using test::Choices;

// Names and the room that they have in `bext`.
inline const std::map<std::wstring, size_t> kBextNames = {
    {L"description", 256}, {L"originator", 32},       {L"origreference", 32}, {L"origdate", 10},
    {L"origtime", 8},      {L"codinghistory", 10000}, {L"timereference", 20}};
inline const std::vector<std::wstring> kListNames = {
    L"title",     L"artist", L"album",   L"genre",    L"comment", L"track",
    L"copyright", L"year",   L"subject", L"keywords", L"_cdtoc"};
inline constexpr wchar_t kNot1252 = L'\u4E00';

inline std::wstring Lower(std::wstring text) {
  for (wchar_t& c : text) c = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(c)));
  return text;
}
inline std::wstring As1252(std::wstring text, wchar_t instead) {
  std::replace(text.begin(), text.end(), kNot1252, instead);
  return text;
}

// What a file's chunks hold.
struct Model {
  std::optional<Fields> List, Bext, Id3;
  unsigned Revision = 3;
  std::string PrivateFrame;  // in the ID3 tag
  std::string ForeignText;   // in the list

  [[nodiscard]] Fields View() const {
    Fields view = Id3.value_or(Fields{});
    if (Id3) view[L"tagversion"] = L"ID3v2." + std::to_wstring(Revision);
    if (List) view.insert(List->begin(), List->end());
    if (Bext) view.insert(Bext->begin(), Bext->end());
    return view;
  }
  void Write(const Entries& entries, const Choices& choices) {
    Fields first;  // of several values
    Fields all;
    for (const auto& [spelling, value] : entries) {
      const std::wstring name = Lower(spelling);
      if (name.starts_with(L"_riff_")) continue;
      first.emplace(name, value);
      const auto [place, is_new] = all.emplace(name, value);
      if (!is_new) place->second += L'\r' + value;
      if (!kBextNames.contains(name)) continue;
      if (!Bext) Bext = Fields{{L"timereference", L"0"}};
      (*Bext)[name] = As1252(value.substr(0, kBextNames.at(name)), L'_');
    }
    Rebuild(first, all, {}, choices);
  }
  void Delete(const std::vector<std::wstring>& names, const Choices& choices) {
    if (names.empty()) {
      *this = {};
      return;
    }
    if (Bext) {
      for (const std::wstring& name : names) Bext->erase(Lower(name));
      if (!Bext->empty()) Bext->emplace(L"timereference", L"0");
      if (Bext->empty()) Bext.reset();
    }
    Rebuild({}, {}, names, choices);
  }

 private:
  void Rebuild(Fields first, Fields all, const std::vector<std::wstring>& deleted,
               const Choices& choices) {
    Fields view = View();
    for (const std::wstring& name : deleted) view.erase(Lower(name));
    first.insert(view.begin(), view.end());
    all.insert(view.begin(), view.end());
    const unsigned made = List || Id3 ? 2 : choices.at('D');
    if (List || made <= 1) {
      List.emplace();
      for (const std::wstring& name : kListNames) {
        if (first.contains(name)) List->emplace(name, As1252(first.at(name), L'_'));
      }
      if (List->empty() && ForeignText.empty()) List.reset();
    }
    if (!Id3 && made != 0 && made != 3) return;
    const Fields before = Id3.value_or(Fields{});
    Id3.emplace();
    for (const auto& [name, value] : all) {
      if (name == L"tagversion" || (Bext && Bext->contains(name) && Bext->at(name) == value)) {
        continue;
      }
      const auto old = before.find(name);
      const bool whole = choices.at('U') != 0 || (old != before.end() && old->second == value);
      Id3->emplace(name, whole ? value : As1252(value, L'?'));
    }
    if (Id3->empty() && PrivateFrame.empty()) {
      Id3.reset();
      Revision = 3;
    }
  }
};

}  // namespace wavecodec::fuzz
