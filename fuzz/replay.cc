// Runs inputs again: fuzz_replay TARGET [--changed=SECONDS] PATH..., files or folders of them.
// Then, for so many seconds of processor time, the same inputs changed at random, in the same way
// each time.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string_view>
#include <vector>

#include "fuzz/targets.h"

namespace fs = std::filesystem;

namespace {

using tervalon::fuzz::Bytes;

std::minstd_rand change_random;

size_t Below(size_t end) { return change_random() / 16 % end; }

// What fuzzers do, without looking at what it reaches.
size_t Change(uint8_t* bytes, size_t size, size_t room) {
  constexpr uint8_t kOdd[] = {0, 1, 0x7F, 0x80, 0xFF, '\r', '\n', ',', '-', '9'};
  if (size == 0) return 0;
  uint8_t* const at = bytes + Below(size);
  const size_t behind = size - static_cast<size_t>(at - bytes);
  switch (Below(6)) {
    case 0:
      return Below(size + 1);
    case 1:
      std::fill_n(at, std::min<size_t>(behind, 1 + Below(8)), kOdd[Below(std::size(kOdd))]);
      return size;
    case 2:
      std::generate_n(at, std::min<size_t>(behind, 4), change_random);
      return size;
    case 3: {
      const size_t more = std::min(Below(64), std::min(behind, room - size));
      std::copy_backward(at, bytes + size, bytes + size + more);
      return size + more;
    }
    default:
      *at ^= static_cast<uint8_t>(1U << Below(8));
      return size;
  }
}

void RunChanged(const tervalon::fuzz::Target& target, const std::vector<Bytes>& inputs,
                double seconds) {
  constexpr size_t kMost = 12288;
  const std::clock_t end =
      std::clock() + static_cast<std::clock_t>(seconds * static_cast<double>(CLOCKS_PER_SEC));
  uint32_t number = 0;
  for (; std::clock() < end && !inputs.empty(); ++number) {
    std::fprintf(stderr, "changed input %u\n", number);
    change_random.seed(number + 1);
    auto bundle = tervalon::fuzz::Bundle::DecodeFrom(inputs[number % inputs.size()]);
    for (size_t changes = 1 + Below(4); changes > 0; --changes) {
      bundle.Mutate(Change, static_cast<uint32_t>(change_random()), kMost);
    }
    tervalon::fuzz::RunTarget(target, bundle.EncodeTo());
  }
  std::printf("%u changed inputs\n", number);
}

}  // namespace

int main(int count, char** arguments) {
  const auto* const target = count > 1 ? tervalon::fuzz::FindTarget(arguments[1]) : nullptr;
  if (target == nullptr) {
    std::fprintf(stderr, "usage: fuzz_replay TARGET [--changed=SECONDS] PATH...\n");
    return 2;
  }
  constexpr std::string_view kChanged = "--changed=";
  double seconds = 0;
  std::vector<fs::path> paths;
  std::vector<Bytes> inputs;
  for (int i = 2; i < count; ++i) {
    if (std::string_view(arguments[i]).starts_with(kChanged)) {
      seconds = std::strtod(arguments[i] + kChanged.size(), nullptr);
      continue;
    }
    if (!fs::is_directory(arguments[i])) {
      paths.emplace_back(arguments[i]);
      continue;
    }
    for (const auto& entry : fs::directory_iterator(arguments[i])) paths.push_back(entry.path());
  }
  std::sort(paths.begin(), paths.end());
  for (const fs::path& path : paths) {
    std::ifstream in(path, std::ios::binary);
    inputs.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    if (!in) {
      std::fprintf(stderr, "%s: cannot be read\n", path.c_str());
      return 2;
    }
    std::fprintf(stderr, "%s\n", path.c_str());
    tervalon::fuzz::RunTarget(*target, inputs.back());
  }
  std::printf("%zu inputs\n", paths.size());
  RunChanged(*target, inputs, seconds);
  return 0;
}
