#include "support/http_reply.h"

#include <algorithm>
#include <cstring>

#include "support/http_limits.h"
#include "support/names.h"
#include "support/text_scan.h"

namespace wavecodec {
namespace {

constexpr bool IsBlank(char c) { return c == ' ' || c == '\t'; }

bool StartsWithPattern(std::string_view line, std::string_view pattern) {
  return line.size() >= pattern.size() &&
         std::equal(pattern.begin(), pattern.end(), line.begin(),
                    [](char p, char c) { return p == '?' || ToLowerASCII(p) == ToLowerASCII(c); });
}

// Moves the line to `to` without the blanks before its first colon; returns its new end.
char* CopyLine(char* to, std::string_view line) {
  const size_t colon = std::min(line.find(':'), line.size());
  size_t name = colon;
  if (colon != line.size()) {
    while (name > 0 && IsBlank(line[name - 1])) --name;
  }
  std::memmove(to, line.data(), name);
  std::memmove(to + name, line.data() + colon, line.size() - colon);
  return to + name + (line.size() - colon);
}

// Takes the text up to `separator` off the front.
std::string_view TakeUpTo(std::string_view& text, char separator) {
  const std::string_view front = text.substr(0, text.find(separator));
  text.remove_prefix(std::min(front.size() + 1, text.size()));
  return Trimmed(front);
}

// Whether no header changes what the body's bytes mean.
bool IsPlainBody(std::string_view head) {
  while (const auto coding = NextHTTPHeaderLine(head, "CONTENT-ENCODING:")) {
    if (!coding->empty() && !SameName(*coding, "identity")) return false;
  }
  return true;
}

// Whether station titles stand among the audio, as some servers send on request.
bool HasTitles(std::string_view head) {
  return LeadingInt64(FindHTTPHeaderLine(head, "ICY-METAINT:").value_or("")) != 0;
}

}  // namespace

size_t HTTPHeadLength(std::string_view bytes, size_t seen) {
  constexpr size_t kLongestEnd = 3;  // LF CR LF
  size_t line = 0;
  if (seen > kLongestEnd) {
    const size_t end = bytes.find('\n', seen - kLongestEnd);
    if (end == std::string_view::npos) return 0;
    line = end + 1;
  }
  for (;;) {
    const size_t end = bytes.find('\n', line);
    if (end == std::string_view::npos) return 0;
    if (end == line || (end == line + 1 && bytes[line] == '\r')) return end + 1;
    line = end + 1;
  }
}

size_t PlainHTTPHead(char* head, size_t size) {
  std::string_view rest(head, size);
  char* end = head;
  while (!rest.empty()) {
    std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    if (line.size() > kLongestHTTPLine) return 0;
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (line.empty()) break;
    if (IsBlank(line.front()) && end != head) {
      end[-1] = ' ';  // goes on with the line before
      std::memmove(end, line.data(), line.size());
      end += line.size();
    } else {
      end = CopyLine(end, line);
    }
    *end++ = '\n';
  }
  return static_cast<size_t>(end - head);
}

std::optional<std::string_view> NextHTTPHeaderLine(std::string_view& rest,
                                                   std::string_view pattern) {
  while (!rest.empty()) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    if (StartsWithPattern(line, pattern)) return Trimmed(line.substr(pattern.size()));
  }
  return std::nullopt;
}

std::optional<HTTPReply> HTTPReply::Parse(std::string_view plain_head) {
  auto status = FindHTTPHeaderLine(plain_head, "HTTP/?.? ");
  if (!status) status = FindHTTPHeaderLine(plain_head, "ICY ");
  if (!status) return std::nullopt;
  HTTPReply reply;
  reply.Status = LeadingInt64(*status);
  reply.Location = FindHTTPHeaderLine(plain_head, "LOCATION:").value_or("");
  if (!reply.HasFile()) return reply;

  if (!reply.ReadLength(plain_head) || !reply.ReadRange(plain_head) || !IsPlainBody(plain_head) ||
      HasTitles(plain_head)) {
    return std::nullopt;
  }
  reply.AcceptsRanges = !FindHTTPHeaderLine(plain_head, "ACCEPT-RANGES:").value_or("").empty();
  const std::string_view tag = FindHTTPHeaderLine(plain_head, "ETAG:").value_or("");
  if (!tag.empty() && tag.front() == '"') reply.StrongETag = tag;  // weak ones start with W/
  return reply;
}

// Several equal lengths are one (RFC 9110, 8.6).
bool HTTPReply::ReadLength(std::string_view head) {
  std::string_view rest = head;
  while (auto lengths = NextHTTPHeaderLine(rest, "CONTENT-LENGTH:")) {
    do {
      const auto length = WholeNumber(TakeUpTo(*lengths, ','));
      if (!length || (ContentLength && *ContentLength != *length)) return false;
      ContentLength = length;
    } while (!lengths->empty());
  }
  rest = head;
  while (const auto coding = NextHTTPHeaderLine(rest, "TRANSFER-ENCODING:")) {
    if (Chunked || !SameName(*coding, "chunked")) return false;
    Chunked = true;
    ContentLength.reset();
  }
  return true;
}

// "bytes 0-99/1000", or "*" for a total that the server does not know.
bool HTTPReply::ReadRange(std::string_view head) {
  auto text = FindHTTPHeaderLine(head, "CONTENT-RANGE:");
  if (!text || Status != 206) return true;
  if (!SameName(TakeUpTo(*text, ' '), "bytes")) return false;
  const auto first = WholeNumber(TakeUpTo(*text, '-'));
  const auto last = WholeNumber(TakeUpTo(*text, '/'));
  const std::string_view total = Trimmed(*text);
  if (!first || !last || *last < *first) return false;
  ContentRange = Range{*first, WholeNumber(total)};
  return ContentRange->Total.has_value() || total == "*";
}

}  // namespace wavecodec
