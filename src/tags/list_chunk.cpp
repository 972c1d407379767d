#include "tags/list_chunk.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "module/report/std_report.h"
#include "riff/chunk_id.h"
#include "support/byte_order.h"
#include "support/names.h"
#include "support/windows1252.h"
#include "tags/toc_reader.h"

namespace wavecodec {
namespace {

constexpr size_t kListTypeSize = 4;
constexpr size_t kSubChunkHeader = 8;
constexpr uint32_t kInfo = RIFFChnkID("INFO");
constexpr uint32_t kITOC = RIFFChnkID("ITOC");
constexpr size_t kTOCHead = 4;

// The user's choices that some rows depend on.
struct Options {
  uint32_t Album;
  uint32_t Track;
};

// When a row is used.
enum class When { Always, Never, AlbumIsIPRD, AlbumIsISRC, TrackIsITRK, TrackIsTRCK, TrackIsOther };

bool Holds(When when, const Options& options) {
  switch (when) {
    case When::Always:
      return true;
    case When::Never:
      return false;
    case When::AlbumIsIPRD:
      return options.Album == 0;
    case When::AlbumIsISRC:
      return options.Album != 0;
    case When::TrackIsITRK:
      return options.Track == 0;
    case When::TrackIsTRCK:
      return options.Track == 1;
    case When::TrackIsOther:
      return options.Track > 1;
  }
  return false;
}

struct Row {
  uint32_t ID;
  std::string_view Name;
  When Reading = When::Always;
  When Writing = When::Always;
};

// The directions differ on purpose where the album is concerned: "Product" is only read, and with
// the album in `ISRC` an "ISRC" tag is written there too.
constexpr Row kRows[] = {
    {RIFFChnkID("DISP"), "Sound Scheme Title"},
    {RIFFChnkID("IARL"), "Archival Location"},
    {RIFFChnkID("IART"), "Artist"},
    {RIFFChnkID("ICMS"), "Commissioned"},
    {RIFFChnkID("ICMT"), "Comment"},
    {RIFFChnkID("ICOP"), "Copyright"},
    {RIFFChnkID("ICRD"), "Year"},
    {RIFFChnkID("ICRP"), "Cropped"},
    {RIFFChnkID("IDIM"), "Dimensions"},
    {RIFFChnkID("IDPI"), "DPI"},
    {RIFFChnkID("IENG"), "Engineer"},
    {RIFFChnkID("IGNR"), "Genre"},
    {RIFFChnkID("IKEY"), "Keywords"},
    {RIFFChnkID("ILGT"), "Lightness"},
    {RIFFChnkID("IMED"), "Medium"},
    {RIFFChnkID("INAM"), "Title"},
    {RIFFChnkID("IPLT"), "Palette Setting"},
    {RIFFChnkID("IPRD"), "Album", When::AlbumIsIPRD, When::AlbumIsIPRD},
    {RIFFChnkID("IPRD"), "Product", When::AlbumIsISRC, When::Never},
    {RIFFChnkID("ISBJ"), "Subject"},
    {RIFFChnkID("ISFT"), "Encoded By"},
    {RIFFChnkID("ISHP"), "Sharpness"},
    {RIFFChnkID("ISRC"), "Album", When::AlbumIsISRC, When::AlbumIsISRC},
    {RIFFChnkID("ISRC"), "ISRC", When::AlbumIsIPRD, When::Always},
    {RIFFChnkID("ISRF"), "Source"},
    {RIFFChnkID("ITCH"), "Technician"},
    {RIFFChnkID("ITRK"), "Track", When::Always, When::TrackIsITRK},
    {RIFFChnkID("TRCK"), "Track", When::Always, When::TrackIsTRCK},
    {RIFFChnkID("itrk"), "Track", When::Always, When::TrackIsOther},
    {RIFFChnkID("TLEN"), "Length"},
    {RIFFChnkID("TURL"), "URL"},
    {RIFFChnkID("TVER"), "Version"},
    {RIFFChnkID("LOCA"), "Location"},
    {RIFFChnkID("TORG"), "Label"},
    {kITOC, tag_name::kCDToc},
};

const Row* RowForReading(uint32_t id, const Options& options) {
  const auto* found = std::find_if(std::begin(kRows), std::end(kRows), [&](const Row& row) {
    return row.ID == id && Holds(row.Reading, options);
  });
  return found == std::end(kRows) ? nullptr : found;
}

size_t IndexOf(const Row& row) { return static_cast<size_t>(&row - kRows); }

const Row* RowForWriting(std::string_view name, const Options& options) {
  const auto* found = std::find_if(std::begin(kRows), std::end(kRows), [&](const Row& row) {
    return SameName(row.Name, name) && Holds(row.Writing, options);
  });
  return found == std::end(kRows) ? nullptr : found;
}

void AddToc(std::string_view text, NTag& tags) {
  TOC toc;
  clTOCReader::MicrosoftStrTOCToCDExtraLBA(text, toc);
  const auto tracks = static_cast<size_t>(clTOCReader(toc).TrackCount());
  const auto* bytes = reinterpret_cast<const uint8_t*>(&toc);
  tags.AddTag(tag_name::kCDToc, {bytes, kTOCHead + sizeof(TOCTrack) * (1 + tracks)});
}

// The text of a table of contents; "" when the payload is none.
std::string TocText(std::span<const uint8_t> payload) {
  if (payload.size() < kTOCHead) return {};
  TOC toc{};
  std::memcpy(&toc, payload.data(), std::min(payload.size(), sizeof toc));
  return clTOCReader::CDExtraLBAToMicrosoftStrTOC(toc, false);
}

void AppendU32(std::vector<uint8_t>& bytes, uint32_t value) {
  bytes.resize(bytes.size() + 4);
  WriteU32LE(bytes.data() + bytes.size() - 4, value);
}

// Appends a sub-chunk: the text and a zero, and another one when that makes an odd length. All
// zeros are counted in its size.
void AppendSubChunk(std::vector<uint8_t>& body, uint32_t id, const std::string& text) {
  const size_t length = (text.size() + 2) & ~size_t{1};
  AppendU32(body, id);
  AppendU32(body, static_cast<uint32_t>(length));
  body.insert(body.end(), text.begin(), text.end());
  body.resize(body.size() + length - text.size());
}

// Calls work(id, whole sub-chunk without a pad byte) with each sub-chunk of a body, as far as it is
// well formed.
template <typename Work>
void ForEachSubChunk(const XMem& body, Work work) {
  const auto* bytes = reinterpret_cast<const char*>(body.Data());
  size_t at = kListTypeSize;
  while (at < body.Size() && body.Size() - at >= kSubChunkHeader) {
    const size_t left = body.Size() - at - kSubChunkHeader;
    const size_t length = ReadU32LE(body.Data() + at + 4);
    if (length > left || length == 0) return;
    work(ReadU32LE(body.Data() + at), std::string_view(bytes + at, kSubChunkHeader + length));
    at += kSubChunkHeader + std::min(left, length + length % 2);
  }
}

void AppendEven(std::string& body, std::string_view sub_chunk) {
  body += sub_chunk;
  body.resize(body.size() + body.size() % 2);
}

// The text of a sub-chunk as its bytes, and as it is read.
std::string_view RawTextOf(std::string_view sub_chunk) {
  const std::string_view text = sub_chunk.substr(kSubChunkHeader);
  return text.substr(0, text.find('\0'));
}
std::string TextOf(std::string_view sub_chunk) {
  const std::string_view text = RawTextOf(sub_chunk);
  return From1252(reinterpret_cast<const uint8_t*>(text.data()), text.size());
}

}  // namespace

bool clRIFFLISTChunk::InitFrom(const uint8_t* body, size_t size, NTag& tags,
                               const STNStdReport& report, uint32_t album_option,
                               NTagRepeats repeats) {
  const TraceScope trace(report, "InitFrom");
  const Options options{album_option, 0};
  tags.Destroy();
  if (body == nullptr || size < kListTypeSize) return false;
  if (!CompareID(ReadU32LE(body), kInfo, true)) return false;
  DebugLine(report) << L"Found Correct INFO ID, decoding LIST chunk:";
  size_t left = size - kListTypeSize;
  const uint8_t* next = body + kListTypeSize;
  while (left >= kSubChunkHeader) {
    const uint32_t id = ReadU32LE(next);
    const size_t length = ReadU32LE(next + 4);
    next += kSubChunkHeader;
    left -= kSubChunkHeader;
    if (length > left) {
      trace.Info() << L"Error LIST sub chunk is corrupted";
      break;
    }
    if (length == 0) return trace.Leave(true);  // by convention nothing stands behind it
    if (const Row* row = RowForReading(id, options); row == nullptr) {
      trace.Info() << L"Unknown LIST sub chunk '" << [&] { return RIFFChnkID2CHR(id); }
                   << L"' Dropping it.";
    } else if (repeats == NTagRepeats::Keep || !tags.FindElement(row->Name)) {
      const std::string text = From1252(next, length);
      id == kITOC ? AddToc(text, tags) : tags.AddTag(row->Name, text);
    }
    const size_t step = std::min(left, length + length % 2);
    next += step;
    left -= step;
  }
  return left <= 1 && trace.Leave(true);
}

bool clRIFFLISTChunk::TagsToLIST(XMem& out, const NTag& tags, const STNStdReport& report,
                                 uint32_t album_option, uint32_t track_option) {
  const TraceScope trace(report, "TagsToLIST");
  const Options options{album_option, track_option};
  out.Free();
  try {
    std::vector<uint8_t> body;
    AppendU32(body, kInfo);
    for (size_t i = 0; i < tags.Count(); ++i) {
      const NTag::Entry tag = tags.At(i);
      const Row* row = RowForWriting(tag.Name, options);
      if (row == nullptr) continue;
      const std::string text = row->ID == kITOC ? TocText(tag.Data) : To1252(tag.Value);
      if (!text.empty()) AppendSubChunk(body, row->ID, text);
    }
    if (body.size() == kListTypeSize) return trace.Leave(true);
    if (!out.SetSize(body.size())) throw std::bad_alloc();
    std::memcpy(out.Data(), body.data(), body.size());
  } catch (const std::bad_alloc&) {
    return trace.Fail(L"Error Allocating Memory.");
  }
  return trace.Leave(true);
}

std::string clRIFFLISTChunk::OtherSubChunks(const XMem& body, const NTag& tags,
                                            uint32_t album_option, uint32_t track_option) {
  const Options options{album_option, track_option};
  std::string others;
  ForEachSubChunk(body, [&](uint32_t id, std::string_view whole) {
    const Row* row = RowForReading(id, options);
    const bool only_read = row != nullptr && RowForWriting(row->Name, options) == nullptr;
    if (row == nullptr || (only_read && tags.FindElement(row->Name))) AppendEven(others, whole);
  });
  return others;
}

bool clRIFFLISTChunk::KeepSubChunks(XMem& made, const XMem& body, const NTag& tags,
                                    const NTag& present, uint32_t album_option) {
  const Options options{album_option, 0};
  // The first old sub-chunk of each ID: only that one was read.
  std::array<std::string_view, std::size(kRows)> old;
  ForEachSubChunk(body, [&](uint32_t id, std::string_view whole) {
    const Row* row = RowForReading(id, options);
    if (row != nullptr && old[IndexOf(*row)].empty()) old[IndexOf(*row)] = whole;
  });
  std::string kept;
  ForEachSubChunk(made, [&](uint32_t id, std::string_view whole) {
    const Row* row = RowForReading(id, options);
    const std::string_view before =
        row != nullptr ? std::exchange(old[IndexOf(*row)], {}) : std::string_view();
    const auto is_raw_value = [&](const NTag& set) {
      const auto tag = set.FindElement(row->Name);
      return tag && RawTextOf(before) == tag->Value;
    };
    const bool says_the_same = !before.empty() && (TextOf(before) == TextOf(whole) ||
                                                   (is_raw_value(tags) && is_raw_value(present)));
    AppendEven(kept, says_the_same ? before : whole);
  });
  if (kept.empty()) return true;
  if (!made.SetSize(kListTypeSize + kept.size(), true)) return false;
  std::copy(kept.begin(), kept.end(), made.Data() + kListTypeSize);
  return true;
}

bool clRIFFLISTChunk::Lengthen(XMem& body, size_t bytes) {
  const size_t size = body.Size();
  size_t last = 0;
  for (size_t at = kListTypeSize; at < size;) {
    last = at;
    const size_t length = ReadU32LE(body.Data() + at + 4);
    at += kSubChunkHeader + length + length % 2;
  }
  if (last == 0 || !body.SetSize(size + bytes, true)) return false;
  uint8_t* const length = body.Data() + last + 4;
  WriteU32LE(length, ReadU32LE(length) + static_cast<uint32_t>(bytes));
  std::fill_n(body.Data() + size, bytes, uint8_t{0});
  return true;
}

}  // namespace wavecodec
