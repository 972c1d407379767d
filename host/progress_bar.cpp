#include "progress_bar.h"

#include <fmt/color.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "console.h"
#include "text.h"

namespace wavehost {
namespace {

constexpr auto kPatience = std::chrono::seconds(1);
constexpr auto kInterval = std::chrono::milliseconds(100);
constexpr size_t kBarWidth = 30;
constexpr size_t kOtherColumns = 10;  // brackets, blanks, percentage

bool IsCapableTerminal() {
  const char* const kind = std::getenv("TERM");
  return isatty(STDERR_FILENO) != 0 && kind != nullptr && std::string_view(kind) != "dumb";
}

bool ColourAllowed() {
  const char* const no_color = std::getenv("NO_COLOR");
  return no_color == nullptr || *no_color == '\0';
}

// The end of a name is what tells files apart. Counts characters, not bytes.
std::string Shortened(std::string name, size_t room) {
  const auto is_start = [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80; };
  auto excess = std::count_if(name.begin(), name.end(), is_start) - static_cast<ptrdiff_t>(room);
  if (excess <= 0) return name;
  ++excess;  // room for the ellipsis
  const auto start =
      std::find_if(name.begin(), name.end(), [&](char c) { return is_start(c) && excess-- == 0; });
  return fmt::format("…{}", std::string_view(start, name.end()));
}

}  // namespace

ProgressBar::ProgressBar(const std::string& name, uint64_t total, bool wanted)
    : name_(Displayable(name)),
      total_(total),
      enabled_(wanted && total != 0 && IsCapableTerminal()),
      coloured_(ColourAllowed()),
      next_draw_(Clock::now() + kPatience) {}

ProgressBar::~ProgressBar() {
  if (visible_) PrintNote("\r\033[K");
}

void ProgressBar::Update(uint64_t done) {
  if (!enabled_) return;
  const auto now = Clock::now();
  if (now < next_draw_) return;
  next_draw_ = now + kInterval;
  visible_ = true;

  const double part = std::min(static_cast<double>(done) / static_cast<double>(total_), 1.0);
  const auto filled = static_cast<size_t>(part * static_cast<double>(kBarWidth));
  const size_t columns = TerminalColumns(STDERR_FILENO).value_or(0);
  const size_t taken = kBarWidth + kOtherColumns;
  const std::string name = columns > taken ? Shortened(name_, columns - taken) : "";
  const auto style = coloured_ ? fmt::fg(fmt::terminal_color::green) : fmt::text_style();
  const std::string bar = fmt::format(style, "{:=>{}}", "", filled);
  const auto line =
      fmt::format("\r\033[K{} [{}{:{}}] {:3.0f} %", name, bar, "", kBarWidth - filled, part * 100);
  PrintNote(line);
}

}  // namespace wavehost
