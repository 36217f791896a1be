#include "fuzz/bundle.h"

#include <algorithm>
#include <random>

namespace tervalon::fuzz {
namespace {

constexpr size_t kLongest = 0xFFFF;

void AppendSized(const Bytes& bytes, Bytes* out) {
  const size_t size = std::min(bytes.size(), kLongest);
  out->push_back(static_cast<uint8_t>(size));
  out->push_back(static_cast<uint8_t>(size >> 8));
  out->insert(out->end(), bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(size));
}

Bytes TakeSized(Options* in) {
  const auto bytes = in->TakeBytes(in->Take<uint16_t>());
  return {bytes.begin(), bytes.end()};
}

}  // namespace

Bytes Bundle::EncodeTo() const {
  Bytes bytes;
  AppendSized(options, &bytes);
  for (const File& file : files) {
    bytes.push_back(file.number);
    AppendSized(file.bytes, &bytes);
  }
  return bytes;
}

Bundle Bundle::DecodeFrom(std::span<const uint8_t> bytes) {
  Options in(bytes);
  Bundle bundle;
  bundle.options = TakeSized(&in);
  while (!in.empty()) {
    const auto number = in.Take<uint8_t>();
    bundle.files.push_back({number, TakeSized(&in)});
  }
  return bundle;
}

void Bundle::Mutate(Mutator mutate, uint32_t seed, size_t most) {
  std::minstd_rand random(seed);
  const auto below = [&random](size_t end) { return random() / 16 % end; };
  const size_t which = below(files.size() + 1);
  if (which > 0 && below(16) == 0) {
    File& file = files[which - 1];
    switch (below(3)) {
      case 0:
        file.number = static_cast<uint8_t>(below(32));
        break;
      case 1:
        files.push_back(file);
        files.back().number = static_cast<uint8_t>(below(32));
        break;
      default:
        files.erase(files.begin() + static_cast<ptrdiff_t>(which - 1));
    }
  } else {
    Bytes* bytes = which == 0 ? &options : &files[which - 1].bytes;
    const size_t size = bytes->size();
    const size_t all = EncodeTo().size();
    const size_t room = std::min(kLongest, all < most ? size + most - all : size);
    bytes->resize(std::max<size_t>(room, 1));
    bytes->resize(mutate(bytes->data(), size, bytes->size()));
  }
  while (!files.empty() && EncodeTo().size() > most) files.pop_back();
}

void Bundle::CrossOver(const Bundle& other, uint32_t seed) {
  std::minstd_rand random(seed);
  const size_t which = random() / 16 % (other.files.size() + 1);
  if (which == 0) {
    options = other.options;
    return;
  }
  const File& file = other.files[which - 1];
  const auto own = std::find_if(files.begin(), files.end(),
                                [&](const File& any) { return any.number == file.number; });
  if (own != files.end()) {
    *own = file;
  } else {
    files.push_back(file);
  }
}

std::string Options::TakeText() {
  const auto end = std::find(left_.begin(), left_.end(), 0);
  const auto taken = TakeBytes(static_cast<size_t>(end - left_.begin()));
  TakeBytes(1);
  return {taken.begin(), taken.end()};
}

std::span<const uint8_t> Options::TakeBytes(size_t count) {
  const auto taken = left_.first(std::min(count, left_.size()));
  left_ = left_.subspan(taken.size());
  return taken;
}

}  // namespace tervalon::fuzz
