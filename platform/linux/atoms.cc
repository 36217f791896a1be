#include "platform/atoms.h"

#include <map>

#include "platform/lock.h"
#include "platform/text.h"

namespace tervalon::platform {
namespace {

constexpr uint16_t kFirstAtom = 0xC000;
constexpr size_t kLongestName = 255;

class LinuxAtoms : public AtomTable {
 public:
  uint16_t Add(const char* name) override {
    const std::string text = name != nullptr ? name : "";
    if (text.empty() || text.size() > kLongestName) return 0;
    const Held held(&lock_);
    uint16_t free_atom = kFirstAtom;
    for (auto& [atom, entry] : entries_) {
      if (EqualWithoutCase(entry.name, text)) {
        ++entry.uses;
        return atom;
      }
      if (atom == free_atom) ++free_atom;
    }
    if (free_atom < kFirstAtom) return 0;  // all are taken
    entries_[free_atom] = {text, 1};
    return free_atom;
  }

  void Delete(uint16_t atom) override {
    const Held held(&lock_);
    const auto found = entries_.find(atom);
    if (found != entries_.end() && --found->second.uses == 0) entries_.erase(found);
  }

  std::string Name(uint16_t atom, uint32_t longest) override {
    const Held held(&lock_);
    const auto found = entries_.find(atom);
    return found != entries_.end() ? found->second.name.substr(0, longest) : "";
  }

 private:
  struct Entry {
    std::string name;
    int64_t uses = 0;
  };
  Mutex lock_;
  std::map<uint16_t, Entry> entries_;
};

}  // namespace

TERVALON_DEFINE_SERVICE(AtomTable, LinuxAtoms)

}  // namespace tervalon::platform
