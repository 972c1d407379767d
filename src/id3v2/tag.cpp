#include "id3v2/tag.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "id3v2/tag_header.h"

namespace wavecodec::id3parser {
namespace {

constexpr size_t kFirstPiece = 65536;

// The tag at the stream's position, as far as the input has it. The claimed size is not believed:
// the room grows with what was read.
std::vector<uint8_t> readTag(streamIn& in) {
  std::array<uint8_t, kTagHeaderSize> header{};
  in.readObj(header.data(), header.size());
  const size_t whole = header.size() + readTagHeader(header.data()).size;
  std::vector<uint8_t> bytes(header.begin(), header.end());
  while (bytes.size() < whole) {
    const size_t have = bytes.size();
    const size_t piece = std::min(whole - have, std::max(have, kFirstPiece));
    bytes.resize(have + piece);
    const size_t got = in.read(bytes.data() + have, piece);
    bytes.resize(have + got);
    if (got < piece) break;
  }
  return bytes;
}

}  // namespace

void streamIn::readObj(void* buffer, size_t size) {
  if (read(buffer, size) < size) throw parseError();
}

void t_tag::Parse(streamIn& in, parseCallback& want) {
  Reset(revisionNone);
  const std::vector<uint8_t> bytes = readTag(in);
  Parse_MemBlock(bytes.data(), bytes.size(), want);
}

void t_tag::Parse_MemBlock(const void* data, size_t size, parseCallback& want) {
  Reset(revisionNone);
  revision_ = parseTag(data, size, want, [this](const t_frameView& frame, t_tagRevision) {
    t_frame made{frame.id, {}};
    made.data.append_fromptr(frame.data, frame.size);
    frames_.push_back(std::move(made));
  });
}

void t_tag::Reset(t_tagRevision revision) {
  frames_.clear();
  revision_ = revision;
}

void t_tag::SetRevision(t_tagRevision revision) {
  if (revision == revision_) return;
  revision_ = revision;
  OnRevisionChange(revision);
}

void t_tag::OnRevisionChange(t_tagRevision revision) {
  frames_.remove_if([revision](t_frame& frame) {
    if (frame.id == frameID("APIC")) return false;
    if (frame.id != frameID("COMM") && frame.id != frameID("USLT")) return true;
    try {
      frame.SanitizeForRevision(revision);
      return false;
    } catch (const parseError&) {
      return true;
    }
  });
}

t_tag::t_frames::iterator t_tag::AddFrame(uint32_t id) {
  return frames_.insert(frames_.end(), t_frame{id, {}});
}

size_t t_tag::RemoveFrameID(uint32_t id) {
  return std::erase_if(frames_, [id](const t_frame& frame) { return frame.id == id; });
}

void t_tag::SanitizeAPICOrder() {
  constexpr uint8_t kFrontCover = 3;
  t_frames covers;
  t_frames others;
  t_picture picture;
  for (auto frame = frames_.begin(); frame != frames_.end();) {
    const auto here = frame++;
    const t_frameView view = here->view();
    if (!view.isPicture()) continue;
    t_frames& to = view.readPicture(picture) && picture.type == kFrontCover ? covers : others;
    to.splice(to.end(), frames_, here);
  }
  frames_.splice(frames_.end(), covers);
  frames_.splice(frames_.end(), others);
}

}  // namespace wavecodec::id3parser
