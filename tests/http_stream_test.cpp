// The HTTP stream against a server that says exactly what a test tells it to.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <sstream>
#include <thread>
#include <vector>

#include "support.h"
#include "support/http_address.h"
#include "support/xfile_http_stream.h"
#include "support/xstr.h"

#ifndef MSG_NOSIGNAL
#define MSG_NOSIGNAL 0  // a test that fails may end by a signal there
#endif

namespace wavecodec {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

// Of one connection, after which it is closed unless the server holds it.
struct Reply {
  std::string Bytes;
  bool Holds = false;
  size_t Piece = SIZE_MAX;
  milliseconds Pause{0};  // behind each piece
  size_t AtOnce = 0;      // goes before the pieces
};

// Answers as many connections as it has replies; further ones are refused.
class Server : test::Fixed {
 public:
  explicit Server(std::vector<Reply> replies) : Replies(std::move(replies)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* name = reinterpret_cast<sockaddr*>(&address);
    Listener = socket(AF_INET, SOCK_STREAM, 0);
    EXPECT_TRUE(bind(Listener, name, size) == 0 && listen(Listener, 8) == 0 &&
                getsockname(Listener, name, &size) == 0);
    Host = "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
    Thread = std::thread([this] { Serve(); });
  }
  ~Server() { static_cast<void>(Requests()); }

  // Ends it.
  const std::vector<std::string>& Requests() {
    Stops = true;
    if (Thread.joinable()) Thread.join();
    return Seen;
  }

  std::string Host;

 private:
  // Something has come; false when the test is over.
  bool WaitFor(int handle) const {
    pollfd wait{handle, POLLIN, 0};
    while (!Stops) {
      if (poll(&wait, 1, 5) > 0) return true;
    }
    return false;
  }

  void Serve() {
    for (const Reply& reply : Replies) {
      if (!WaitFor(Listener)) break;
      const int connection = accept(Listener, nullptr, nullptr);
      if (WaitFor(connection)) Answer(connection, reply);
      close(connection);
    }
    close(Listener);
  }

  void Answer(int connection, const Reply& reply) {
    char bytes[16384];
    const ssize_t got = recv(connection, bytes, sizeof bytes, 0);
    Seen.emplace_back(bytes, static_cast<size_t>(std::max(got, ssize_t{0})));
    for (size_t at = 0; at < reply.Bytes.size() && !Stops;) {
      const std::string piece =
          reply.Bytes.substr(at, std::max(reply.AtOnce, at + reply.Piece) - at);
      if (send(connection, piece.data(), piece.size(), MSG_NOSIGNAL) <= 0) return;
      at += piece.size();
      std::this_thread::sleep_for(reply.Pause);
    }
    if (reply.Holds && WaitFor(connection)) static_cast<void>(recv(connection, bytes, 1, 0));
  }

  const std::vector<Reply> Replies;
  int Listener = -1;
  std::atomic<bool> Stops = false;
  std::vector<std::string> Seen;
  std::thread Thread;
};

// Long enough for a busy machine where a test does not wait for the end.
constexpr HTTPLimits kQuick{
    milliseconds(2000), milliseconds(1000), milliseconds(500), milliseconds(600), 256,
    milliseconds(2500)};

const std::string kFile = test::Noise(5000);

std::string Ok(const std::string& headers, const std::string& body) {
  return "HTTP/1.1 200 OK\r\n" + headers + "\r\n\r\n" + body;
}
// The first `count` bytes of the file, as a server with ranges gives it.
std::string Whole(size_t count = 5000, const std::string& more = "") {
  return Ok("Content-Length: 5000\r\nAccept-Ranges: bytes" + more, kFile.substr(0, count));
}
std::string Part(size_t from, size_t count = 5000, const std::string& total = "5000") {
  return "HTTP/1.1 206 Partial\r\nContent-Range: bytes " + std::to_string(from) + "-4999/" + total +
         "\r\nContent-Length: " + std::to_string(5000 - from) + "\r\n\r\n" +
         kFile.substr(from, count);
}

std::string Take(XFile& source, size_t count) {
  std::string bytes(count, '\0');
  bytes.resize(source.Read(bytes.data(), count));
  return bytes;
}

std::string TakeAll(XFileHTTPStream& source, size_t block) {
  std::string all;
  for (std::string some = Take(source, block); !some.empty(); some = Take(source, block)) {
    all += some;
    source.BeginCall();
  }
  return all;
}

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::istringstream rest(text);
  for (std::string part; std::getline(rest, part, separator);) parts.push_back(part);
  return parts;
}

bool OpenFrom(const Server& server, XFileHTTPStream& stream) {
  stream.SetLimits(kQuick);
  return stream.Open(FromUtf8("http://" + server.Host + "/a/file").c_str());
}

// What a client gets that reads all; "!" when it cannot open.
std::string Get(const Reply& reply, size_t block) {
  const Server server({reply});
  XFileHTTPStream stream;
  if (!OpenFrom(server, stream)) return "!";
  std::string all = TakeAll(stream, block);
  const auto size = static_cast<int64_t>(all.size());
  EXPECT_EQ(stream.GetPosition(), size);
  EXPECT_EQ(stream.IsEOF(), stream.Size() == 0 || stream.Size() == size);
  return all;
}

// Host name, host field and path; "!" of what cannot be asked for.
std::string Plain(const std::optional<HTTPAddress>& address) {
  return address ? address->HostName() + " " + address->HostField() + " " + address->Path : "!";
}

TEST(HTTPAddress, IsReadOrRefused) {
  const std::string long_path = "h/" + std::string(8183, 'x');
  const std::string read =
      "h=h h /,a-b.c_d:80/x?y#z=a-b.c_d a-b.c_d /x?y,h:8000?q/@:1=h h:8000 /?q/@:1,h:/=h h /,"
      "[::1]:65535/=::1 [::1]:65535 /,h/a b\xC3\xA9%20=h h /a%20b%C3%A9%20,:80/=!,h:0/=!,"
      "h:65536/=!,h:18446744073709551696/=!,h:8a/=!,u@h/=!,u:p@h/=!,[::1/=!,[::1]x/=!,[]/=!,"
      "[h]/=!,\xC3\xA9/=!,h/\r\nX=!,h/\x7F=!,";
  for (const std::string& each :
       Split(read + long_path + "x=!,h/" + std::string(2800, '\xFF') + "=!", ',')) {
    const size_t end = each.find('=');
    EXPECT_EQ(Plain(HTTPAddress::Parse("HTTP://" + each.substr(0, end))), each.substr(end + 1));
  }
  const auto from = HTTPAddress::Parse("http://h:81/a/b/c?d/e");
  const std::string redirects =
      "http://x/y=x x /y,//x/y=x x /y,/y?z#f=h h:81 /y?z,y/z=h h:81 /a/b/y/z,../.././y=h h:81 /y,"
      "..=h h:81 /a/,?z=h h:81 /a/b/c?z,y?z:/../=h h:81 /a/b/y?z:/../,/\xC3\xA9=h h:81 /%C3%A9,"
      "https://x/=!,ftp:x=!,http:///=!,/a\rb=!,=!";
  for (const std::string& each : Split(redirects, ',')) {
    const size_t end = each.find('=');
    EXPECT_EQ(Plain(from->Resolve(each.substr(0, end))), each.substr(end + 1)) << each;
  }
}

// Whatever the sizes of reads and of the pieces that come.
TEST(HTTPStream, GivesTheBodyOrRefusesTheReply) {
  const std::string many(70000, 'x');
  const std::string chunked = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
  const std::string part = "HTTP/1.1 206 P\r\nContent-Length: 5\r\n";
  const struct {
    std::string Bytes, Gives;
    bool Holds = true;  // no reply with a known end waits for that of the connection
  } cases[] = {
      {Ok("Content-Length: 5\r\ncontent-length: 5, 5", "abcdefgh"), "abcde"},
      {Ok("Content-Length: 70000", many), many},
      {"ICY 200 OK\nicy-name: x\nicy-metaint: 0\ncontent-LENGTH :5\n\nabcde", "abcde"},
      {"HTTP/1.1 103 Early\r\nLink: x\r\n\r\n" + Ok("Content-Length: 5", "abcde"), "abcde"},
      {part + "Content-Range: bytes 0-4/5\r\n\r\nabcde", "abcde"},
      {chunked + "3;n=\"a b\"\r\nabc\r\n002 \nde\n0\r\nTrailer: x\r\n\r\n", "abcde"},
      {Ok("Content-Length: 2\r\nTRANSFER-ENCODING : Chunked", "3\r\nabc\r\n0\r\n\r\n"), "abc"},
      {chunked + "5\r\nabc", "abc", false},
      {chunked + "3\r\nabc4\r\nabcd\r\n", "abc"},
      {chunked + "3\r\nabc\r\n10000000000000003\r\nabc\r\n", "abc"},
      {chunked + "3;" + many + "\r\nabc\r\n0\r\n\r\n", ""},
      {part + "Content-Range: bytes 1-5/6\r\n\r\nabcde", "!"},
      {"HTTP/1.1 200 OK\r\nContent-Length: 5\r\n", "!", false},
      {"SSH-2.0-x\r\n\r\n", "!"}};
  for (const auto& each : cases) {
    SCOPED_TRACE(each.Bytes.substr(0, 200));
    const bool small = each.Bytes.size() < 300;
    const auto begin = steady_clock::now();
    EXPECT_EQ(Get({each.Bytes, each.Holds}, 100000), each.Gives);
    EXPECT_EQ(Get({each.Bytes, each.Holds, small ? 1U : 30000U, milliseconds(small ? 0 : 5)}, 3),
              each.Gives);
    EXPECT_LT(steady_clock::now() - begin, kQuick.SilentTime);
  }
  const auto refused = Split(
      "Content-Length: five|Content-Length: -5|Content-Length:|Content-Length: 9223372036854775808|"
      "Content-Length: 5\r\nContent-Length: 6|Transfer-Encoding: gzip, chunked|"
      "Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked|Content-Encoding: gzip|"
      "Icy-MetaInt: 8192|X: " +
          many.substr(0, 16400) + "|X: " + many,
      '|');
  for (const std::string& headers : refused) {
    EXPECT_EQ(Get({Ok(headers, "abcde"), true}, 7), "!") << headers.substr(0, 200);
  }
}

TEST(HTTPStream, AsksWhereRedirectsLed) {
  Server far({{Whole(2000)}, {Part(2000)}});
  Server near({{"HTTP/1.1 301 x\r\nContent-Encoding: gzip\r\nLocation: http://" + far.Host +
                "/c d?x\r\n\r\n"}});
  XFileHTTPStream stream;
  ASSERT_TRUE(OpenFrom(near, stream));
  EXPECT_EQ(TakeAll(stream, 5000), kFile);
  const std::string request = "GET /c%20d?x HTTP/1.1\r\nUser-Agent: Tonvark\r\nHost: " + far.Host +
                              "\r\nConnection: Close\r\n";
  EXPECT_EQ(far.Requests(),
            std::vector({request + "\r\n", request + "Range: bytes=2000-5000\r\n\r\n"}));
}

// What one read gives, then the reads behind it, when the connection drops after 2000 bytes.
TEST(HTTPStream, ReopensADroppedConnectionOnce) {
  const std::string changed = Ok("Content-Length: 5001", kFile + "x");
  const auto part_of_length = [](const std::string& length) {
    return "HTTP/1.1 206 P\r\nContent-Length: " + length + "\r\n\r\n" + kFile.substr(2000);
  };
  const std::string gone = "HTTP/1.1 404 None\r\n\r\n";
  const std::string part_of_another = "HTTP/1.1 206 P\r\nETag: \"b\"\r\n" + Part(2000).substr(22);
  const struct {
    const char* Name;
    std::vector<Reply> Replies;
    std::vector<size_t> Reads;  // sizes that reads of 5000 bytes bring
  } cases[] = {
      {"range", {{Whole(2000)}, {Part(2000), true}}, {2000, 3000, 0}},
      {"head without body", {{Whole(0)}, {Part(0, 0)}, {Part(0)}}, {0, 5000, 0}},
      {"no ranges, drops again", {{Whole(2000)}, {Whole(1500)}, {Whole()}}, {2000, 3000, 0}},
      {"total not told", {{Whole(2000)}, {Part(2000, 5000, "*")}}, {2000, 3000, 0}},
      {"elsewhere", {{Whole(2000)}, {Part(1999)}}, {2000, 0}},
      {"other total", {{Whole(2000)}, {Part(2000, 5000, "5001")}}, {2000, 0}},
      {"other size", {{Whole(2000)}, {changed}}, {2000, 0}},
      {"other tag", {{Whole(2000, "\r\nETag: \"a\"")}, {part_of_another}}, {2000, 0}},
      {"weak tag", {{Whole(2000, "\r\nETag: W/\"a\"")}, {part_of_another}}, {2000, 3000, 0}},
      {"range not told", {{Whole(2000)}, {part_of_length("3000")}}, {2000, 3000, 0}},
      {"nor its length", {{Whole(2000)}, {part_of_length("3001")}}, {2000, 0}},
      {"gone for a while", {{Whole(2000)}, {gone}, {Part(2000)}}, {2000, 3000, 0}},
      {"size unknown", {{Ok("Server: x", kFile.substr(0, 2000))}, {Whole()}}, {2000, 0}}};
  for (const auto& each : cases) {
    SCOPED_TRACE(each.Name);
    const Server server(each.Replies);
    XFileHTTPStream stream;
    ASSERT_TRUE(OpenFrom(server, stream));
    size_t done = 0;
    for (const size_t count : each.Reads) {
      EXPECT_EQ(Take(stream, 5000), kFile.substr(done, count));
      done += count;
      EXPECT_EQ(stream.GetPosition(), static_cast<int64_t>(done));
    }
  }
}

TEST(HTTPStream, SeeksByRanges) {
  using enum ENXFilePos;
  Server server({{Whole(), true}, {Part(1000), true}, {"HTTP/1.1 500 No\r\n\r\n"}, {Part(1010)}});
  XFileHTTPStream stream;
  ASSERT_TRUE(OpenFrom(server, stream));
  EXPECT_EQ(Take(stream, 10), kFile.substr(0, 10));
  EXPECT_TRUE(stream.SetPosition(10) && stream.SetPosition(0, Current) &&
              stream.SetPosition(-4990, End));
  EXPECT_FALSE(stream.SetPosition(-1) || stream.SetPosition(5001) ||
               stream.SetPosition(INT64_MAX, Current) || stream.SetPosition(INT64_MIN, End));
  EXPECT_EQ(Take(stream, 10), kFile.substr(10, 10));
  EXPECT_TRUE(stream.SetPosition(0, End) && stream.IsEOF());
  EXPECT_EQ(Take(stream, 10), "");
  EXPECT_TRUE(stream.SetPosition(-4000, End));
  EXPECT_EQ(Take(stream, 10), kFile.substr(1000, 10));
  EXPECT_FALSE(stream.SetPosition(990, Current));  // loses nothing
  EXPECT_EQ(TakeAll(stream, 5000), kFile.substr(1010));
  EXPECT_EQ(server.Requests().size(), 4U);
}

// Servers that hold their clients: what the client has in the end, and when.
TEST(HTTPStream, WaitsForALimitedTime) {
  const auto drip = [](const std::string& reply, size_t piece) {
    return Reply{reply, true, piece, milliseconds(20), Whole(0).size()};
  };
  const std::string long_head = Whole(0, "\r\nX: " + std::string(1000, 'x'));
  const std::string framing = Ok("Accept-Ranges: bytes\r\nTransfer-Encoding: chunked",
                                 "1;" + std::string(3000, 'x') + "\r\na\r\n0\r\n\r\n");
  const struct {
    const char* Name;
    std::vector<Reply> Replies;
    size_t AtLeast, AtMost;  // bytes that come; SIZE_MAX does not open
    milliseconds Time;
    bool GivenUp = false;
  } cases[] = {
      {"no head", {{"", true}}, SIZE_MAX, SIZE_MAX, kQuick.HeadTime},
      {"dripping head", {drip(long_head, 1)}, SIZE_MAX, SIZE_MAX, kQuick.HeadTime},
      {"silent body", {{Whole(2000), true}, {Part(2000, 0), true}}, 2000, 2000, kQuick.SilentTime},
      {"slow body", {drip(Whole(1600), 40)}, 1600, 1600, kQuick.PatienceTime},
      {"slow to skip", {{Whole(2000)}, drip(Whole(), 60)}, 5000, 5000, kQuick.PatienceTime * 2},
      {"dripping body", {drip(Whole(), 1), {Part(0)}}, 1, 150, kQuick.PatienceTime, true},
      {"dripping framing", {drip(framing, 20), {Part(0)}}, 0, 0, kQuick.PatienceTime, true},
      {"without end", {drip(Whole(), 30), {Part(0)}}, 1000, 4000, kQuick.CallTime, true}};
  const auto try_out = [](const auto& each) {
    SCOPED_TRACE(each.Name);
    Server server(each.Replies);
    XFileHTTPStream stream;
    const auto begin = steady_clock::now();
    const bool opens = OpenFrom(server, stream);
    const size_t got = opens ? TakeAll(stream, 5000).size() : SIZE_MAX;
    EXPECT_TRUE(got >= each.AtLeast && got <= each.AtMost) << got;
    const auto took = steady_clock::now() - begin;
    EXPECT_GE(took, each.Time);
    EXPECT_LT(took, each.Time * 2 + seconds(5));  // on a busy machine, too
    if (!each.GivenUp) return;                    // for good: no more waiting, no more traffic
    EXPECT_TRUE(stream.IsEOF() && !stream.SetPosition(4999));
    EXPECT_EQ(server.Requests().size(), 1U);
  };
  std::vector<std::future<void>> all;
  for (const auto& each : cases) all.push_back(std::async(std::launch::async, try_out, each));
}

TEST(HTTPStream, TakesOtherNamesForFiles) {
  XFileHTTPStream source;
  EXPECT_FALSE(source.Open(L"https://127.0.0.1/") || source.FromInterent());
  EXPECT_FALSE(source.Open(L"HTTP://") || !source.FromInterent() || source.IsOpen());
  EXPECT_TRUE(source.Open(test::TempFile(kFile).Name().c_str()) && source.IsSeekable());
  EXPECT_TRUE(!source.FromInterent() && source.SetPosition(0, ENXFilePos::End) && source.IsEOF());
}

}  // namespace
}  // namespace wavecodec
