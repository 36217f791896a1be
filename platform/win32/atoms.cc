#include "platform/atoms.h"

#include <windows.h>

#include <algorithm>
#include <array>

namespace tervalon::platform {
namespace {

constexpr uint32_t kLongestName = 255;

class Win32Atoms : public AtomTable {
 public:
  uint16_t Add(const char* name) override {
    return name != nullptr && *name != '\0' ? AddAtomA(name) : uint16_t{0};
  }

  void Delete(uint16_t atom) override { DeleteAtom(atom); }

  std::string Name(uint16_t atom, uint32_t longest) override {
    std::array<char, kLongestName + 1> name = {};
    if (atom == 0) return "";
    const UINT length = GetAtomNameA(atom, name.data(), static_cast<int>(name.size()));
    return {name.data(), std::min<size_t>(length, longest)};
  }
};

}  // namespace

TERVALON_DEFINE_SERVICE(AtomTable, Win32Atoms)

}  // namespace tervalon::platform
