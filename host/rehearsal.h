// A small stand-in for a Wave file, on which a change of its tags can be tried.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace wavehost {

// A folder of its own for temporary files; is gone, with all in it, when the object is.
class TemporaryFolder {
 public:
  TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder();
  [[nodiscard]] const std::filesystem::path& Path() const { return path_; }

 private:
  std::filesystem::path path_;
};

// A copy of the file without most of its audio: one frame is left, and all sizes that are stored in
// the file tell it so. Everything else is as it was, what is odd too.
class Rehearsal {
 public:
  // Throws Error, which says why, when no copy can stand in for the file.
  explicit Rehearsal(const std::string& file);

  [[nodiscard]] std::string File() const { return copy_.native(); }
  // Another copy, in place of the one before.
  [[nodiscard]] std::string FreshCopy() const;
  [[nodiscard]] const std::filesystem::path& Folder() const { return folder_.Path(); }
  // False when the size of the audio itself decides where things go.
  [[nodiscard]] bool TellsLayout() const { return tells_layout_; }
  // False when the file, grown by so many bytes, is more than its header can say.
  [[nodiscard]] bool HasRoomFor(uint64_t size) const;

 private:
  TemporaryFolder folder_;
  std::filesystem::path copy_;
  bool is_rf64_ = false;
  bool tells_layout_ = true;
};

}  // namespace wavehost
