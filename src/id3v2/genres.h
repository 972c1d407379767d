// Genres as a TCON frame spells them: names, numbers of the ID3v1 list, and references to it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "id3v2/frame.h"

namespace wavecodec::id3parser {

// The genre that one spelling stands for; "" when it stands for none.
std::string unmangle_genre(std::string_view text);

// The genres of one string of a TCON frame, appended. Before revision 4 a string may hold several,
// separated by semicolons.
void unmangle_genres(std::string_view text, t_tagRevision revision, std::vector<std::string>& out);

// A spelling from which unmangle_genres() makes exactly `genre`; "" when there is none.
std::string mangle_genre(std::string_view genre, t_tagRevision revision);

}  // namespace wavecodec::id3parser
