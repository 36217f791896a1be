// Runs inputs again: fuzz_replay TARGET PATH..., files or folders of them.

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz/targets.h"

namespace fs = std::filesystem;

int main(int count, char** arguments) {
  const auto* const target = count > 1 ? tervalon::fuzz::FindTarget(arguments[1]) : nullptr;
  if (target == nullptr) {
    std::fprintf(stderr, "usage: fuzz_replay TARGET PATH...\n");
    return 2;
  }
  std::vector<fs::path> paths;
  for (int i = 2; i < count; ++i) {
    if (!fs::is_directory(arguments[i])) {
      paths.emplace_back(arguments[i]);
      continue;
    }
    for (const auto& entry : fs::directory_iterator(arguments[i])) paths.push_back(entry.path());
  }
  std::sort(paths.begin(), paths.end());
  for (const fs::path& path : paths) {
    std::ifstream in(path, std::ios::binary);
    const tervalon::fuzz::Bytes input((std::istreambuf_iterator<char>(in)),
                                      std::istreambuf_iterator<char>());
    if (!in) {
      std::fprintf(stderr, "%s: cannot be read\n", path.c_str());
      return 2;
    }
    std::fprintf(stderr, "%s\n", path.c_str());
    tervalon::fuzz::RunTarget(*target, input);
  }
  std::printf("%zu inputs\n", paths.size());
  return 0;
}
