// Numbers as the user writes them.
#pragma once

#include <cstdint>
#include <string>

namespace wavecodec {

// Digit grouping and decimal separator; all texts are UTF-8.
struct NumberFormat {
  std::string Separator = ",";
  std::string Point = ".";
  std::string
      Grouping;  // sizes of the groups from the right, the last one repeated; none when empty

  // That of the user's environment (LC_NUMERIC), read once in a process; plain digits when it says
  // nothing usable.
  static const NumberFormat& User() noexcept;

  [[nodiscard]] std::string Integer(uint64_t number) const;
  // `number` / `unit` with two decimals, ungrouped.
  [[nodiscard]] std::string Hundredths(uint64_t number, uint64_t unit) const;
};

}  // namespace wavecodec
