// Finds the options that would keep a value, by trying them.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "codec_module.h"
#include "tag_edit.h"
#include "tag_options.h"
#include "tag_state.h"

namespace wavehost {

// A value that a file does not hold as it was wanted: from what was wanted to what there is.
struct LostValue {
  TagDifference difference;
  // Commands after which it is kept: no commands when it never is, none at all when nobody knows.
  std::optional<std::vector<std::string>> advice;
};

class OptionAdviser {
 public:
  explicit OptionAdviser(const CodecModule& module) : module_(module) {}

  // A file that was edited, or is to be. A file with tags keeps the kinds of chunks they are in.
  struct Case {
    const std::string& file;  // is left alone: what is tried is tried on a copy
    const TagEdit& edit;
    const TagState& wanted;  // what it should hold
    bool has_tags = false;
  };

  std::vector<LostValue> Advise(const Case& edited, std::vector<TagDifference> losses);

 private:
  struct Choice {
    size_t option = 0;
    size_t number = 0;
  };
  using Choices = std::vector<Choice>;
  // What keeps a value.
  struct Way {
    std::optional<Choices> choices;  // none: there is no way
    bool needs_bare_file = false;    // the file's tags have to be removed first
  };
  struct Trial;

  void LoadOptions();
  [[nodiscard]] std::vector<Choices> SingleChoices() const;  // other than the present ones
  [[nodiscard]] std::vector<Choices> PairsOfChoices() const;
  // The losses that are left with these choices; none when they do not work at all.
  [[nodiscard]] std::optional<std::vector<TagDifference>> Try(const Trial& trial,
                                                              const Choices& choices) const;
  // For each loss the choices that keep it and lose least besides.
  [[nodiscard]] std::vector<std::optional<Choices>> FindBest(
      const Trial& trial, const std::vector<Choices>& candidates) const;
  [[nodiscard]] std::vector<Way> FindWays(const Case& edited,
                                          const std::vector<TagDifference>& losses) const;
  [[nodiscard]] std::vector<std::string> Commands(const Way& way, const std::string& file) const;

  const CodecModule& module_;
  std::vector<TagOption> options_;
  std::vector<uint32_t> present_;                  // choices, by option
  std::map<std::string, std::vector<Way>> known_;  // by the losses; empty: unknown
};

}  // namespace wavehost
