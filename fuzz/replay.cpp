// Drives a fuzz target without libFuzzer, with the same inputs in every run:
//
//   replay_TARGET RUNS             its seeds, and RUNS inputs that are cut or changed ones
//   replay_TARGET --seeds FOLDER   writes the seeds into the folder
//   replay_TARGET FILE …           these inputs
//
// An input that fails is left in the file `failed-input`.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include "fuzz_target.h"

namespace {

using wavecodec::fuzz::Seed;

// For whoever has to look for a fault: what is tried, and its name.
std::string_view g_input;
char g_name[200] = "";

void TellInput(int /*signal*/) {
  const int file = creat("failed-input", 0644);
  if (write(file, g_input.data(), g_input.size()) < 0 ||
      write(STDERR_FILENO, g_name, strlen(g_name)) < 0) {
    _exit(2);
  }
  std::signal(SIGABRT, SIG_DFL);
  std::abort();
}

void Run(const std::string& name, const std::string& input) {
  std::snprintf(g_name, sizeof g_name, "input: %s\n", name.c_str());
  g_input = input;
  LLVMFuzzerTestOneInput(wavecodec::fuzz::Bytes(input), input.size());
}

std::string Mutated(std::string bytes, std::mt19937& random) {
  const auto below = [&](size_t limit) { return static_cast<size_t>(random() % limit); };
  for (size_t edits = 1 + below(4); edits > 0 && !bytes.empty(); --edits) {
    // Headers, which lie in front, more often than the rest.
    const size_t at = below(below(3) == 0 ? bytes.size() : std::min<size_t>(bytes.size(), 150));
    switch (below(5)) {
      case 0:
        bytes[at] = static_cast<char>(random());
        break;
      case 1:
        bytes[at] = "\0\x7F\x80\xFF\1"[below(5)];
        break;
      case 2:
        bytes.erase(at, 1 + below(8));
        break;
      case 3:
        bytes.resize(at);
        break;
      default:
        bytes.insert(at, bytes.substr(below(bytes.size()), below(16)));
    }
  }
  return bytes;
}

void RunMutations(const std::vector<Seed>& seeds, unsigned runs) {
  std::mt19937 random(20261121);  // NOLINT(cert-msc*): the same inputs in every run
  for (unsigned run = 0; run < runs; ++run) {
    const Seed& seed = seeds[random() % seeds.size()];
    Run(seed.Name + ", run " + std::to_string(run), Mutated(seed.Bytes, random));
  }
}

}  // namespace

int main(int count, char** arguments) {
  const std::vector<Seed> seeds = wavecodec::fuzz::Seeds();
  const std::string_view first = count > 1 ? arguments[1] : "";
  if (first == "--seeds" && count == 3) {
    for (const Seed& seed : seeds) {
      std::ofstream(std::filesystem::path(arguments[2]) / seed.Name, std::ios::binary)
          << seed.Bytes;
    }
    return 0;
  }
  std::signal(SIGABRT, TellInput);
  unsigned runs = 0;
  if (std::from_chars(first.begin(), first.end(), runs).ptr == first.end() && !first.empty()) {
    for (const Seed& seed : seeds) Run(seed.Name, seed.Bytes);
    RunMutations(seeds, runs);
    return 0;
  }
  for (int i = 1; i < count; ++i) {
    std::ifstream file(arguments[i], std::ios::binary);
    Run(arguments[i], {std::istreambuf_iterator<char>(file), {}});
  }
}
