// One decoder instance of the module, with the text of its errors.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>

#include "codec_module.h"

namespace wavehost {

// Collects what the module writes to the error handle of its report. A file that has no name:
// unlike a pipe it never fills up.
class ErrorLog {
 public:
  ErrorLog();
  [[nodiscard]] int Descriptor() const { return fileno(file_.get()); }
  // The collected errors, without the names of the functions they came from; empties the log.
  [[nodiscard]] std::string Take();

 private:
  struct Closer {
    void operator()(FILE* file) const { static_cast<void>(std::fclose(file)); }
  };
  std::unique_ptr<FILE, Closer> file_;
};

class DecoderSession {
 public:
  // `show_report`: the module's diagnostic report goes to the standard error.
  DecoderSession(const CodecModule& module, bool show_report);
  DecoderSession(const DecoderSession&) = delete;
  DecoderSession& operator=(const DecoderSession&) = delete;
  ~DecoderSession();

  // Opens a file, given by the bytes of its name, or an address. `flags` are those of ZuOpenFlag.
  // TryOpen leaves the error to be taken with ErrorText; what the module filled in before it failed
  // is in the record.
  bool TryOpen(const std::string& file, uint32_t flags, STZuOpenDecoder& record);
  STZuOpenDecoder Open(const std::string& file, uint32_t flags);
  [[nodiscard]] std::string ErrorText();

  void Close();

  // Writes the tags of a block (see WriteTagBlock) into a file: their names replace the file's.
  void WriteTags(const std::string& file, std::span<const std::byte> block);
  // Deletes the tags of these names, or all.
  void DeleteTags(const std::string& file, std::span<const std::string> names);
  void DeleteAllTags(const std::string& file);

  // Limits what later calls of Open decode to these sample frames; `to` -1 is the end.
  void SetRange(int64_t from, int64_t to);

  [[nodiscard]] STZuAudioBlock DecodeBlock();

  // An answer of the module; false when there is none.
  bool Get(const wchar_t* key, STZuCodecGetSet& record);

 private:
  void Delete(const std::string& file, const wchar_t* names);

  const CodecModule& module_;
  ErrorLog errors_;
  bool from_server_ = false;  // what was opened last
  void* instance_;
};

}  // namespace wavehost
