#include "decoder_session.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "error.h"
#include "source_name.h"
#include "text.h"

namespace wavehost {
namespace {

// A line of the report without its "  [Function]" and line end.
std::string_view MessageOf(std::string_view line) {
  while (line.ends_with('\r') || line.ends_with('\n')) line.remove_suffix(1);
  const size_t function = line.rfind("  [");
  return function != line.npos && line.ends_with(']') ? line.substr(0, function) : line;
}

// The module's words are those for files; this is what they mean with a server.
std::string ForServer(const std::string& text) {
  struct Meaning {
    std::string_view start;
    const char* text;
  };
  constexpr Meaning kMeanings[] = {
      {"Error opening file", "no connection to the server, or no such file there"},
      {"Error SetPosition", "the server cannot deliver from within the file"},
      {"Error reading data", "the server or the connection stopped before the end"},
  };
  for (const Meaning& meaning : kMeanings) {
    if (text.starts_with(meaning.start)) return fmt::format("{} ({})", meaning.text, text);
  }
  return text;
}

}  // namespace

ErrorLog::ErrorLog() : file_(std::tmpfile()) {
  if (file_ == nullptr) throw SystemError("cannot make a temporary file");
}

std::string ErrorLog::Take() {
  std::string text;
  std::array<char, 4096> piece;
  off_t position = 0;
  ssize_t got = 0;
  while ((got = pread(Descriptor(), piece.data(), piece.size(), position)) > 0) {
    text.append(piece.data(), static_cast<size_t>(got));
    position += got;
  }
  if (ftruncate(Descriptor(), 0) == 0) lseek(Descriptor(), 0, SEEK_SET);

  std::string messages;
  for (std::string_view rest = text; !rest.empty();) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    if (!messages.empty()) messages += "; ";
    messages += MessageOf(line);
  }
  return Displayable(messages);
}

DecoderSession::DecoderSession(const CodecModule& module, bool show_report) : module_(module) {
  STNStdReport report = {};
  report.ErrorHandle = errors_.Descriptor();
  report.DebugHandle = show_report ? STDERR_FILENO : 0;  // has a copy of every error and warning
  instance_ = module.Create(&report);
  if (instance_ == nullptr) throw Error("the module cannot make a decoder");
}

DecoderSession::~DecoderSession() {
  module_.Close(instance_, nullptr);
  module_.Destroy(instance_);
}

std::string DecoderSession::ErrorText() {
  const std::string text = errors_.Take();
  if (text.empty()) return "the module failed and gave no reason";
  return from_server_ ? ForServer(text) : text;
}

bool DecoderSession::TryOpen(const std::string& file, uint32_t flags, STZuOpenDecoder& record) {
  const std::wstring name = WideFileName(file);
  from_server_ = IsAddress(file);
  record = {};
  record.fileName = name.c_str();
  record.flags = flags;
  const bool opened = module_.Open(instance_, &record) != 0;
  record.fileName = nullptr;
  return opened;
}

STZuOpenDecoder DecoderSession::Open(const std::string& file, uint32_t flags) {
  STZuOpenDecoder record;
  if (!TryOpen(file, flags, record)) throw Error(ErrorText());
  return record;
}

void DecoderSession::Close() { module_.Close(instance_, nullptr); }

void DecoderSession::WriteTags(const std::string& file, std::span<const std::byte> block) {
  static_cast<void>(errors_.Take());  // what reading found odd is no reason
  const std::wstring name = WideFileName(file);
  STZuCodecGetSet record = {};
  record.Text1 = name.c_str();
  record.Data = block.data();
  record.SubIndex = static_cast<int32_t>(block.size());
  if (module_.Set(instance_, L"IDTags", &record) == 0) throw Error(ErrorText());
}

void DecoderSession::Delete(const std::string& file, const wchar_t* names) {
  static_cast<void>(errors_.Take());
  const std::wstring name = WideFileName(file);
  if (module_.DeleteATag(instance_, name.c_str(), names) == 0) throw Error(ErrorText());
}

void DecoderSession::DeleteTags(const std::string& file, std::span<const std::string> names) {
  std::wstring packed;
  for (const std::string& name : names) packed += WideFileName(name.c_str()) + L'\0';
  if (packed.empty() || packed.front() == 0) return;  // an empty list would delete everything
  Delete(file, packed.c_str());
}

void DecoderSession::DeleteAllTags(const std::string& file) { Delete(file, nullptr); }

void DecoderSession::SetRange(int64_t from, int64_t to) {
  STZuCodecGetSet record = {};
  record.RangeFrom = from;
  record.RangeTo = to;
  if (module_.Set(instance_, L"Set Decode Range", &record) == 0) {
    throw Error("the module takes no decode range");
  }
}

STZuAudioBlock DecoderSession::DecodeBlock() {
  STZuAudioBlock block = {};  // at the end the module leaves data and byteCount as they are
  if (module_.DecodeBlock(instance_, &block) == 0) throw Error(ErrorText());
  return block;
}

bool DecoderSession::Get(const wchar_t* key, STZuCodecGetSet& record) {
  return module_.Get(instance_, key, &record) != 0;
}

}  // namespace wavehost
