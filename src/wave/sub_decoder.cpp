#include "wave/sub_decoder.h"

#include <dlfcn.h>

namespace wavecodec {

void* XDLL::_Load(const wchar_t* path) {
  const auto name = path != nullptr ? ToFileNameBytes(path) : std::nullopt;
  return name ? ::dlopen(name->c_str(), RTLD_NOW | RTLD_LOCAL) : nullptr;
}

void* XDLL::_GetProc(void* library, const char* name) { return ::dlsym(library, name); }

void XDLL::FreeDLL() {
  if (Library != nullptr) ::dlclose(Library);
  Library = nullptr;
}

template <typename Function>
bool clZuDecoder::Find(Function& function, const char* name) const {
  function = reinterpret_cast<Function>(_GetProc(Library, name));
  return function != nullptr;
}

bool clZuDecoder::InitDLL(const wchar_t* path) {
  if (Library != nullptr) return IsComplete;
  Library = _Load(path);
  if (Library == nullptr) return IsComplete = false;
  IsComplete = Find(Module.Create, "Create");
  IsComplete &= Find(Module.Destroy, "Destroy");
  IsComplete &= Find(Module.Get, "Get");
  IsComplete &= Find(Module.Set, "Set");
  IsComplete &= Find(Module.Open, "Open");
  IsComplete &= Find(Module.Close, "Close");
  IsComplete &= Find(Module.DecodeBlock, "DecodeBlock");
  IsComplete &= Find(Module.SetPosition, "SetPosition");
  IsComplete &= Find(Module.DeleteATag, "DeleteATag");
  Find(Module.SetModulePath, "SetModulePath");
  return IsComplete;
}

bool clZuDecoder::LoadDecoder(const wchar_t* path, const wchar_t* extension) {
  FreeDLL();
  if (!InitDLL(path)) return false;
  if (Module.SetModulePath != nullptr) Module.SetModulePath(path);
  FileExtension = extension;
  ModulePath = path;
  return true;
}

void clZuDecoder::FreeDLL() {
  Destroy();
  FileExtension.clear();
  ModulePath.clear();
  Module = {};
  IsComplete = false;
  XDLL::FreeDLL();
}

bool clZuDecoder::Create(const STNStdReport& report) {
  Destroy();
  if (Module.Create != nullptr) Instance = Module.Create(&report);
  return Instance != nullptr;
}

void clZuDecoder::Destroy() {
  static_cast<void>(Call(Module.Destroy));
  Instance = nullptr;
}

template <typename Function, typename... Arguments>
uint32_t clZuDecoder::Call(Function function, Arguments... arguments) const {
  return Instance != nullptr && function != nullptr ? function(Instance, arguments...) : 0;
}

uint32_t clZuDecoder::Open(STZuOpenDecoder& record) { return Call(Module.Open, &record); }

uint32_t clZuDecoder::Close(STZuEncoderFluid* fluid) { return Call(Module.Close, fluid); }

uint32_t clZuDecoder::DecodeBlock(STZuAudioBlock& block) {
  return Call(Module.DecodeBlock, &block);
}

uint32_t clZuDecoder::SetPosition(int64_t frames) { return Call(Module.SetPosition, frames); }

uint32_t clZuDecoder::Get(const wchar_t* key, STZuCodecGetSet& record) {
  return Call(Module.Get, key, &record);
}

uint32_t clZuDecoder::Set(const wchar_t* key, STZuCodecGetSet& record) {
  return Call(Module.Set, key, &record);
}

uint32_t clZuDecoder::DeleteATag(const wchar_t* file_name, const wchar_t* names) {
  return Call(Module.DeleteATag, file_name, names);
}

}  // namespace wavecodec
