// A Wave source by its name: a local file, or one on an HTTP server.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "support/http_limits.h"
#include "support/xfile.h"

namespace wavecodec {

class HTTPStream;

class XFileHTTPStream final : public XFile {
 public:
  XFileHTTPStream() noexcept;
  XFileHTTPStream(const XFileHTTPStream&) = delete;
  XFileHTTPStream& operator=(const XFileHTTPStream&) = delete;
  ~XFileHTTPStream() override;

  // A name that starts with "http://", in letters of either case, is an address; any other one is a
  // local file.
  bool Open(const wchar_t* name) override;
  using XFile::Open;
  void Close() override;
  // A call of the host begins, with its own limit of waiting; opening is one.
  void BeginCall();
  // For the next opening; they outlive the object.
  void SetLimits(const HTTPLimits& limits) { Limits = &limits; }

  // Whether the name of the last opening is an address.
  [[nodiscard]] bool FromInterent() const { return Internet; }
  // The source as a plain local file.
  [[nodiscard]] XFile& NonInternetFileHandle() { return *this; }
  [[nodiscard]] bool IsSeekable() const;
  // Nothing more can be read from here on.
  [[nodiscard]] bool IsEOF() const;

  // Of a stream 0 while it is unknown.
  [[nodiscard]] int64_t Size() const override;
  [[nodiscard]] int64_t GetPosition() const override;
  // A stream moves where its server gives ranges, and within its size.
  [[nodiscard]] bool SetPosition(int64_t offset, ENXFilePos from) override;
  using XFile::SetPosition;
  // Of a stream a read comes back short also where a connection broke and was made anew; only 0 is
  // the end, or a failure.
  [[nodiscard]] size_t Read(void* buffer, size_t count) override;
  [[nodiscard]] size_t ReadSmall(void* buffer, size_t count) override;

 private:
  const HTTPLimits* Limits;
  std::unique_ptr<HTTPStream> Stream;  // null for a local file
  bool Internet = false;
};

}  // namespace wavecodec
