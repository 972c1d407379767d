// Frames of an ID3v2 tag: what their payloads hold, and how payloads are made (ID3v2.3, ID3v2.4).
//
// Text is UTF-8 in byte strings throughout the library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace wavecodec::id3parser {

// The version of a tag.
enum t_tagRevision : uint32_t { revisionNone = 0, revision2 = 2, revision3 = 3, revision4 = 4 };

// First payload byte of text-like frames.
enum t_textEncoding : uint8_t {
  encodingISO = 0,      // read and written as Windows-1252
  encodingUTF16 = 1,    // with byte order mark
  encodingUTF16BE = 2,  // without; never written
  encodingUTF8 = 3,
};

// A frame ID as a number: the first character in the top byte. 0 is an ID3v2.2 frame that has no
// counterpart in ID3v2.3.
constexpr uint32_t frameID(const char (&name)[5]) {
  uint32_t id = 0;
  for (size_t i = 0; i < 4; ++i) id = id << 8 | static_cast<uint8_t>(name[i]);
  return id;
}

// Growable bytes.
class t_byteVector {
 public:
  [[nodiscard]] size_t get_size() const { return bytes_.size(); }
  [[nodiscard]] uint8_t* get_ptr() { return bytes_.data(); }
  [[nodiscard]] const uint8_t* get_ptr() const { return bytes_.data(); }
  void append_fromptr(const void* bytes, size_t size) {
    const auto* first = static_cast<const uint8_t*>(bytes);
    bytes_.insert(bytes_.end(), first, first + size);
  }

 private:
  std::vector<uint8_t> bytes_;
};

// Where a walk over the zero-separated strings of a payload stands. It serves one payload; going on
// to a later string costs only the bytes between.
struct t_frameWalk {
  size_t stringsPassed = 0;
  size_t position = 0;     // in units of the encoding
  bool bigEndian = false;  // by the last byte order mark that was passed
};

// A picture frame taken apart; `data` points into the payload.
struct t_picture {
  uint8_t type = 0;  // an APIC picture type, 0 to 20
  std::string mime;
  std::string description;
  const uint8_t* data = nullptr;
  size_t size = 0;
};

// A frame that lies in somebody else's memory, and what can be read from it. Every operation throws
// parseError when the payload does not hold what is asked for. `strict` refuses what is only
// readable with good will: text without a byte order mark, bytes that are not of the encoding.
struct t_frameView {
  uint32_t id = 0;
  const uint8_t* data = nullptr;
  size_t size = 0;

  [[nodiscard]] size_t GetStringCount() const;
  // The string at `index`; false, with an empty `out`, when the payload has fewer. Strings are set
  // apart by one or more terminators, so that only the first can be without a byte of its own.
  bool EnumString(bool strict, std::string& out, size_t index, t_frameWalk& walk) const;
  bool GetAsString(bool strict, std::string& out, size_t index) const;
  void GetAsURL(std::string& out) const;
  void GetAsWXXX(bool strict, std::string& out) const;

  [[nodiscard]] bool isTextFrame() const { return id >> 24 == 'T'; }
  [[nodiscard]] bool isUserTextFrame() const { return id == frameID("TXXX"); }
  [[nodiscard]] bool isPicture() const { return id == frameID("APIC"); }
  [[nodiscard]] t_picture getPicture() const;
  // The same; false, and nothing to rely on in `picture`, when it is not well formed.
  bool readPicture(t_picture& picture) const;
};

// What a caller chooses when frames are made.
struct tagCreateArgs {
  uint8_t encoding = encodingISO;  // encodingISO, encodingUTF16 or encodingUTF8
  uint8_t lenientYearDate = 0;     // the bridge's second option: not strict about dates in "Year"
  uint8_t suppressRating = 0;      // no POPM frame
};

struct tagCreateContext : tagCreateArgs {
  explicit tagCreateContext(const tagCreateArgs& args) : tagCreateArgs(args) {}
  [[nodiscard]] bool isOldRevision() const { return revision < revision4; }
  t_tagRevision revision = revisionNone;
};

// A frame with a payload of its own.
struct t_frame {
  uint32_t id = 0;
  t_byteVector data;

  [[nodiscard]] t_frameView view() const { return {id, data.get_ptr(), data.get_size()}; }

  // Replace the payload. writeError for an encoding that cannot be written.
  void SetAsString(std::string_view utf8, const tagCreateContext& context);
  void SetAsNumeric(std::string_view text);
  void SetAsURL(std::string_view text);
  void SetAsURLEx(std::string_view description, std::string_view url,
                  const tagCreateContext& context);
  void setPicture(uint8_t type, std::string_view mime, std::string_view description,
                  const void* picture, size_t size);
  // Appends one more string in the encoding that the payload has.
  void AddString(std::string_view utf8);
  // Makes the text encoding one that `revision` knows.
  void SanitizeForRevision(t_tagRevision revision);
};

}  // namespace wavecodec::id3parser
