#include "id3v2/genres.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "support/text_scan.h"

namespace wavecodec::id3parser {
namespace {

// The list of ID3v1 with its extensions, in the spellings in which players know it.
// clang-format off
constexpr std::array<std::string_view, 126> GenreList = {
    "Blues", "Classic Rock", "Country", "Dance", "Disco", "Funk", "Grunge", "Hip-Hop", "Jazz",
    "Metal", "New Age", "Oldies", "Other", "Pop", "R&B", "Rap", "Reggae", "Rock", "Techno",
    "Industrial", "Alternative", "Ska", "Death Metal", "Pranks", "Soundtrack", "Euro-Techno",
    "Ambient", "Trip-Hop", "Vocal", "Jazz+Funk", "Fusion", "Trance", "Classical", "Instrumental",
    "Acid", "House", "Game", "Sound Clip", "Gospel", "Noise", "AlternRock", "Bass", "Soul", "Punk",
    "Space", "Meditative", "Instrumental Pop", "Instrumental Rock", "Ethnic", "Gothic", "Darkwave",
    "Techno-Industrial", "Electronic", "Pop-Folk", "Eurodance", "Dream", "Southern Rock", "Comedy",
    "Cult", "Gangsta", "Top 40", "Christian Rap", "Pop/Funk", "Jungle", "Native American",
    "Cabaret", "New Wave", "Psychadelic", "Rave", "Showtunes", "Trailer", "Lo-Fi", "Tribal",
    "Acid Punk", "Acid Jazz", "Polka", "Retro", "Musical", "Rock & Roll", "Hard Rock", "Folk",
    "Folk/Rock", "National Folk", "Swing", "Fast-Fusion", "Bebob", "Latin", "Revival", "Celtic",
    "Bluegrass", "Avantgarde", "Gothic Rock", "Progressive Rock", "Psychedelic Rock",
    "Symphonic Rock", "Slow Rock", "Big Band", "Chorus", "Easy Listening", "Acoustic", "Humour",
    "Speech", "Chanson", "Opera", "Chamber Music", "Sonata", "Symphony", "Booty Bass", "Primus",
    "Porn Groove", "Satire", "Slow Jam", "Club", "Tango", "Samba", "Folklore", "Ballad",
    "Power Ballad", "Rhythmic Soul", "Freestyle", "Duet", "Punk Rock", "Drum Solo", "A capella",
    "Euro-House", "Dance Hall"
};
// clang-format on

// The number that the digits at the front of `text` make; GenreList.size() for all beyond the list.
size_t leadingNumber(std::string_view text) {
  size_t number = 0;
  for (const char c : text) {
    if (!IsDigit(c)) break;
    number = std::min(number * 10 + static_cast<size_t>(c - '0'), GenreList.size());
  }
  return number;
}

}  // namespace

std::string unmangle_genre(std::string_view text) {
  if (!text.empty() && std::all_of(text.begin(), text.end(), IsDigit)) {
    const size_t number = leadingNumber(text);
    return std::string(number < GenreList.size() ? GenreList[number] : text);
  }
  if (text.size() >= 2 && text[0] == '(' && IsDigit(text[1])) {
    const size_t number = leadingNumber(text.substr(1));
    return number < GenreList.size() ? std::string(GenreList[number]) : std::string();
  }
  if (text.starts_with("(RX)")) return "Remix";
  if (text.starts_with("(CR)")) return "Cover";
  if (text.starts_with("((")) text.remove_prefix(1);
  return std::string(text);
}

void unmangle_genres(std::string_view text, t_tagRevision revision, std::vector<std::string>& out) {
  const auto file = [&](std::string_view piece) {
    std::string genre = unmangle_genre(piece);
    if (!genre.empty()) out.push_back(std::move(genre));
  };
  if (revision >= revision4) return file(text);
  while (!text.empty()) {
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    const size_t end = text.find(';');
    if (end == std::string_view::npos) return file(text);
    const std::string_view piece = text.substr(0, end);
    file(piece.substr(0, piece.find_last_not_of(' ') + 1));
    text.remove_prefix(end + 1);
  }
}

std::string mangle_genre(std::string_view genre, t_tagRevision revision) {
  std::string text = (genre.starts_with('(') ? "(" : "") + std::string(genre);
  // Asks the reader itself, with another genre to come behind where they share a string.
  std::vector<std::string> read;
  unmangle_genres(revision < revision4 ? text + ';' : text, revision, read);
  return read.size() == 1 && read[0] == genre ? text : std::string();
}

}  // namespace wavecodec::id3parser
