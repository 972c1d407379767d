// Labels with values, aligned for people.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace wavehost {

struct TableLayout {
  size_t columns = 0;     // of a line; 0: as many as it needs
  size_t most_lines = 0;  // of a value; 0: all
};

// That of the standard output: a terminal's width, else no limit.
TableLayout OutputLayout();

// Takes any text: line ends in values begin new lines, what is unfit for a terminal is replaced.
class TextTable {
 public:
  explicit TextTable(size_t indent) : indent_(indent) {}

  void Add(std::string_view label, std::string_view value);
  // Several values stand one below the other.
  void Add(std::string_view label, const std::vector<std::string>& values);
  [[nodiscard]] bool IsEmpty() const { return rows_.empty(); }
  [[nodiscard]] std::string Text(const TableLayout& layout) const;

 private:
  struct Row {
    std::string label;
    std::vector<std::string> lines;
  };

  size_t indent_;
  std::vector<Row> rows_;
};

}  // namespace wavehost
