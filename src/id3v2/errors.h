// What the ID3v2 library throws; the bridge to the tag set lets none of it pass.
#pragma once

#include <stdexcept>

namespace wavecodec::id3parser {

// A tag or a frame that is not well formed.
class parseError : public std::runtime_error {
 public:
  parseError() : std::runtime_error("ID3v2 parse error") {}
};

// Something that cannot be put into a tag.
class writeError : public std::runtime_error {
 public:
  writeError() : std::runtime_error("ID3v2 write error") {}
};

}  // namespace wavecodec::id3parser
