// Tagged Wave files for the benchmarks, made once and kept in the benchmark folder.
#pragma once

#include <filesystem>
#include <vector>

namespace bench {

// 2,000 files, each with 16,000 bytes of audio and behind them a `LIST` of eight items and an ID3v2.3
// tag of twelve texts and a comment.
const std::vector<std::filesystem::path>& TaggedFiles();

// Files that have a million of one thing.
enum class Million { Chunks, InfoItems, TitleFrames, PrivateFrames, UserTextFrames };
std::filesystem::path MillionFile(Million kind);

}  // namespace bench
