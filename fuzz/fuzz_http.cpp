// What a server sends: a reply's head and its body, in pieces whose sizes the input gives, have to
// be read as they are whole.
#include <algorithm>

#include "fuzz_target.h"
#include "support/http_address.h"
#include "support/http_body.h"
#include "support/http_reply.h"

namespace wavecodec::fuzz {

std::vector<Seed> Seeds() {
  const std::string ok = "HTTP/1.1 200 OK\r\nContent-Type: audio/wav\r\n";
  return {
      {"whole",
       "\5" + ok + "Content-Length: 5\r\nAccept-Ranges: bytes\r\nETag: \"a\"\r\n\r\nRIFF "},
      {"range", "\3HTTP/1.1 206 Partial Content\nContent-Range: bytes 3-9/10\n\n3456789"},
      {"chunked", "\7" + ok +
                      "Transfer-Encoding: chunked\r\n\r\n"
                      "4;a=\"b\"\r\nRIFF\r\nA\r\n0123456789\r\n0\r\nTrailer: 1\r\n\r\n"},
      {"moved", "\1HTTP/1.0 301 Moved\r\nLocation: ../a%20b?c#d\r\n\r\n"},
      {"elsewhere", "\2HTTP/1.1 302 Found\r\nLocation: http://[::1]:8080/x\r\n\r\n"},
      {"interim", "\4HTTP/1.1 100 Continue\r\n\r\n" + ok + "\r\ndata"},
      {"radio", "\6ICY 200 OK\r\nicy-metaint: 16\r\nContent-Encoding: identity\r\n\r\naudio"},
      {"folded", "\x9" + ok + "X-A: b\r\n c\r\nContent-Length: 3, 3\r\n\r\nabc"},
  };
}

namespace {

// The data that come out of the body's bytes, and how it ends.
std::string Decode(HTTPBody body, std::string_view bytes, size_t piece) {
  std::string data;
  while (!bytes.empty() && !body.IsOver()) {
    const size_t size = std::min(piece, bytes.size());
    size_t taken = 0;
    if (body.DataLeft() != 0) {
      taken = static_cast<size_t>(std::min<int64_t>(body.DataLeft(), static_cast<int64_t>(size)));
      data.append(bytes, 0, taken);
      body.TakeData(static_cast<int64_t>(taken));
    } else {
      taken = body.TakeFraming(Bytes(bytes), size);
      Check(taken != 0 && taken <= size);
    }
    bytes.remove_prefix(taken);
  }
  Check(body.DataLeft() >= 0);
  return data + (body.IsBad() ? "bad" : body.IsOver() ? "over" : "") + std::to_string(bytes.size());
}

// The head's length; found the same when it comes in pieces.
size_t FindHead(std::string_view bytes, size_t piece) {
  const size_t whole = HTTPHeadLength(bytes, 0);
  size_t seen = 0;
  for (size_t there = 0; there < bytes.size(); seen = there) {
    there = std::min(there + piece, bytes.size());
    const size_t length = HTTPHeadLength(bytes.substr(0, there), seen);
    Check(length == (whole <= there ? whole : 0));
    if (length != 0) break;
  }
  return whole;
}

void ReadHead(std::string head) {
  const size_t plain = PlainHTTPHead(head.data(), head.size());
  Check(plain <= head.size());
  head.resize(plain);
  const auto reply = HTTPReply::Parse(head);
  if (!reply) return;
  Check(reply->ContentLength.value_or(0) >= 0 && !(reply->Chunked && reply->ContentLength));
  Check(!reply->ContentRange || reply->ContentRange->First >= 0);
  const auto from = HTTPAddress::Parse("http://host/folder/file?query");
  const auto to = from->Resolve(reply->Location);
  if (!to) return;
  // What a request is made of is one line, and means the same again.
  const std::string fields = to->HostField() + to->Path;
  Check(!to->HostName().empty() && to->Port != 0 && to->Path.front() == '/');
  Check(std::all_of(fields.begin(), fields.end(), [](char c) { return c > ' ' && c < 0x7F; }));
  const auto again = HTTPAddress::Parse("http://" + fields);
  Check(again && again->HostField() + again->Path == fields);
}

}  // namespace
}  // namespace wavecodec::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace wavecodec;
  using namespace wavecodec::fuzz;
  if (size == 0) return 0;
  const size_t piece = size_t{1} + data[0] % 16;
  const std::string_view bytes = Text(data + 1, size - 1);
  const size_t head = FindHead(bytes, piece);
  ReadHead(std::string(bytes.substr(0, head)));
  const std::string_view rest = bytes.substr(head);
  for (const HTTPBody& body : {HTTPBody::InChunks(), HTTPBody::Plain(static_cast<int64_t>(data[0])),
                               HTTPBody::Plain({})}) {
    Check(Decode(body, rest, piece) == Decode(body, rest, rest.size()));
  }
  return 0;
}
