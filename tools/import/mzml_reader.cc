#include "tools/import/mzml_reader.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <map>
#include <optional>

#include "tools/exchange/base64.h"
#include "tools/import/xml_reader.h"
#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

constexpr size_t kMostParams = 10000;  // of one spectrum
constexpr size_t kMostElements = 100000;
constexpr size_t kMostArrays = 100;

// What stands before the run and has parameters of its own. Those within them belong to them.
constexpr std::array<std::string_view, 9> kDescribed = {
    "fileContent",      "sourceFile",   "contact", "sample", "software", "instrumentConfiguration",
    "processingMethod", "scanSettings", "run"};

bool IsDescribed(std::string_view element) {
  return std::ranges::find(kDescribed, element) != kDescribed.end();
}

std::optional<size_t> Count(std::string_view text) {
  size_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

// Follows the elements of a file.
class Parser : public XmlHandler {
 public:
  Parser(const std::string& path, MzmlHandler& handler) : handler_(handler), reader_(path, *this) {}

  void Read(const std::function<void(int)>& progress) {
    reader_.Read(progress);
    if (!has_run_) reader_.Fail("it has no run");
    if (!described_) handler_.Describe(description_);
  }

  void Begin(std::string_view element, const XmlAttributes& attributes) override {
    if (path_.empty() && element != "mzML" && element != "indexedmzML") {
      reader_.Fail("not an mzML file: its outermost element is " + Quoted(element));
    }
    path_.emplace_back(element);
    if (element == "cvParam" || element == "userParam") {
      AddParam(attributes, element == "cvParam");
    } else if (element == "referenceableParamGroupRef") {
      AddGroup(attributes.Get("ref"));
    } else if (element == "referenceableParamGroup") {
      group_ = &groups_[std::string(attributes.Get("id"))];
    } else if (element == "run") {
      has_run_ = true;
      description_.run_id = attributes.Get("id");
      description_.start_time = attributes.Get("startTimeStamp");
      description_.instrument = attributes.Get("defaultInstrumentConfigurationRef");
      description_.sample = attributes.Get("sampleRef");
      BeginDescribed(element, attributes);
    } else if (element == "spectrumList" || element == "chromatogramList") {
      BeginList(attributes);
    } else if (element == "spectrum" || element == "chromatogram") {
      BeginEntry(attributes);
    } else if (in_entry_) {
      BeginInEntry(element, attributes);
    } else if (IsDescribed(element)) {
      BeginDescribed(element, attributes);
    }
  }

  void End(std::string_view element) override {
    path_.pop_back();
    if (element == "referenceableParamGroup") {
      group_ = nullptr;
    } else if (element == "spectrum" || element == "chromatogram") {
      EndEntry(element == "spectrum");
    } else if (element == "spectrumList" || element == "chromatogramList") {
      if (list_length_ && *list_length_ != entries_) {
        handler_.Doubt("entries of the " + std::string(element) + ": it says " +
                       std::to_string(*list_length_) + " and has " + std::to_string(entries_));
      }
    } else if (element == "binaryDataArray" && array_ != nullptr) {
      array_ = nullptr;
    } else if (element == "binary" && array_ != nullptr) {
      EndBinary();
    } else if (element == "scanWindow") {
      in_window_ = false;
    } else if (IsDescribed(element)) {
      described_element_ = false;
    }
  }

  void Text(std::string_view text) override {
    if (array_ == nullptr || path_.back() != "binary") return;
    if (!wanted_) {
      characters_ += text.size();
    } else if (!base64_.Add(text)) {
      reader_.Fail("a character that base64 does not have, in " + EntryName());
    } else if (base64_.characters() > encoded_length_) {
      reader_.Fail("an array of " + EntryName() + " has more characters than the " +
                   std::to_string(encoded_length_) + " that it says");
    }
  }

  bool TakesPlainText() const override { return array_ != nullptr && path_.back() == "binary"; }

 private:
  static std::string Quoted(std::string_view text) {
    return Printable("'" + std::string(text.substr(0, 80)) + "'");
  }

  std::string EntryName() const {
    return std::string(in_spectrum_ ? "spectrum " : "chromatogram ") + Quoted(entry_.id);
  }

  void BeginDescribed(std::string_view element, const XmlAttributes& attributes) {
    if (description_.elements.size() == kMostElements) reader_.Fail("too many elements");
    description_.elements.push_back({.element = std::string(element),
                                     .id = std::string(attributes.Get("id")),
                                     .name = std::string(attributes.Get("name")),
                                     .params = {}});
    described_element_ = true;
  }

  // --- Parameters

  // Where a parameter goes that stands in the innermost element; nullptr: nowhere.
  MzmlParams* Target() {
    if (group_ != nullptr) return group_;
    if (array_ != nullptr) return &array_->params;
    if (in_entry_) return in_window_ ? &entry_.windows.back() : &entry_.params;
    if (described_element_) return &description_.elements.back().params;
    return nullptr;
  }

  // The element around the one that has just begun.
  std::string Parent() const { return path_.size() < 2 ? std::string() : path_[path_.size() - 2]; }

  void AddParam(const XmlAttributes& attributes, bool is_term) {
    MzmlParams* const target = Target();
    if (target == nullptr) return;
    if (target->size() >= kMostParams) reader_.Fail("an element of more than 10000 parameters");
    MzmlParam& param = target->emplace_back();
    if (is_term) param.accession = attributes.Get("accession");
    param.name = attributes.Get("name");
    param.value = attributes.Get("value");
    param.unit = attributes.Get("unitAccession");
    param.unit_name = attributes.Get("unitName");
    param.element = Parent();
  }

  void AddGroup(std::string_view id) {
    MzmlParams* const target = Target();
    if (target == nullptr) return;
    const auto group = groups_.find(std::string(id));
    if (group == groups_.end()) reader_.Fail("no parameter group " + Quoted(id));
    if (&group->second == target) reader_.Fail("a parameter group that refers to itself");
    if (target->size() + group->second.size() > kMostParams) {
      reader_.Fail("an element of more than 10000 parameters");
    }
    const std::string parent = Parent();
    for (const MzmlParam& param : group->second) {
      target->push_back(param);
      target->back().element = parent;
    }
  }

  // --- Spectra and chromatograms

  void BeginList(const XmlAttributes& attributes) {
    entries_ = 0;
    list_length_ = Count(attributes.Get("count"));
    if (!list_length_) reader_.Fail("a list without a count");
  }

  void BeginEntry(const XmlAttributes& attributes) {
    if (in_entry_) reader_.Fail("a spectrum or chromatogram within another");
    if (!has_run_) reader_.Fail("a spectrum or chromatogram outside the run");
    if (!described_) {
      described_ = true;
      handler_.Describe(description_);
    }
    in_entry_ = true;
    in_spectrum_ = path_.back() == "spectrum";
    ++entries_;
    entry_.id = attributes.Get("id");
    entry_.params.clear();
    entry_.windows.clear();
    entry_.arrays.clear();
    entry_.precursors = 0;
    entry_.instrument.clear();
    const std::optional<size_t> length = Count(attributes.Get("defaultArrayLength"));
    if (!length) reader_.Fail(EntryName() + " has no array length");
    entry_.length = *length;
  }

  void BeginInEntry(std::string_view element, const XmlAttributes& attributes) {
    if (element == "binaryDataArray") {
      BeginArray(attributes);
    } else if (element == "binary" && array_ != nullptr) {
      base64_.Clear();
      characters_ = 0;
      wanted_ = handler_.Wants(array_->params);
      // Compression makes numbers a little longer at most.
      if (wanted_ && encoded_length_ / 12 > array_->length + 100) {
        reader_.Fail("an array of " + EntryName() + " is longer than its numbers can be");
      }
    } else if (element == "scanWindow") {
      if (entry_.windows.size() == kMostParams) reader_.Fail("too many scan windows");
      entry_.windows.emplace_back();
      in_window_ = true;
    } else if (element == "precursor") {
      ++entry_.precursors;
    } else if (element == "scan" && attributes.Has("instrumentConfigurationRef")) {
      entry_.instrument = attributes.Get("instrumentConfigurationRef");
    }
  }

  void EndEntry(bool spectrum) {
    in_entry_ = false;
    try {
      spectrum ? handler_.Spectrum(entry_) : handler_.Chromatogram(entry_);
    } catch (const Defect& defect) {
      reader_.Fail(EntryName() + ": " + defect.reason);
    }
  }

  void BeginArray(const XmlAttributes& attributes) {
    if (entry_.arrays.size() == kMostArrays) reader_.Fail(EntryName() + " has too many arrays");
    array_ = &entry_.arrays.emplace_back();
    array_->length = entry_.length;
    if (attributes.Has("arrayLength")) {
      const std::optional<size_t> length = Count(attributes.Get("arrayLength"));
      if (!length) reader_.Fail("an array of " + EntryName() + " has no length");
      array_->length = *length;
    }
    const std::optional<size_t> encoded = Count(attributes.Get("encodedLength"));
    if (!encoded) reader_.Fail("an array of " + EntryName() + " has no encoded length");
    encoded_length_ = *encoded;
  }

  void EndBinary() {
    if (!wanted_) return;
    if (!base64_.IsWhole()) reader_.Fail("the base64 of " + EntryName() + " is cut off");
    if (base64_.characters() != encoded_length_) {
      reader_.Fail("an array of " + EntryName() + " has " + std::to_string(base64_.characters()) +
                   " characters instead of " + std::to_string(encoded_length_));
    }
    array_->bytes = base64_.bytes();
  }

  MzmlHandler& handler_;
  XmlReader reader_;
  std::vector<std::string> path_;  // elements that are open, the innermost last
  std::map<std::string, MzmlParams> groups_;
  MzmlParams* group_ = nullptr;  // that is being read
  MzmlDescription description_;
  bool described_element_ = false;
  bool described_ = false;
  bool has_run_ = false;
  std::optional<size_t> list_length_;
  size_t entries_ = 0;  // of the list
  MzmlEntry entry_;
  bool in_entry_ = false;
  bool in_spectrum_ = false;
  bool in_window_ = false;
  MzmlArray* array_ = nullptr;  // that is being read
  bool wanted_ = false;
  size_t encoded_length_ = 0;
  size_t characters_ = 0;
  Base64Decoder base64_;
};

}  // namespace

const MzmlParam* Find(const MzmlParams& params, const CvTerm& term) {
  const auto found =
      std::ranges::find_if(params, [&](const MzmlParam& param) { return param.Is(term); });
  return found == params.end() ? nullptr : &*found;
}

const MzmlArray* MzmlEntry::Find(const CvTerm& kind) const {
  const auto found =
      std::ranges::find_if(arrays, [&](const MzmlArray& array) { return array.Is(kind); });
  return found == arrays.end() ? nullptr : &*found;
}

void ReadMzml(const std::string& path, MzmlHandler& handler,
              const std::function<void(int)>& progress) {
  Parser(path, handler).Read(progress);
}

}  // namespace tervalon::tools
