#include "tags/tag_writing.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "id3v2/meta_map.h"
#include "id3v2/tag_bridge.h"
#include "module/report/std_report.h"
#include "riff/chunk_id.h"
#include "riff/chunk_reader.h"
#include "riff/riff_handler.h"
#include "riff/riff_recovery.h"
#include "support/names.h"
#include "support/xfile.h"
#include "support/xtemp_file.h"
#include "tags/bext_chunk.h"
#include "tags/list_chunk.h"
#include "tags/set/tag_set.h"
#include "tags/tag_options.h"
#include "tags/tag_reading.h"

namespace wavecodec {
namespace {

constexpr size_t kListTypeSize = 4;

enum class Edit { Write, DeleteNamed, DeleteAll };

// The entries by name, those of one name in their order.
std::vector<NTag::Entry> ByName(const NTag& tags) {
  std::vector<NTag::Entry> entries;
  entries.reserve(tags.Count());
  for (size_t i = 0; i < tags.Count(); ++i) entries.push_back(tags.At(i));
  const auto before = [](char a, char b) { return ToLowerASCII(a) < ToLowerASCII(b); };
  std::stable_sort(entries.begin(), entries.end(), [&](const auto& a, const auto& b) {
    return std::lexicographical_compare(a.Name.begin(), a.Name.end(), b.Name.begin(), b.Name.end(),
                                        before);
  });
  return entries;
}

// Whether two sets say the same, in whatever order of names.
bool SameTags(const NTag& a, const NTag& b) {
  if (a.Count() != b.Count()) return false;
  const auto first = ByName(a);
  const auto second = ByName(b);
  return std::equal(first.begin(), first.end(), second.begin(), [](const auto& x, const auto& y) {
    return SameName(x.Name, y.Name) && x.Value == y.Value &&
           std::equal(x.Data.begin(), x.Data.end(), y.Data.begin(), y.Data.end());
  });
}

bool IsPadding(const std::optional<STRIFFChunk>& chunk) {
  return chunk && IsPaddingID(chunk->ChunkID);
}

// Adds what is wanted; the assignment of a set keeps the first entry of each name only.
template <typename Wanted>
void AddAll(NTag& tags, const NTag& more, Wanted wanted) {
  for (size_t i = 0; i < more.Count(); ++i) {
    const NTag::Entry tag = more.At(i);
    if (!wanted(tag)) continue;
    tag.Data.empty() ? tags.AddTag(tag.Name, tag.Value) : tags.AddTag(tag.Name, tag.Data);
  }
}

// Whether a set says nothing that the other one does not say.
bool Agrees(const NTag& tags, const NTag& whole) {
  for (size_t i = 0; i < tags.Count(); ++i) {
    const NTag::Entry tag = tags.At(i);
    if (SameName(tag.Name, id3parser::kVersionField)) continue;
    const auto said = whole.FindElement(tag.Name);
    if (!said || said->Value != tag.Value) return false;
  }
  return true;
}

// Appends to the body of a `LIST` chunk, which begins with it when there is none.
bool AppendSubChunks(XMem& body, std::string_view sub_chunks) {
  constexpr std::string_view kInfo = "INFO";
  const std::string_view head = body.IsEmpty() ? kInfo : std::string_view();
  const size_t size = body.Size();
  if (!body.SetSize(size + head.size() + sub_chunks.size(), true)) return false;
  std::copy(sub_chunks.begin(), sub_chunks.end(),
            std::copy(head.begin(), head.end(), body.Data() + size));
  return true;
}

NTag NamesOf(const XStrList& names) {
  NTag tags;
  for (const XStr& name : names) tags.AddTag(name, std::wstring_view{});
  return tags;
}

// Plans the new tags of one file, chunk by chunk, and then writes all of them at once, so that its
// audio is moved once at most.
class TagWriter {
 public:
  TagWriter(const wchar_t* file_name, const STNStdReport& report)
      : FileName(file_name), Report(report) {}

  // Each takes the tags to write, or entries of the names to delete. False, with an error line,
  // when it cannot be done.
  bool BEXTWriter(const NTag& tags, Edit edit);
  bool IDTagWriter(NTag tags, Edit edit);
  // Writes what they have planned.
  bool WriteChanges() { return !File.IsOpen() || Riff.WriteChunkHeaders(); }

 private:
  bool Open(const char* caller);
  [[nodiscard]] NTag Merged(NTag tags, const NTag& existing, Edit edit) const;
  bool LoadBext(XMem& body, NTag& fields);
  bool WriteList(const NTag& tags, const NTag& present, ptrdiff_t list_index);
  bool ReplaceList(size_t list_index, XMem body, const NTag& tags, const NTag& present);
  bool WriteID3(NTag& tags, ptrdiff_t id3_index);
  bool DeleteAll(const WaveTagSources& sources);
  bool ReadTagChunk(const STRIFFChunk& chunk, NTag& tags);
  bool RemoveContradictions(const NTag& merged, const WaveTagSources& sources);
  [[nodiscard]] bool SaysTheSame(const XMem& new_tag, TagID3v2& present) const;

  bool Remove(ptrdiff_t index, uint32_t padding_type) {
    return Riff.RemoveChunkFromFile(Riff.PlannedIndex(static_cast<size_t>(index)), padding_type);
  }
  bool Resize(ptrdiff_t index, uint32_t id, const XMem& body, uint32_t padding_type,
              uint32_t padding_size) {
    XMem chunk;
    return CreateChunk(chunk, id, body.Data(), body.Size()) &&
           Riff.ResizeExistingChunkOnFile(Riff.PlannedIndex(static_cast<size_t>(index)),
                                          std::move(chunk), padding_type, padding_size);
  }
  bool Insert(size_t planned_index, uint32_t id, const XMem& body, uint32_t padding_type,
              uint32_t padding_size) {
    XMem chunk;
    return CreateChunk(chunk, id, body.Data(), body.Size()) &&
           Riff.InsertNewChunkIntoFile(planned_index, std::move(chunk), padding_type, padding_size);
  }

  const wchar_t* const FileName;
  const STNStdReport& Report;
  XFile File;
  clRIFFHandler Riff;
  WaveTagOptions Options;
  std::optional<NTag> Bext;  // the fields of the `bext` chunk from now on, once they are known
};

bool TagWriter::Open(const char* caller) {
  if (File.IsOpen()) return true;
  const std::wstring_view name = FileName != nullptr ? FileName : L"";
  DebugLine(Report) << L"Opening file '" << name << L"' for write access: ";
  if (!File.Open(FileName, XFileAccess::ReadWrite)) {
    ErrorLine(Report, caller) << L"Error opening file '" << name
                              << L"' check no other program has it open.";
    return false;
  }
  DebugLine(Report) << L"Opened";
  if (FinishInterruptedChange(File, FileName, XFileAccess::ReadWrite, Report) &&
      Riff.Initialize(File, Report) && Riff.CanBeChanged()) {
    Options = WaveTagOptions::Present();
    return true;
  }
  File.Close();
  return false;
}

// What the file's tags become. New tags go before those of the file.
NTag TagWriter::Merged(NTag tags, const NTag& existing, Edit edit) const {
  if (edit == Edit::Write) {
    tags.MergeFrom(existing, false);
    return tags;
  }
  NTag rest;
  AddAll(rest, existing, [&](const NTag::Entry& tag) { return !tags.FindElement(tag.Name); });
  return rest;
}

// The first `bext` chunk of the file: its body as far as it can be read, and its fields.
bool TagWriter::LoadBext(XMem& body, NTag& fields) {
  const auto chunk = Riff.FindChunkForRead(chunk_id::kBext, true);
  return chunk && LoadChunk(body, *chunk, File, Report) &&
         clRIFFBEXTChunk::InitFrom(body.Data(), body.Size(), fields, Report);
}

bool TagWriter::BEXTWriter(const NTag& tags, Edit edit) {
  XMem body;
  if (!clRIFFBEXTChunk::TagsToBEXT(body, tags, Report) && edit == Edit::Write) return true;
  if (!Open("BEXTWriter")) return false;
  const ptrdiff_t index = Riff.IndexOfChunk(chunk_id::kBext);
  if (edit == Edit::DeleteAll) return index == -1 || Remove(index, RIFFPaddingNone);
  XMem old_body;
  NTag existing;
  const bool is_whole = LoadBext(old_body, existing);
  // A chunk that is not understood holds nothing that could be deleted.
  if (edit == Edit::DeleteNamed && !is_whole) return true;
  NTag fields;
  NTag copy;
  // An empty value is no reason for a new chunk.
  AddAll(copy, tags, [&](const NTag::Entry& tag) { return index != -1 || !tag.Value.empty(); });
  if (!clRIFFBEXTChunk::TagsToBEXT(body, Merged(std::move(copy), existing, edit), Report)) {
    Bext.emplace();
    return index == -1 || Remove(index, RIFFPaddingNone);
  }
  if (is_whole && !clRIFFBEXTChunk::KeepOldBytes(body, old_body)) return false;
  clRIFFBEXTChunk::InitFrom(body.Data(), body.Size(), fields, Report);
  const bool is_same = is_whole && SameTags(fields, existing);
  Bext = std::move(fields);
  if (is_same) return true;
  return index == -1 ? Insert(0, chunk_id::kBext, body, RIFFPaddingNone, 0)
                     : Resize(index, chunk_id::kBext, body, RIFFPaddingNone, 0);
}

bool TagWriter::IDTagWriter(NTag tags, Edit edit) {
  if (!Open("IDTagWriter")) return false;
  NTag existing;
  const WaveTagSources sources = InternalReadTags(File, Riff, existing, Report);
  if (edit == Edit::DeleteAll) return DeleteAll(sources);
  NTag merged = Merged(std::move(tags), existing, edit);
  const bool has_none = sources.ListIndex == -1 && sources.Id3Index == -1;
  const bool writes_list = has_none ? Options.CreatesList() : sources.ListIndex != -1;
  const bool writes_id3 = has_none ? Options.CreatesID3() : sources.Id3Index != -1;
  return RemoveContradictions(merged, sources) &&
         (!writes_list || WriteList(merged, existing, sources.ListIndex)) &&
         (!writes_id3 || WriteID3(merged, sources.Id3Index));
}

bool TagWriter::DeleteAll(const WaveTagSources& sources) {
  return RemoveContradictions(NTag(), sources) &&
         (sources.ListIndex == -1 || Remove(sources.ListIndex, Options.ListPadding)) &&
         (sources.Id3Index == -1 || Remove(sources.Id3Index, Options.ListPadding));
}

// False when the chunk holds no tags.
bool TagWriter::ReadTagChunk(const STRIFFChunk& chunk, NTag& tags) {
  if (CompareID(chunk.ChunkID, chunk_id::kId3, true)) {
    return TagID3v2(File, chunk.FileDataPosition, chunk.ChunkSize).Read(tags);
  }
  XMem body;
  if (!LoadChunk(body, chunk, File, Report)) return false;
  if (CompareID(chunk.ChunkID, chunk_id::kBext, true)) {
    return clRIFFBEXTChunk::InitFrom(body.Data(), body.Size(), tags, Report);
  }
  return clRIFFLISTChunk::InitFrom(body.Data(), body.Size(), tags, Report, Options.ListAlbum);
}

// A file may have tag chunks beside those that are written. One that would say something else than
// the file's tags from now on goes; what it said is among those.
bool TagWriter::RemoveContradictions(const NTag& merged, const WaveTagSources& sources) {
  constexpr size_t kMostRemoved = 256;
  const ptrdiff_t bext_index = Riff.IndexOfChunk(chunk_id::kBext);
  size_t removed = 0;
  Riff.ForEachChunk([&](size_t place, const STRIFFChunk& chunk) {
    const auto index = static_cast<ptrdiff_t>(place);
    const auto is_other = [&](uint32_t id, ptrdiff_t written) {
      return index != written && CompareID(chunk.ChunkID, id, true);
    };
    const bool is_bext = is_other(chunk_id::kBext, bext_index);
    NTag tags;
    if (removed > kMostRemoved ||
        (!is_bext && !is_other(chunk_id::kList, sources.ListIndex) &&
         !is_other(chunk_id::kId3, sources.Id3Index)) ||
        !ReadTagChunk(chunk, tags) || Agrees(tags, merged)) {
      return;
    }
    Remove(index, is_bext ? uint32_t{RIFFPaddingNone} : Options.ListPadding);
    ++removed;
  });
  if (removed <= kMostRemoved) return true;
  ErrorLine(Report, "IDTagWriter") << L"Error too many chunks of tags, the file is not changed.";
  return false;
}

// `present` are the tags that the file has now.
bool TagWriter::WriteList(const NTag& tags, const NTag& present, ptrdiff_t list_index) {
  XMem body;
  if (!clRIFFLISTChunk::TagsToLIST(body, tags, Report, Options.ListAlbum, Options.ListTrack)) {
    return false;
  }
  if (list_index == -1) {
    if (body.IsEmpty()) return true;
    const size_t index =
        Options.ListPosition == 0 ? Riff.PlannedCount() : Riff.PlannedIndexBeforeData();
    return Insert(index, chunk_id::kList, body, Options.ListPadding, Options.PaddingBytes());
  }
  return ReplaceList(static_cast<size_t>(list_index), std::move(body), tags, present);
}

// Puts a new body in the place of the one that is there, unless that says the same.
bool TagWriter::ReplaceList(size_t list_index, XMem body, const NTag& tags, const NTag& present) {
  const auto chunk = Riff.GetChunk(list_index);
  const auto index = static_cast<ptrdiff_t>(list_index);
  XMem old_body;
  NTag before;
  NTag after;
  if (!LoadChunk(old_body, *chunk, File, Report)) return false;
  clRIFFLISTChunk::InitFrom(old_body.Data(), old_body.Size(), before, Report, Options.ListAlbum);
  const std::string others =
      clRIFFLISTChunk::OtherSubChunks(old_body, tags, Options.ListAlbum, Options.ListTrack);
  if (body.IsEmpty() && others.empty()) return Remove(index, Options.ListPadding);
  if (!clRIFFLISTChunk::KeepSubChunks(body, old_body, tags, present, Options.ListAlbum))
    return false;
  // A few bytes less would move what follows, the audio perhaps; a text can end in more zeros.
  constexpr size_t kSmallestChunk = 8;
  const size_t old_size = old_body.Size() + old_body.Size() % 2;
  const size_t new_size = std::max(body.Size(), kListTypeSize) + others.size();
  if (new_size < old_size && old_size - new_size < kSmallestChunk &&
      index < Riff.IndexOfDataChunk() && !IsPadding(Riff.GetChunk(list_index + 1))) {
    clRIFFLISTChunk::Lengthen(body, old_size - new_size);
  }
  if (!AppendSubChunks(body, others)) return false;
  clRIFFLISTChunk::InitFrom(body.Data(), body.Size(), after, Report, Options.ListAlbum);
  return SameTags(before, after) ||
         Resize(index, chunk_id::kList, body, Options.ListPadding, Options.PaddingBytes());
}

bool TagWriter::SaysTheSame(const XMem& new_tag, TagID3v2& present) const {
  XTempFile file;
  NTag before;
  NTag after;
  if (!present.Read(before) || !file.Write(new_tag.Data(), new_tag.Size())) return false;
  TagID3v2 written(file, 0, new_tag.Size());
  return written.Read(after) && SameTags(before, after);
}

bool TagWriter::WriteID3(NTag& tags, ptrdiff_t id3_index) {
  if (!Bext) {
    XMem body;
    LoadBext(body, Bext.emplace());
  }
  // What `bext` says in full is not said twice.
  for (size_t i = 0; i < Bext->Count(); ++i) {
    const NTag::Entry field = Bext->At(i);
    const auto tag = tags.FindElement(field.Name);
    if (tag && tag->Value == field.Value) tags.RemoveTag(field.Name);
  }
  const auto chunk = id3_index == -1 ? std::nullopt : Riff.GetChunk(static_cast<size_t>(id3_index));
  XTempFile nothing;
  XFile& source = chunk ? File : nothing;
  TagID3v2 bridge(source, chunk ? chunk->FileDataPosition : 0, chunk ? chunk->ChunkSize : 0);
  bridge.SetAlign(2);
  if (Options.ID3v2Version == 1) bridge.SetOption(L"ID3v2WriteV22");
  if (Options.ID3v2Version == 2) bridge.SetOption(L"ID3v2WriteV221");
  if (Options.ID3v2Unicode != 0) bridge.SetOption(L"ID3v2EncodeUni");
  XMem tag;
  if (!bridge.MakeTag(tag, tags)) {
    ErrorLine(Report, "IDTagWriter") << L"Error cannot make the ID3v2 tag.";
    return false;
  }
  if (id3_index == -1) {
    return tag.IsEmpty() || Insert(Riff.PlannedCount(), chunk_id::kId3, tag, RIFFPaddingNone, 0);
  }
  if (tag.IsEmpty()) return Remove(id3_index, Options.ListPadding);
  return SaysTheSame(tag, bridge) || Resize(id3_index, chunk_id::kId3, tag, RIFFPaddingNone, 0);
}

bool Change(const wchar_t* file_name, NTag tags, Edit edit, const STNStdReport& report) {
  TagWriter writer(file_name, report);
  const bool bext = writer.BEXTWriter(tags, edit);
  const bool others = writer.IDTagWriter(std::move(tags), edit);
  return bext && others && writer.WriteChanges();
}

}  // namespace

bool WriteIDTags(const wchar_t* file_name, const void* block, size_t block_size,
                 const STNStdReport& report) {
  const TraceScope trace(report, "WriteIDTags");
  if (file_name == nullptr || *file_name == 0 || block == nullptr || block_size == 0) {
    return trace.Fail(L"Error no file name or no tags to write.");
  }
  NTag tags;
  tags.InitFromRawMemory(block, block_size);
  if (tags.Count() != 0 && !Change(file_name, std::move(tags), Edit::Write, report)) return false;
  return trace.Leave(true);
}

bool DeleteTags(const wchar_t* file_name, const XStrList& names, bool delete_all,
                const STNStdReport& report) {
  return Change(file_name, NamesOf(names), delete_all ? Edit::DeleteAll : Edit::DeleteNamed,
                report);
}

}  // namespace wavecodec
