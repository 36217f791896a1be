// Arguments as callers pass them: usual ones, and wrong ones.

#ifndef TESTS_CALLERS_DRAW_H_
#define TESTS_CALLERS_DRAW_H_

#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "tests/callers/contract.h"
#include "tests/callers/exports.h"

namespace tervalon::testing {

// What callers hold between calls: live handles that are pointers, and those that are gone.
struct Held {
  std::vector<TvDC> dcs;
  std::vector<TvPen> pens;
  std::vector<TvFont> fonts;
  std::vector<TvMemory> blocks;
};
extern Held held;

#if !defined(_WIN32)
// What a program draws on, valid until the next call.
struct _cairo* NewCairo();
#endif

// Memory handed to an export. What is before and behind it must stay; where an address sanitizer
// watches, it does so for reading too.
class Buffer {
 public:
  explicit Buffer(size_t size);
  uint8_t* data() const;
  size_t size() const { return size_; }
  bool Intact() const;

 private:
  size_t size_;
  std::unique_ptr<uint8_t[]> bytes_;
};

// A result that a callback gives: 0 or nothing.
template <typename R, typename... A>
R TERVALON_CALL Callback(A... /*arguments*/) {
  return R();
}

// The arguments of one call.
class Draw {
 public:
  // Argument `wrong` is wrong; with -1, each one with the probability `mischief`.
  Draw(uint64_t seed, const char* export_name, const std::vector<const char*>& names, int wrong,
       double mischief);

  template <typename T>
  void Scalar(size_t i, T* value);
  template <typename T>
  void Pointer(size_t i, T* value);

  // A required pointer is NULL, or a handle out of range.
  bool must_fail() const { return must_fail_; }
  bool Intact() const;
  const std::string& text() const { return text_; }
  // Runs after the call.
  void Later(std::function<void(bool done)> action) { later_.push_back(std::move(action)); }
  void Finish(bool done) const;

 private:
  size_t Below(size_t n) { return random_() % n; }
  bool Chance(double share) { return static_cast<double>(Below(1000)) < share * 1000; }
  bool Wrong(size_t i) {
    return wrong_ == static_cast<int>(i) || (wrong_ < 0 && Chance(mischief_));
  }
  bool Is(std::string_view name) const { return name_ == name; }
  bool IsIn(std::string_view prefix) const { return export_.substr(0, prefix.size()) == prefix; }

  int64_t Integer(size_t i, int64_t low, int64_t high);
  double Real();
  uint8_t* Bytes(size_t size);
  template <typename T>
  T* Array(size_t elements) {
    return reinterpret_cast<T*>(Bytes(elements * sizeof(T)));
  }
  template <typename T>
  T* Filled(size_t elements) {
    T* const array = Array<T>(elements);
    for (size_t at = 0; at < elements; ++at) Fill(array + at);
    return array;
  }
  template <typename T>
  T Any(const std::vector<T>& choices) {
    return choices[Below(choices.size())];
  }
  template <typename T>
  T HandleOf(const std::vector<T>& known);
  char* Text();
  void* Descriptor();
  size_t Elements() const;
  void FillBytes(void* bytes, size_t size);

  // Structures that hold pointers, or whose usual content zeros and small numbers are not.
  template <typename T>
  void Fill(T* structure) {
    if constexpr (std::is_floating_point_v<T>) {
      *structure = static_cast<T>(Real());
    } else {
      FillBytes(structure, sizeof(T));
    }
  }
  void Fill(SystemFile* file);
  void Fill(SystemRawFile* file);
  void Fill(DmRawDescriptor* descriptor);
  void Fill(DmDatabaseDescriptor* descriptor);
  void Fill(DmTraceRecord* trace);
  void Fill(RawFunctionRecord* record);
  void Fill(RawTrace* trace);
  void Fill(AxsStyle* style);
  void Fill(AxsPlotBlock* plot);
  void Fill(PltResources* resources);
  void Fill(TvDocumentCreate* create);
  void Fill(TvRect* rect);
  void Fill(AxsRange* range);
  void Fill(DB3FieldOffsetWidth* entry);
  void Fill(DmAdapter* adapter);
  void Fill(AppPenProcedures* procedures);
  void Fill(LinDataset* result);
  void Fill(LinVarianceDataset* result);
  void Fill(RawHistoryHeader* header);
  void Fill(PrcStep* step);
  void Fill(TvWindow* window) { *window = nullptr; }

  std::mt19937 random_;
  std::string_view export_;
  const std::vector<const char*>& names_;
  int wrong_;
  double mischief_;
  std::string_view name_;  // of the argument that is drawn
  bool must_fail_ = false;
  int64_t count_ = -1;  // elements of the arrays; -1: no argument says so
  int64_t bytes_ = -1;  // what "desc_size" said
  int64_t items_ = -1;  // what "item_count", "trace_count" or "max_count" said
  double scale_ = 1;
  std::vector<Buffer> buffers_;
  std::vector<std::function<void(bool)>> later_;
  std::string text_;
};

// --- Templates

template <typename T>
void Draw::Scalar(size_t i, T* value) {
  name_ = names_[i];
  if constexpr (std::is_floating_point_v<T>) {
    *value = static_cast<T>(Real());
    if (Is("scale") && IsIn("LinScale") && *value > 1000 && *value < 1e30) *value = 250;
    if (Is("scale")) scale_ = *value;
    text_ += " " + std::string(name_) + "=" + std::to_string(*value);
  } else if constexpr (std::is_integral_v<T>) {
    *value =
        static_cast<T>(Integer(i, std::numeric_limits<T>::min(), std::numeric_limits<T>::max()));
    const auto number = static_cast<int64_t>(*value);
    if (Is("count") || Is("n") || Is("size") || Is("capacity") || Is("out_size") || Is("length") ||
        (Is("channels") && count_ < 0)) {
      count_ = number;
    }
    if (Is("desc_size")) bytes_ = number;
    if (Is("item_count") || Is("trace_count") || Is("max_count") || Is("scan_count")) {
      items_ = number;
    }
    text_ += " " + std::string(name_) + "=" + std::to_string(number);
  } else if constexpr (std::is_class_v<T>) {
    Fill(value);
  }
}

template <typename T>
T Draw::HandleOf(const std::vector<T>& known) {
  // A few, the latest most of all; or what never was one.
  if (!known.empty() && !Chance(mischief_ / 2)) {
    const size_t back = Below(std::min<size_t>(known.size(), 1 + Below(4)));
    return known[known.size() - 1 - back];
  }
  return reinterpret_cast<T>(uintptr_t{0x1230});
}

template <typename T>
void Draw::Pointer(size_t i, T* value) {
  if constexpr (std::is_pointer_v<T>) {
    using Target = std::remove_const_t<std::remove_pointer_t<T>>;
    name_ = names_[i];
    if (Wrong(i) && Chance(wrong_ >= 0 ? 1 : 0.3) && !NeverNull(export_, name_)) {
      *value = nullptr;
      const bool no_elements = count_ == 0 || (items_ == 0 && Is("item_sizes"));
      must_fail_ |= !Optional(export_, name_) && !no_elements;
      text_ += " " + std::string(name_) + "=NULL";
      return;
    }
    text_ += " " + std::string(name_) + "=...";
    if constexpr (std::is_function_v<Target>) {
      *value = &Callback;
    } else if constexpr (std::is_same_v<T, TvDC>) {
      *value = HandleOf(held.dcs);
    } else if constexpr (std::is_same_v<T, TvPen>) {
      *value = HandleOf(held.pens);
    } else if constexpr (std::is_same_v<T, TvFont>) {
      *value = HandleOf(held.fonts);
#if !defined(_WIN32)
    } else if constexpr (std::is_same_v<T, struct _cairo*>) {
      *value = NewCairo();
#endif
    } else if constexpr (std::is_same_v<T, TvMemory> && !std::is_same_v<T, void*>) {
      *value = HandleOf(held.blocks);
    } else if constexpr (std::is_same_v<T, TvWindow> || std::is_same_v<T, TvInstance>) {
      *value = nullptr;  // there is no window
#if !defined(_WIN32)
      if (Chance(0.5)) *value = reinterpret_cast<T>(uintptr_t{0x1230});
#endif
    } else if constexpr (std::is_same_v<T, const char*> || std::is_same_v<T, char*>) {
      const bool in = std::is_same_v<T, const char*> || (IsIn("ChannelToDesc") && Is("text"));
      if (in && !(IsIn("DB3Convert") && Is("record"))) {
        *value = Text();
        text_ += "\"" + std::string(*value).substr(0, 40) + "\"";
      } else {
        *value = Array<char>(Elements());
        FillBytes(const_cast<char*>(*value), Elements());
      }
    } else if constexpr (std::is_same_v<T, const char* const*>) {
      auto** const texts = Array<const char*>(3);
      texts[0] = Text();
      texts[1] = Text();
      texts[2] = Chance(0.5) ? nullptr : "";
      *value = texts;
    } else if constexpr (std::is_same_v<T, const char**>) {
      *value = Array<const char*>(1);
    } else if constexpr (std::is_same_v<T, void*> || std::is_same_v<T, const void*>) {
      if (Is("block")) {  // where a TvMemory is no type of its own
        *value = reinterpret_cast<T>(HandleOf(held.blocks));
      } else if (Is("object")) {
        *value = HandleOf(held.pens);
      } else if (Is("desc")) {
        *value = Descriptor();
      } else {
        *value = Bytes(8192);
        FillBytes(const_cast<void*>(static_cast<const void*>(*value)), 8192);
      }
    } else if constexpr (std::is_pointer_v<Target>) {  // items, values, times: arrays of arrays
      const size_t arrays =
          IsIn("RawReadChromTraces") ? static_cast<size_t>(std::max<int64_t>(items_, 0)) : 4;
      auto** const pointers = Array<std::remove_const_t<std::remove_pointer_t<Target>>*>(arrays);
      size_t left = size_t{1} << 26;  // of the memory that a process of 32 bits has
      for (size_t at = 0; at < arrays; ++at) {
        pointers[at] = nullptr;
        // Elements of eight bytes, or as many records as databases have here.
        const size_t bytes = std::max(Elements() * 8, std::min<size_t>(Elements(), 100) * 8192);
        if (Chance(0.2) || bytes > left) continue;
        left -= bytes;
        pointers[at] = reinterpret_cast<std::remove_pointer_t<decltype(pointers)>>(Bytes(bytes));
      }
      *value = const_cast<T>(reinterpret_cast<std::remove_const_t<T>>(pointers));
    } else {
      auto* const array = Filled<Target>(Elements());
      if constexpr (std::is_floating_point_v<Target>) {
        if (Is("list") && Elements() > 0) array[Elements() - 1] = 0;  // the end of a mass list
      }
      if constexpr (std::is_same_v<Target, uint32_t>) {
        if (Is("item_sizes")) {  // what callers ask for they get: not gigabytes
          for (size_t at = 0; at < Elements(); ++at)
            array[at] = Any<uint32_t>({0, 1, 4, 4, 8, 70000});
        }
      }
      if constexpr (std::is_integral_v<Target>) {
        if (Is("count")) {
          *array = static_cast<Target>(Integer(names_.size(), std::numeric_limits<Target>::min(),
                                               std::numeric_limits<Target>::max()));
          count_ = static_cast<int64_t>(*array);
        }
      }
      *value = array;
    }
  }
}

}  // namespace tervalon::testing

#endif  // TESTS_CALLERS_DRAW_H_
