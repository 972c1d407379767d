#include "support/http_body.h"

#include <limits>

#include "support/http_limits.h"
#include "support/text_scan.h"

namespace wavecodec {

HTTPBody HTTPBody::Plain(std::optional<int64_t> length) {
  HTTPBody body;
  body.Data = length.value_or(std::numeric_limits<int64_t>::max());
  body.Next = body.Data != 0 ? Part::Data : Part::End;
  return body;
}

HTTPBody HTTPBody::InChunks() {
  HTTPBody body;
  body.Next = Part::Size;
  body.Chunked = true;
  return body;
}

void HTTPBody::TakeData(int64_t count) {
  Data -= count;
  if (Data == 0) Next = Chunked ? Part::DataEnd : Part::End;
}

size_t HTTPBody::TakeFraming(const uint8_t* bytes, size_t size) {
  size_t taken = 0;
  while (taken < size && !IsOver() && Next != Part::Data) {
    Next = ++FramingLength <= int64_t{kLargestHTTPHead} ? After(bytes[taken]) : Part::Bad;
    ++taken;
  }
  if (Next == Part::Data) FramingLength = 0;
  return taken;
}

HTTPBody::Part HTTPBody::AfterSize(uint8_t byte) {
  const int digit = HexDigit(static_cast<char>(byte));
  if (digit >= 0) {
    if (Data > std::numeric_limits<int64_t>::max() >> 4) return Part::Bad;
    Data = Data << 4 | digit;
    HasDigit = true;
    return Part::Size;
  }
  if (!HasDigit) return Part::Bad;
  HasDigit = false;
  if (byte == '\n') return Data != 0 ? Part::Data : Part::Trailer;
  return byte == ';' || byte == ' ' || byte == '\t' || byte == '\r' ? Part::Extension : Part::Bad;
}

HTTPBody::Part HTTPBody::AfterTrailer(uint8_t byte) {
  if (byte == '\r') return Part::Trailer;
  const bool ends = byte == '\n' && LineIsEmpty;
  LineIsEmpty = byte == '\n';
  return ends ? Part::End : Part::Trailer;
}

HTTPBody::Part HTTPBody::After(uint8_t byte) {
  switch (Next) {
    case Part::Size:
      return AfterSize(byte);
    case Part::Extension:  // says nothing that is needed
      if (byte != '\n') return Part::Extension;
      return Data != 0 ? Part::Data : Part::Trailer;
    case Part::DataEnd:
      if (byte == '\r') return Part::DataEnd;
      return byte == '\n' ? Part::Size : Part::Bad;
    case Part::Trailer:
      return AfterTrailer(byte);
    default:
      return Next;
  }
}

}  // namespace wavecodec
