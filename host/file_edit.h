// Changes the tags of one file, and finds out what became of it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "content_hash.h"
#include "decoder_session.h"
#include "tag_edit.h"
#include "tag_state.h"
#include "wave_layout.h"

namespace wavehost {

// The bytes of a file at one time.
struct FileSnapshot {
  // `with_audio`: hashes the audio too, when there is any.
  FileSnapshot(const std::string& file, bool with_audio);

  [[nodiscard]] bool HasTags() const { return layout && layout->has_tags; }

  uint64_t size = 0;
  timespec modified = {};
  std::optional<WaveLayout> layout;
  Digest rest;  // of all bytes that are no audio
  std::optional<Digest> audio;
};

struct EditOutcome {
  FileSnapshot before;
  FileSnapshot after;
  TagState old_tags;
  TagState new_tags;

  // False when the file has the same bytes as before.
  [[nodiscard]] bool Changed() const;
  [[nodiscard]] bool AudioMoved() const;
};

// Makes the changes. Throws Error when the module fails, or when the audio is not the same
// afterwards and `options.verify` is set.
EditOutcome EditFile(DecoderSession& session, const std::string& file, const TagEdit& edit,
                     const EditOptions& options);

}  // namespace wavehost
