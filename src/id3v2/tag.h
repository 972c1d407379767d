// An ID3v2 tag as a list of frames, and the parser that makes one from bytes (ID3v2.2, 2.3, 2.4).
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>

#include "id3v2/errors.h"
#include "id3v2/frame.h"

namespace wavecodec::id3parser {

inline constexpr size_t kTagHeaderSize = 10;

// Decides which frames are kept; this one keeps all.
class parseCallback {
 public:
  virtual ~parseCallback() = default;
  virtual bool wantFrame(uint32_t /*id*/) { return true; }
};

// Where a tag is read from.
class streamIn {
 public:
  virtual ~streamIn() = default;
  // The bytes read: fewer than `size` only at the end of the input.
  virtual size_t read(void* buffer, size_t size) = 0;
  // All of them, or parseError.
  void readObj(void* buffer, size_t size);
};

class streamOut;

// Called with each kept frame, in the order of the file, and the revision of its tag. The frame is
// only there during the call.
using frameSink = std::function<void(const t_frameView& frame, t_tagRevision revision)>;

// Parses the tag at the start of a block, which may hold less or more than the tag, without keeping
// anything: an ordinary frame is handed on where it lies. Returns the revision; throws parseError,
// and whatever the sink throws.
t_tagRevision parseTag(const void* data, size_t size, parseCallback& want, const frameSink& sink);

class t_tag {
 public:
  using t_frames = std::list<t_frame>;

  // Parses one tag that starts at the stream's position. When it throws, the frames before the
  // fault are in the list and the revision is 0.
  void Parse(streamIn& in, parseCallback& want);
  void Parse_MemBlock(const void* data, size_t size, parseCallback& want);

  void Reset(t_tagRevision revision);
  [[nodiscard]] t_tagRevision Revision() const { return revision_; }
  // A changed revision drops every frame but pictures, comments and lyrics, which are made fit for
  // it.
  void SetRevision(t_tagRevision revision);
  [[nodiscard]] t_frames& Frames() { return frames_; }
  [[nodiscard]] const t_frames& Frames() const { return frames_; }
  t_frames::iterator AddFrame(uint32_t id);
  // Returns how many frames went.
  size_t RemoveFrameID(uint32_t id);
  // Puts the pictures behind all other frames, front covers first.
  void SanitizeAPICOrder();

  // Writes the tag, of revision 3 or 4; its size is made a multiple of `alignment`, which is not 0.
  // Padding fills the space of an old tag when that takes no more than `maxPadding`. writeError
  // for what a tag cannot hold; std::overflow_error for a size past 32 bits. Nothing is written
  // then.
  void Write(streamOut& out, uint64_t availableSize, uint64_t maxPadding, uint64_t alignment) const;
  void WriteContent_v3(streamOut& out) const;
  void WriteContent_v4(streamOut& out) const;

 private:
  void OnRevisionChange(t_tagRevision revision);

  t_frames frames_;
  t_tagRevision revision_ = revisionNone;
};

}  // namespace wavecodec::id3parser
