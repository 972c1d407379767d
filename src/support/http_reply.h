// The head of an HTTP reply (RFC 9110, RFC 9112) as far as a reader of audio needs it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace wavecodec {

// Length of the head at the front of `bytes`, with the empty line that ends it; 0 while that has
// not come. What lies before `seen` was searched before.
size_t HTTPHeadLength(std::string_view bytes, size_t seen);

// Brings a head into the plain form that the functions below take: lines end with LF alone, folded
// lines are joined (RFC 9112, 5.2), no blank stands before a colon. Returns its new size; 0 when a
// line is too long.
size_t PlainHTTPHead(char* head, size_t size);

// What stands behind `pattern` in the first line that starts with it, blanks trimmed; `rest` goes on
// behind that line. A "?" in the pattern is any character; small letters of the head count as
// capitals.
std::optional<std::string_view> NextHTTPHeaderLine(std::string_view& rest,
                                                   std::string_view pattern);
inline std::optional<std::string_view> FindHTTPHeaderLine(std::string_view head,
                                                          std::string_view pattern) {
  return NextHTTPHeaderLine(head, pattern);
}

// Views into the head that it was read from.
struct HTTPReply {
  struct Range {
    int64_t First = 0;
    std::optional<int64_t> Total;  // of the whole file
  };

  int64_t Status = 0;
  std::string_view Location;

  // Of an accepted status alone:
  bool Chunked = false;
  std::optional<int64_t> ContentLength;  // none with chunks, whose lengths count instead
  std::optional<Range> ContentRange;
  bool AcceptsRanges = false;
  std::string_view StrongETag;  // empty when there is none

  // None when there is no status line, or when the body is not the file's plain bytes in a form that
  // is understood: those of another coding, or of an unclear length, would be heard as noise.
  static std::optional<HTTPReply> Parse(std::string_view plain_head);

  [[nodiscard]] bool HasFile() const { return Status == 200 || Status == 203 || Status == 206; }

 private:
  [[nodiscard]] bool ReadLength(std::string_view head);
  [[nodiscard]] bool ReadRange(std::string_view head);
};

}  // namespace wavecodec
