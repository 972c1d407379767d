// The pieces of JSON text: takes one after another from the front and checks each strictly.
#pragma once

#include <cstddef>
#include <string_view>

namespace wavecodec {

class JsonScanner {
 public:
  explicit JsonScanner(std::string_view text) : Text(text) {}

  [[nodiscard]] bool AtEnd() const { return Position == Text.size(); }
  [[nodiscard]] size_t Where() const { return Position; }
  // The text from an earlier place to here.
  [[nodiscard]] std::string_view Since(size_t start) const {
    return Text.substr(start, Position - start);
  }
  // The next byte, 0 at the end.
  [[nodiscard]] char Peek() const { return AtEnd() ? '\0' : Text[Position]; }

  void SkipSpace();
  bool Take(char c);
  // A string, a number or a keyword.
  bool TakeScalar();
  bool TakeString();

 private:
  bool TakeEscape();
  bool TakeDigits();
  bool TakeNumber();
  bool TakeKeyword(std::string_view word);

  std::string_view Text;
  size_t Position = 0;
};

}  // namespace wavecodec
