// Names kept under small numbers, so that a window property can hold one.

#ifndef PLATFORM_ATOMS_H_
#define PLATFORM_ATOMS_H_

#include <cstdint>
#include <string>

#include "platform/replaceable.h"

namespace tervalon::platform {

class AtomTable {
 public:
  virtual ~AtomTable() = default;

  // Returns the atom of a name of 1 to 255 characters, which counts one more use; 0 on failure.
  // Names that differ only in case have the same atom.
  virtual uint16_t Add(const char* name) = 0;

  // Takes one use back; after the last the atom is free.
  virtual void Delete(uint16_t atom) = 0;

  // Returns the name as it was first added, cut to `longest` characters; empty when there is none.
  virtual std::string Name(uint16_t atom, uint32_t longest) = 0;
};

template <>
AtomTable& Current<AtomTable>();
template <>
AtomTable* Replace<AtomTable>(AtomTable* service);

inline AtomTable& Atoms() { return Current<AtomTable>(); }

}  // namespace tervalon::platform

#endif  // PLATFORM_ATOMS_H_
