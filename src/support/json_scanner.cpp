#include "support/json_scanner.h"

#include <algorithm>

#include "support/text_scan.h"

namespace wavecodec {

void JsonScanner::SkipSpace() {
  Position = std::min(Text.find_first_not_of(" \t\r\n", Position), Text.size());
}

bool JsonScanner::Take(char c) {
  if (AtEnd() || Text[Position] != c) return false;
  ++Position;
  return true;
}

bool JsonScanner::TakeScalar() {
  switch (Peek()) {
    case '"':
      return TakeString();
    case 't':
      return TakeKeyword("true");
    case 'f':
      return TakeKeyword("false");
    case 'n':
      return TakeKeyword("null");
    default:
      return TakeNumber();
  }
}

bool JsonScanner::TakeString() {
  if (!Take('"')) return false;
  while (!AtEnd()) {
    const auto c = static_cast<unsigned char>(Text[Position]);
    if (c < 0x20) return false;
    ++Position;
    if (c == '"') return true;
    if (c == '\\' && !TakeEscape()) return false;
  }
  return false;
}

bool JsonScanner::TakeEscape() {
  if (AtEnd()) return false;
  const char kind = Text[Position++];
  if (kind != 'u') return std::string_view("\"\\/bfnrt").find(kind) != std::string_view::npos;
  const std::string_view digits = Text.substr(Position, 4);
  if (digits.size() < 4 ||
      !std::all_of(digits.begin(), digits.end(), [](char c) { return HexDigit(c) >= 0; })) {
    return false;
  }
  Position += 4;
  return true;
}

bool JsonScanner::TakeDigits() {
  const size_t start = Position;
  while (IsDigit(Peek())) ++Position;
  return Position != start;
}

bool JsonScanner::TakeNumber() {
  Take('-');
  if (!Take('0') && !TakeDigits()) return false;
  if (Take('.') && !TakeDigits()) return false;
  if (Take('e') || Take('E')) {
    if (!Take('+')) Take('-');
    return TakeDigits();
  }
  return true;
}

bool JsonScanner::TakeKeyword(std::string_view word) {
  if (!Text.substr(Position).starts_with(word)) return false;
  Position += word.size();
  return true;
}

}  // namespace wavecodec
