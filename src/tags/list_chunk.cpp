#include "tags/list_chunk.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "module/report/std_report.h"
#include "riff/chunk_id.h"
#include "support/byte_order.h"
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
  std::wstring_view Name;
  When Reading = When::Always;
  When Writing = When::Always;
};

// The directions differ on purpose where the album is concerned: "Product" is only read, and with
// the album in `ISRC` an "ISRC" tag is written there too.
constexpr Row kRows[] = {
    {RIFFChnkID("DISP"), L"Sound Scheme Title"},
    {RIFFChnkID("IARL"), L"Archival Location"},
    {RIFFChnkID("IART"), L"Artist"},
    {RIFFChnkID("ICMS"), L"Commissioned"},
    {RIFFChnkID("ICMT"), L"Comment"},
    {RIFFChnkID("ICOP"), L"Copyright"},
    {RIFFChnkID("ICRD"), L"Year"},
    {RIFFChnkID("ICRP"), L"Cropped"},
    {RIFFChnkID("IDIM"), L"Dimensions"},
    {RIFFChnkID("IDPI"), L"DPI"},
    {RIFFChnkID("IENG"), L"Engineer"},
    {RIFFChnkID("IGNR"), L"Genre"},
    {RIFFChnkID("IKEY"), L"Keywords"},
    {RIFFChnkID("ILGT"), L"Lightness"},
    {RIFFChnkID("IMED"), L"Medium"},
    {RIFFChnkID("INAM"), L"Title"},
    {RIFFChnkID("IPLT"), L"Palette Setting"},
    {RIFFChnkID("IPRD"), L"Album", When::AlbumIsIPRD, When::AlbumIsIPRD},
    {RIFFChnkID("IPRD"), L"Product", When::AlbumIsISRC, When::Never},
    {RIFFChnkID("ISBJ"), L"Subject"},
    {RIFFChnkID("ISFT"), L"Encoded By"},
    {RIFFChnkID("ISHP"), L"Sharpness"},
    {RIFFChnkID("ISRC"), L"Album", When::AlbumIsISRC, When::AlbumIsISRC},
    {RIFFChnkID("ISRC"), L"ISRC", When::AlbumIsIPRD, When::Always},
    {RIFFChnkID("ISRF"), L"Source"},
    {RIFFChnkID("ITCH"), L"Technician"},
    {RIFFChnkID("ITRK"), L"Track", When::Always, When::TrackIsITRK},
    {RIFFChnkID("TRCK"), L"Track", When::Always, When::TrackIsTRCK},
    {RIFFChnkID("itrk"), L"Track", When::Always, When::TrackIsOther},
    {RIFFChnkID("TLEN"), L"Length"},
    {RIFFChnkID("TURL"), L"URL"},
    {RIFFChnkID("TVER"), L"Version"},
    {RIFFChnkID("LOCA"), L"Location"},
    {RIFFChnkID("TORG"), L"Label"},
    {kITOC, tag_name::kCDToc},
};

const Row* RowForReading(uint32_t id, const Options& options) {
  const auto* found = std::find_if(std::begin(kRows), std::end(kRows), [&](const Row& row) {
    return row.ID == id && Holds(row.Reading, options);
  });
  return found == std::end(kRows) ? nullptr : found;
}

const Row* RowForWriting(std::wstring_view name, const Options& options) {
  const auto* found = std::find_if(std::begin(kRows), std::end(kRows), [&](const Row& row) {
    return EqualNoCase(row.Name, name) && Holds(row.Writing, options);
  });
  return found == std::end(kRows) ? nullptr : found;
}

void AddToc(const XStr& text, NTag& tags) {
  TOC toc;
  clTOCReader::MicrosoftStrTOCToCDExtraLBA(text, toc);
  const auto tracks = static_cast<size_t>(clTOCReader(toc).TrackCount());
  tags.AddTag(tag_name::kCDToc, &toc, kTOCHead + sizeof(TOCTrack) * (1 + tracks));
}

// The text of a table of contents; "" when the payload is none.
XStr TocText(const XMem& payload) {
  if (payload.Size() < kTOCHead) return {};
  TOC toc{};
  std::memcpy(&toc, payload.Data(), std::min(payload.Size(), sizeof toc));
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
    } else if (repeats == NTagRepeats::Keep || tags.FindElement(row->Name) == nullptr) {
      XStr text = From1252(next, length);
      id == kITOC ? AddToc(text, tags) : tags.AddTag({XStr(row->Name), std::move(text), {}});
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
    for (const STInternalTag& tag : tags) {
      const Row* row = RowForWriting(tag.Name, options);
      if (row == nullptr) continue;
      const std::string text = To1252(row->ID == kITOC ? TocText(tag.Data) : tag.Value);
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

}  // namespace wavecodec
