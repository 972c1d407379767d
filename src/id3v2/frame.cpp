#include "id3v2/frame.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "id3v2/errors.h"
#include "id3v2/text_codec.h"

namespace wavecodec::id3parser {
namespace {

constexpr size_t kLanguageSize = 3;
constexpr const char* kLanguage = "eng";
constexpr uint8_t kLastPictureType = 20;

// Bytes between the text encoding and the first string.
size_t get_byteskip(uint32_t id) {
  return id == frameID("COMM") || id == frameID("USLT") ? kLanguageSize : 0;
}

size_t unitSize(uint8_t encoding) {
  return encoding == encodingUTF16 || encoding == encodingUTF16BE ? 2 : 1;
}

// Bytes before the first zero unit; `size` when there is none. A byte left over is no unit.
size_t findTerminator(const uint8_t* bytes, size_t size, size_t unit) {
  if (unit == 1) {
    const void* zero = size > 0 ? std::memchr(bytes, 0, size) : nullptr;
    return zero == nullptr ? size : static_cast<size_t>(static_cast<const uint8_t*>(zero) - bytes);
  }
  for (size_t i = 0; size - i >= 2; i += 2) {
    if (bytes[i] == 0 && bytes[i + 1] == 0) return i;
  }
  return size;
}

// A text-like payload: its strings are what its terminators set apart, with any number of them
// between two. So an empty string counts only in front of all others, which keeps the text of a
// comment without a description in its place, and zeros used as padding make no strings.
class textReader {
 public:
  explicit textReader(const t_frameView& frame) {
    const size_t skip = get_byteskip(frame.id) + 1;
    if (frame.size < skip || frame.data[0] > encodingUTF8) throw parseError();
    encoding_ = frame.data[0];
    unit_ = unitSize(encoding_);
    text_ = frame.data + skip;
    units_ = (frame.size - skip) / unit_;
  }

  [[nodiscard]] bool atEnd(const t_frameWalk& walk) const { return walk.position >= units_; }

  void next(t_frameWalk& walk) const {
    const uint8_t* string = text_ + walk.position * unit_;
    if (marked(string, size(walk))) walk.bigEndian = string[0] == 0xFE;
    walk.position += length(walk) / unit_;
    while (!atEnd(walk) && atTerminator(walk)) ++walk.position;
    ++walk.stringsPassed;
  }

  void read(bool strict, std::string& out, const t_frameWalk& walk) const {
    const uint8_t* string = text_ + walk.position * unit_;
    const size_t bytes = length(walk);
    // Some writers mark only the first of several strings.
    if (encoding_ == encodingUTF16 && walk.bigEndian && !strict && !marked(string, bytes)) {
      importUTF16(out, string, bytes / 2, true);
    } else {
      importString(out, encoding_, string, bytes, strict);
    }
  }

 private:
  [[nodiscard]] bool atTerminator(const t_frameWalk& walk) const {
    const uint8_t* unit = text_ + walk.position * unit_;
    return unit[0] == 0 && unit[unit_ - 1] == 0;
  }
  [[nodiscard]] size_t size(const t_frameWalk& walk) const {
    return (units_ - walk.position) * unit_;
  }
  [[nodiscard]] size_t length(const t_frameWalk& walk) const {
    return findTerminator(text_ + walk.position * unit_, size(walk), unit_);
  }
  [[nodiscard]] bool marked(const uint8_t* string, size_t bytes) const {
    return encoding_ == encodingUTF16 && bytes >= 2 &&
           (string[0] == 0xFE ? string[1] == 0xFF : string[0] == 0xFF && string[1] == 0xFE);
  }

  uint8_t encoding_ = 0;
  size_t unit_ = 1;
  const uint8_t* text_ = nullptr;
  size_t units_ = 0;
};

std::string_view toZero(std::string_view text) { return text.substr(0, text.find('\0')); }

void append(t_byteVector& data, std::string_view bytes) {
  data.append_fromptr(bytes.data(), bytes.size());
}

void appendByte(t_byteVector& data, uint8_t byte) { data.append_fromptr(&byte, 1); }

// One string with its terminator; false when the encoding is one that is never written.
bool appendString(t_byteVector& data, uint8_t encoding, std::string_view utf8) {
  using namespace std::string_view_literals;
  switch (encoding) {
    case encodingISO:
      append(data, exportISO(utf8));
      append(data, "\0"sv);
      return true;
    case encodingUTF16:
      append(data, "\xFF\xFE"sv);
      append(data, exportUTF16(utf8));
      append(data, "\0\0"sv);
      return true;
    case encodingUTF8:
      append(data, toZero(utf8));
      append(data, "\0"sv);
      return true;
    default:
      return false;
  }
}

}  // namespace

size_t t_frameView::GetStringCount() const {
  const textReader text(*this);
  t_frameWalk walk;
  while (!text.atEnd(walk)) text.next(walk);
  return walk.stringsPassed;
}

bool t_frameView::EnumString(bool strict, std::string& out, size_t index, t_frameWalk& walk) const {
  const textReader text(*this);
  out.clear();
  if (index < walk.stringsPassed) walk = {};
  while (walk.stringsPassed < index && !text.atEnd(walk)) text.next(walk);
  if (text.atEnd(walk)) return false;
  text.read(strict, out, walk);
  return true;
}

bool t_frameView::GetAsString(bool strict, std::string& out, size_t index) const {
  t_frameWalk walk;
  return EnumString(strict, out, index, walk);
}

void t_frameView::GetAsURL(std::string& out) const {
  out.clear();
  importURL(out, data, size);
}

void t_frameView::GetAsWXXX(bool /*strict*/, std::string& out) const {
  if (size == 0 || data[0] > encodingUTF8) throw parseError();
  const size_t unit = unitSize(data[0]);
  const size_t description = findTerminator(data + 1, size - 1, unit);
  if (description == size - 1) throw parseError();
  const size_t url = 1 + description + unit;
  out.clear();
  importURL(out, data + url, size - url);
}

// Encoding, MIME type and its terminator, picture type, description and its terminator, picture.
bool t_frameView::readPicture(t_picture& picture) const {
  if (size == 0 || data[0] > encodingUTF8) return false;
  size_t at = 1;
  const size_t mime = findTerminator(data + at, size - at, 1);
  if (size - at - mime < 2) return false;  // the terminator and the type
  picture.mime.assign(reinterpret_cast<const char*>(data + at), mime);
  at += mime + 1;
  picture.type = data[at] > kLastPictureType ? uint8_t{0} : data[at];
  ++at;
  const size_t unit = unitSize(data[0]);
  const size_t description = findTerminator(data + at, size - at, unit);
  if (description == size - at) return false;
  picture.description.clear();
  importString(picture.description, data[0], data + at, description, false);
  at += description + unit;
  picture.data = data + at;
  picture.size = size - at;
  return true;
}

t_picture t_frameView::getPicture() const {
  t_picture picture;
  if (!readPicture(picture)) throw parseError();
  return picture;
}

void t_frame::SetAsString(std::string_view utf8, const tagCreateContext& context) {
  t_byteVector made;
  appendByte(made, context.encoding);
  made.append_fromptr(kLanguage, get_byteskip(id));
  if (!appendString(made, context.encoding, utf8)) throw writeError();
  data = std::move(made);
}

void t_frame::AddString(std::string_view utf8) {
  if (data.get_size() == 0 || !appendString(data, data.get_ptr()[0], utf8)) throw parseError();
}

void t_frame::SetAsNumeric(std::string_view text) {
  t_byteVector made;
  appendByte(made, encodingISO);
  appendString(made, encodingISO, text);
  data = std::move(made);
}

void t_frame::SetAsURL(std::string_view text) {
  t_byteVector made;
  append(made, exportURL(text));
  data = std::move(made);
}

void t_frame::SetAsURLEx(std::string_view description, std::string_view url,
                         const tagCreateContext& context) {
  SetAsString(description, context);
  append(data, exportISO(url));
}

void t_frame::setPicture(uint8_t type, std::string_view mime, std::string_view description,
                         const void* picture, size_t size) {
  // ISO-8859-1 serves every reader; a description that needs more must not come back as other text.
  const bool ascii = std::all_of(description.begin(), description.end(),
                                 [](char c) { return static_cast<uint8_t>(c) < 0x80; });
  const uint8_t encoding = ascii ? encodingISO : encodingUTF16;
  t_byteVector made;
  appendByte(made, encoding);
  append(made, toZero(mime));
  appendByte(made, 0);
  appendByte(made, type);
  appendString(made, encoding, description);
  made.append_fromptr(picture, size);
  id = frameID("APIC");
  data = std::move(made);
}

void t_frame::SanitizeForRevision(t_tagRevision revision) {
  const size_t skip = get_byteskip(id);
  if (data.get_size() < skip + 1) throw parseError();
  const uint8_t encoding = data.get_ptr()[0];
  if (revision >= revision4 || encoding == encodingISO || encoding == encodingUTF16) return;
  const t_frameView old = view();
  tagCreateArgs args;
  args.encoding = encodingUTF16;
  t_frame made{id, {}};
  std::string text;
  t_frameWalk walk;
  old.EnumString(false, text, 0, walk);  // "" when there is no string
  made.SetAsString(text, tagCreateContext(args));
  for (size_t i = 1; old.EnumString(false, text, i, walk); ++i) made.AddString(text);
  std::copy_n(data.get_ptr() + 1, skip, made.data.get_ptr() + 1);
  data = std::move(made.data);
}

}  // namespace wavecodec::id3parser
