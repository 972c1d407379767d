#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>
#include <vector>

#include "id3v2/tag.h"
#include "id3v2/tag_header.h"
#include "id3v2/unsynchronisation.h"
#include "support/byte_order.h"

namespace wavecodec::id3parser {
namespace {

constexpr size_t kSizeOfSize = 4;  // of an extended header, a data length, an uncompressed length

constexpr uint32_t packV2(const char (&name)[4]) {
  return uint32_t{static_cast<uint8_t>(name[0])} << 16 |
         uint32_t{static_cast<uint8_t>(name[1])} << 8 | static_cast<uint8_t>(name[2]);
}

struct t_translation {
  uint32_t v2;
  uint32_t id;
};
constexpr t_translation row(const char (&v2)[4], const char (&id)[5]) {
  return {packV2(v2), frameID(id)};
}

// ID3v2.2 frames and the later ones of the same content.
constexpr std::array v2_translation_map = {
    row("TT1", "TIT1"), row("TT2", "TIT2"), row("TT3", "TIT3"), row("TP1", "TPE1"),
    row("TP2", "TPE2"), row("TP3", "TPE3"), row("TP4", "TPE4"), row("TCM", "TCOM"),
    row("TXT", "TEXT"), row("TLA", "TLAN"), row("TCO", "TCON"), row("TAL", "TALB"),
    row("TRK", "TRCK"), row("TRC", "TSRC"), row("TYE", "TYER"), row("TBP", "TBPM"),
    row("TCR", "TCOP"), row("TPB", "TPUB"), row("TEN", "TENC"), row("TSS", "TSSE"),
    row("TOA", "TOPE"), row("TXX", "TXXX"), row("TPA", "TPOS"), row("WAF", "WOAF"),
    row("WAR", "WOAR"), row("WAS", "WOAS"), row("WCP", "WCOP"), row("WCM", "WCOM"),
    row("WPB", "WPUB"), row("WXX", "WXXX"), row("COM", "COMM"), row("PIC", "APIC")};

uint32_t translate_v2_id(const uint8_t* name) {
  const uint32_t v2 = uint32_t{name[0]} << 16 | uint32_t{name[1]} << 8 | name[2];
  for (const t_translation& row : v2_translation_map) {
    if (row.v2 == v2) return row.id;
  }
  return 0;
}

// Some writers put ID3v2.2 names, filled up with a zero, into later tags.
uint32_t ReadFrameID(const uint8_t* name) {
  return name[3] == 0 ? translate_v2_id(name) : ReadU32BE(name);
}

std::string_view ImageTypeToMime(std::string_view format) {
  if (format == "PNG") return "image/png";
  if (format == "JPG") return "image/jpeg";
  if (format == "GIF") return "image/gif";
  return "image/x-unknown";
}

// What follows the header of a tag. All of it that there is, or what comes before a fault in its
// unsynchronisation: reading on into the fault fails, having it behind the last frame does no harm.
class tagBody {
 public:
  tagBody(const uint8_t* bytes, size_t size, bool faulty)
      : at_(bytes), left_(size), faulty_(faulty) {}

  const uint8_t* take(size_t size) {
    if (size > left_) throw parseError();
    const uint8_t* bytes = at_;
    at_ += size;
    left_ -= size;
    return bytes;
  }
  // The name of the next frame; null where the frames end: at padding, or when no name is left.
  const uint8_t* nextName(size_t size) {
    if (left_ < size && !faulty_) return nullptr;
    const uint8_t* name = take(size);
    return name[0] == 0 ? nullptr : name;
  }

 private:
  const uint8_t* at_;
  size_t left_;
  bool faulty_;
};

class frameParser {
 public:
  frameParser(const t_tagHeader& header, const tagBody& body, parseCallback& want,
              const frameSink& sink)
      : header_(header), body_(body), want_(want), sink_(sink) {}

  void ParseContent() {
    if (header_.revision == revision2) return ParseFrames_v2();
    if (header_.extendedHeader) SkipExtendedHeader();
    if (header_.revision == revision3) return ParseFrames_v3();
    ParseFrames_v4();
  }

 private:
  // Only in ID3v2.4 does the size count its own bytes.
  void SkipExtendedHeader() {
    const uint8_t* field = body_.take(kSizeOfSize);
    if (header_.revision == revision3) {
      body_.take(ReadU32BE(field));
      return;
    }
    const size_t size = readSyncSafe(field);
    if (size < 6) throw parseError();
    body_.take(size - kSizeOfSize);
  }

  void ParseFrames_v2() {
    while (const uint8_t* name = body_.nextName(3)) {
      const uint8_t* field = body_.take(3);
      const size_t size = size_t{field[0]} << 16 | size_t{field[1]} << 8 | field[2];
      if (size == 0) continue;
      const uint32_t id = translate_v2_id(name);
      const bool wanted = id != 0 || want_.wantFrame(0);
      const uint8_t* data = body_.take(size);
      if (!wanted) continue;
      if (id == frameID("APIC")) {
        PostprocessV2PIC(data, size);
      } else {
        Deliver(id, data, size);
      }
    }
  }

  // The later layout of a picture has a MIME type where ID3v2.2 has three letters.
  void PostprocessV2PIC(const uint8_t* data, size_t size) {
    if (size < 4 || data[0] > encodingUTF16) throw parseError();
    const std::string_view mime = ImageTypeToMime({reinterpret_cast<const char*>(data + 1), 3});
    made_.clear();
    made_.reserve(1 + mime.size() + 1 + size - 4);
    made_.push_back(data[0]);
    made_.insert(made_.end(), mime.begin(), mime.end());
    made_.push_back(0);
    made_.insert(made_.end(), data + 4, data + size);
    Deliver(frameID("APIC"), made_.data(), made_.size());
  }

  static size_t CheckedFrameSize(uint32_t size) {
    if (size >= kFrameSizeLimit) throw parseError();
    return size;
  }

  void ParseFrames_v3() {
    constexpr uint8_t kCompressed = 0x80;
    constexpr uint8_t kEncrypted = 0x40;
    constexpr uint8_t kGrouped = 0x20;
    while (const uint8_t* name = body_.nextName(4)) {
      const uint8_t* header = body_.take(6);
      const size_t size = CheckedFrameSize(ReadU32BE(header));
      const uint8_t format = header[5];
      const uint32_t id = ReadFrameID(name);
      const uint8_t* data = body_.take(size);
      if (size == 0 || (format & (kEncrypted | kGrouped)) != 0 || !want_.wantFrame(id)) continue;
      if ((format & kCompressed) == 0) {
        Deliver(id, data, size);
      } else if (size < kSizeOfSize) {
        throw parseError();
      }  // else it is dropped: nothing here decompresses
    }
  }

  void ParseFrames_v4() {
    constexpr uint8_t kKeptFromUs = 0x70;  // to be discarded on a change of tag or file, read-only
    constexpr uint8_t kGroupedOrEncrypted = 0x44;
    while (const uint8_t* name = body_.nextName(4)) {
      const uint8_t* header = body_.take(6);
      const size_t size = CheckedFrameSize(readSyncSafe(header));
      const uint32_t id = ReadFrameID(name);
      const uint8_t* data = body_.take(size);
      if (size == 0 || (header[4] & kKeptFromUs) != 0 || (header[5] & kGroupedOrEncrypted) != 0 ||
          !want_.wantFrame(id)) {
        continue;
      }
      DecodeV4Frame(id, header[5], data, size);
    }
  }

  // Other than in ID3v2.3 a compressed frame fails the tag.
  void DecodeV4Frame(uint32_t id, uint8_t format, const uint8_t* data, size_t size) {
    constexpr uint8_t kDataLength = 0x01;
    constexpr uint8_t kUnsynchronised = 0x02;
    constexpr uint8_t kCompressed = 0x08;
    if ((format & kDataLength) != 0) {
      if (size < kSizeOfSize) throw parseError();
      data += kSizeOfSize;
      size -= kSizeOfSize;
    }
    if ((format & kCompressed) != 0) throw parseError();
    if ((format & kUnsynchronised) != 0) {
      if (!undoUnsynchronisation(made_, data, size)) throw parseError();
      data = made_.data();
      size = made_.size();
    }
    if (size != 0) Deliver(id, data, size);  // a frame holds at least one byte
  }

  void Deliver(uint32_t id, const uint8_t* data, size_t size) {
    sink_({id, data, size}, header_.revision);
  }

  const t_tagHeader& header_;
  tagBody body_;
  parseCallback& want_;
  const frameSink& sink_;
  std::vector<uint8_t> made_;  // the payload of a frame that is not handed on as it lies
};

}  // namespace

uint32_t readSyncSafe(const uint8_t* bytes) {
  if (((bytes[0] | bytes[1] | bytes[2] | bytes[3]) & 0x80) != 0) throw parseError();
  return uint32_t{bytes[0]} << 21 | uint32_t{bytes[1]} << 14 | uint32_t{bytes[2]} << 7 | bytes[3];
}

t_tagHeader readTagHeader(const uint8_t* bytes) {
  constexpr uint8_t kUnsynchronised = 0x80;
  constexpr uint8_t kExtendedHeader = 0x40;
  constexpr uint8_t kForbidden[] = {0x7F, 0x1F, 0x0F};  // by version from 2
  if (std::memcmp(bytes, "ID3", 3) != 0) throw parseError();
  const uint8_t version = bytes[3];
  const uint8_t flags = bytes[5];
  if (version < 2 || version > 4 || (flags & kForbidden[version - 2]) != 0) throw parseError();
  t_tagHeader header;
  header.revision = t_tagRevision{version};
  header.unsynchronised = version < 4 && (flags & kUnsynchronised) != 0;
  header.extendedHeader = (flags & kExtendedHeader) != 0;
  header.size = readSyncSafe(bytes + 6);
  return header;
}

t_tagRevision parseTag(const void* data, size_t size, parseCallback& want, const frameSink& sink) {
  if (size < kTagHeaderSize) throw parseError();
  const auto* bytes = static_cast<const uint8_t*>(data);
  const t_tagHeader header = readTagHeader(bytes);
  bytes += kTagHeaderSize;
  size = std::min(size - kTagHeaderSize, header.size);
  std::vector<uint8_t> decoded;
  bool faulty = false;
  if (header.unsynchronised) {
    faulty = !undoUnsynchronisation(decoded, bytes, size);
    bytes = decoded.data();
    size = decoded.size();
  }
  frameParser(header, tagBody(bytes, size, faulty), want, sink).ParseContent();
  return header.revision;
}

}  // namespace wavecodec::id3parser
