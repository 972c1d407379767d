#include "text_table.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>

#include "console.h"
#include "text.h"

namespace wavehost {
namespace {

constexpr size_t kWidestLabel = 24;
constexpr size_t kGap = 2;
constexpr size_t kNarrowestValue = 20;

// Appends the lines of a value, without line ends: CR LF, CR or LF. The last one ends no line.
void AppendLines(std::string_view value, std::vector<std::string>& lines) {
  do {
    const size_t end = value.find_first_of("\r\n");
    std::string line(value.substr(0, end));
    std::replace(line.begin(), line.end(), '\t', ' ');
    lines.push_back(Displayable(line));
    if (end == std::string_view::npos) return;
    value.remove_prefix(end + (value.substr(end).starts_with("\r\n") ? 2 : 1));
  } while (!value.empty());
}

// Takes off the front of `rest` what fits into so many columns, at least one character; up to a
// blank when there is one.
std::string_view TakeFitting(std::string_view& rest, size_t columns) {
  std::string_view left = rest;
  size_t used = 0;
  size_t fitting = 0;  // bytes
  size_t blank = std::string_view::npos;
  while (!left.empty()) {
    if (left.front() == ' ') blank = rest.size() - left.size();
    std::string_view after = left;
    TakeCodePoint(after);
    used += Columns(left.substr(0, left.size() - after.size()));
    if (used > columns && fitting != 0) break;
    left = after;
    fitting = rest.size() - left.size();
  }
  const bool at_blank = !left.empty() && blank != std::string_view::npos && blank != 0;
  const std::string_view taken = rest.substr(0, at_blank ? blank : fitting);
  rest.remove_prefix(taken.size() + (at_blank ? 1 : 0));
  return taken;
}

std::vector<std::string_view> Wrapped(const std::vector<std::string>& lines, size_t columns) {
  std::vector<std::string_view> wrapped;
  for (const std::string& line : lines) {
    std::string_view rest = line;
    do {
      wrapped.push_back(columns == 0 ? rest : TakeFitting(rest, columns));
    } while (columns != 0 && !rest.empty());
  }
  return wrapped;
}

}  // namespace

TableLayout OutputLayout() { return {TerminalColumns(STDOUT_FILENO).value_or(0), 0}; }

void TextTable::Add(std::string_view label, std::string_view value) {
  Row row{Displayable(label), {}};
  AppendLines(value, row.lines);
  rows_.push_back(std::move(row));
}

void TextTable::Add(std::string_view label, const std::vector<std::string>& values) {
  Row row{Displayable(label), {}};
  for (const std::string& value : values) AppendLines(value, row.lines);
  rows_.push_back(std::move(row));
}

std::string TextTable::Text(const TableLayout& layout) const {
  size_t label_columns = 0;
  for (const Row& row : rows_) label_columns = std::max(label_columns, Columns(row.label));
  label_columns = std::min(label_columns, kWidestLabel);
  const size_t start = indent_ + label_columns + kGap;
  const size_t columns =
      layout.columns == 0 ? 0 : std::max(layout.columns, start + kNarrowestValue) - start;

  std::string text;
  const auto add_line = [&](size_t at, std::string_view line) {
    if (!line.empty()) text.append(start - at, ' ').append(line);
    text += '\n';
  };
  for (const Row& row : rows_) {
    text.append(indent_, ' ').append(row.label);
    size_t at = indent_ + Columns(row.label);
    const bool has_value = row.lines.size() > 1 || !row.lines.front().empty();
    if (at + kGap > start && has_value) {  // too wide a label has a line of its own
      text += '\n';
      at = 0;
    }
    std::vector<std::string_view> lines = Wrapped(row.lines, columns);
    const bool cut = layout.most_lines != 0 && lines.size() > layout.most_lines;
    const size_t shown = cut ? layout.most_lines - 1 : lines.size();
    for (size_t i = 0; i < shown; ++i) {
      add_line(at, lines[i]);
      at = 0;
    }
    if (cut) add_line(at, fmt::format("… ({} more lines)", lines.size() - shown));
  }
  return text;
}

}  // namespace wavehost
