// Another codec module, loaded and driven through the interface that this module offers itself.
#pragma once

#include <cstdint>

#include "support/xstr.h"
#include "wavecodec/codec_module.h"

namespace wavecodec {

// A dynamic library, loaded with all its symbols resolved and none of them visible to others.
class XDLL {
 public:
  XDLL() noexcept = default;
  XDLL(const XDLL&) = delete;
  XDLL& operator=(const XDLL&) = delete;
  virtual ~XDLL() { XDLL::FreeDLL(); }

  // True when the library and all that is needed of it is there. Loads only when nothing is loaded.
  virtual bool InitDLL(const wchar_t* path) = 0;
  virtual void FreeDLL();

 protected:
  // Null when the library cannot be loaded. The names' underscores are those of the interface.
  static void* _Load(const wchar_t* path);                 // NOLINT(bugprone-reserved-identifier)
  static void* _GetProc(void* library, const char* name);  // NOLINT(bugprone-reserved-identifier)

  void* Library = nullptr;
};

// The client of a codec module with one instance of it. Every operation but Create answers 0 when
// there is no instance; else they answer what the module's entry point of that name does (see the
// public header).
class clZuDecoder final : public XDLL {
 public:
  clZuDecoder() noexcept = default;
  clZuDecoder(const clZuDecoder&) = delete;
  clZuDecoder& operator=(const clZuDecoder&) = delete;
  ~clZuDecoder() override { clZuDecoder::FreeDLL(); }

  // Replaces what is loaded by the module at `path`, which decodes files of this extension.
  bool LoadDecoder(const wchar_t* path, const wchar_t* extension);
  bool InitDLL(const wchar_t* path) override;
  // Ends the instance, then unloads the module.
  void FreeDLL() override;

  // A new instance, in place of an earlier one, that writes to the same report. True when there is
  // one.
  bool Create(const STNStdReport& report);
  void Destroy();
  uint32_t Open(STZuOpenDecoder& record);
  uint32_t Close(STZuEncoderFluid* fluid);
  uint32_t DecodeBlock(STZuAudioBlock& block);
  uint32_t SetPosition(int64_t frames);
  uint32_t Get(const wchar_t* key, STZuCodecGetSet& record);
  uint32_t Set(const wchar_t* key, STZuCodecGetSet& record);
  uint32_t DeleteATag(const wchar_t* file_name, const wchar_t* names);

  [[nodiscard]] const XStr& Extension() const { return FileExtension; }
  [[nodiscard]] const XStr& Path() const { return ModulePath; }

 private:
  // The entry points; null where the module lacks one.
  struct EntryPoints {
    ZuCreateFn Create = nullptr;
    ZuDestroyFn Destroy = nullptr;
    ZuGetFn Get = nullptr;
    ZuSetFn Set = nullptr;
    ZuOpenFn Open = nullptr;
    ZuCloseFn Close = nullptr;
    ZuDecodeBlockFn DecodeBlock = nullptr;
    ZuSetPositionFn SetPosition = nullptr;
    ZuDeleteATagFn DeleteATag = nullptr;
    void (*SetModulePath)(const wchar_t* path) = nullptr;  // optional
  };

  template <typename Function>
  bool Find(Function& function, const char* name) const;
  template <typename Function, typename... Arguments>
  uint32_t Call(Function function, Arguments... arguments) const;

  bool IsComplete = false;  // every entry point that is needed was found
  XStr FileExtension;
  XStr ModulePath;
  void* Instance = nullptr;
  EntryPoints Module;
};

}  // namespace wavecodec
