#include "support/xfile_http_stream.h"

#include "support/http_stream.h"
#include "support/xstr.h"

namespace wavecodec {
namespace {

constexpr HTTPLimits kDefaultLimits;

bool IsHTTPAddress(const wchar_t* name) {
  for (const char c : kHTTPScheme) {
    if (FoldCase(*name++) != static_cast<wchar_t>(c)) return false;
  }
  return true;
}

}  // namespace

XFileHTTPStream::XFileHTTPStream() noexcept : Limits(&kDefaultLimits) {}
XFileHTTPStream::~XFileHTTPStream() = default;

bool XFileHTTPStream::Open(const wchar_t* name) {
  Close();
  if (name == nullptr || !IsHTTPAddress(name)) return XFile::Open(name);
  Internet = true;
  auto stream = std::make_unique<HTTPStream>(*Limits);
  if (!stream->Open(name)) return false;
  Stream = std::move(stream);
  SetOpened(Stream->Size());
  return true;
}

void XFileHTTPStream::Close() {
  Internet = false;
  Stream.reset();
  XFile::Close();
}

void XFileHTTPStream::BeginCall() {
  if (Stream) Stream->BeginCall();
}

bool XFileHTTPStream::IsSeekable() const { return Stream ? Stream->IsSeekable() : IsOpen(); }

bool XFileHTTPStream::IsEOF() const {
  return Stream ? Stream->IsEOF() : XFile::GetPosition() >= XFile::Size();
}

int64_t XFileHTTPStream::Size() const { return Stream ? Stream->Size() : XFile::Size(); }

int64_t XFileHTTPStream::GetPosition() const {
  return Stream ? Stream->GetPosition() : XFile::GetPosition();
}

bool XFileHTTPStream::SetPosition(int64_t offset, ENXFilePos from) {
  return Stream ? Stream->SetPosition(offset, from) : XFile::SetPosition(offset, from);
}

size_t XFileHTTPStream::Read(void* buffer, size_t count) {
  return Stream ? Stream->Read(buffer, count) : XFile::Read(buffer, count);
}

size_t XFileHTTPStream::ReadSmall(void* buffer, size_t count) {
  return Stream ? Stream->Read(buffer, count) : XFile::ReadSmall(buffer, count);
}

}  // namespace wavecodec
