// libFuzzer's entry points: tervalon_fuzz --target=NAME [libFuzzer's own arguments].

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "fuzz/targets.h"

namespace {

const tervalon::fuzz::Target* target = nullptr;

size_t Put(const tervalon::fuzz::Bundle& bundle, uint8_t* data, size_t most) {
  const tervalon::fuzz::Bytes bytes = bundle.EncodeTo();
  const size_t size = bytes.size() < most ? bytes.size() : most;
  std::memcpy(data, bytes.data(), size);
  return size;
}

}  // namespace

extern "C" {

size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t most);

int LLVMFuzzerInitialize(int* count, char*** arguments) {
  constexpr std::string_view kOption = "--target=";
  for (int i = 1; i < *count; ++i) {
    const std::string_view argument = (*arguments)[i];
    if (argument.starts_with(kOption)) {
      target = tervalon::fuzz::FindTarget(argument.substr(kOption.size()));
    }
  }
  if (target != nullptr) return 0;
  std::fprintf(stderr, "--target=NAME is missing, NAME being one of\n");
  for (const auto* any : tervalon::fuzz::AllTargets()) std::fprintf(stderr, "  %s\n", any->name);
  std::exit(2);
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  tervalon::fuzz::RunTarget(*target, {data, size});
  return 0;
}

size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t most, unsigned int seed) {
  auto bundle = tervalon::fuzz::Bundle::DecodeFrom({data, size});
  bundle.Mutate(LLVMFuzzerMutate, seed, most);
  return Put(bundle, data, most);
}

size_t LLVMFuzzerCustomCrossOver(const uint8_t* data, size_t size, const uint8_t* other,
                                 size_t other_size, uint8_t* out, size_t most, unsigned int seed) {
  auto bundle = tervalon::fuzz::Bundle::DecodeFrom({data, size});
  bundle.CrossOver(tervalon::fuzz::Bundle::DecodeFrom({other, other_size}), seed);
  return Put(bundle, out, most);
}

}  // extern "C"
