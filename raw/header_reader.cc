#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "appsvc/application.h"
#include "appsvc/export_guard.h"
#include "appsvc/text_number.h"
#include "platform/file_system.h"
#include "raw/calibration.h"
#include "raw/function_table.h"
#include "raw/header_file.h"
#include "raw/header_tags.h"
#include "raw/member_change.h"
#include "tervalon/raw_analog.h"
#include "tervalon/raw_functions.h"
#include "tervalon/raw_header.h"
#include "tervalon/settings.h"

namespace tervalon::raw {
namespace {

using appsvc::ParseDouble;
using appsvc::ParseInt;

template <typename Integer>
Integer Clamped(int32_t value) {
  return static_cast<Integer>(std::clamp<int32_t>(value, std::numeric_limits<Integer>::min(),
                                                  std::numeric_limits<Integer>::max()));
}

float ToFloat(double value) {
  constexpr double kLimit = std::numeric_limits<float>::max();
  return static_cast<float>(std::clamp(value, -kLimit, kLimit));
}

void CopyText(const char* value, const HeaderTag& tag, char* field) {
  std::memset(field, 0, tag.size);
  std::copy_n(value, std::min<size_t>(std::strlen(value), tag.size - 1), field);
}

// Puts the values of lines into the records, of which either may be absent.
class RecordFiller {
 public:
  RecordFiller(RawHeader* header, RawCalibration* calibration)
      : header_(header), calibration_(calibration) {}

  void Store(const HeaderTag& tag, const char* value) {
    if (header_ != nullptr) StoreInHeader(tag, value);
    if (calibration_ != nullptr) StoreInCalibration(tag, value);
  }

 private:
  void StoreInHeader(const HeaderTag& tag, const char* value) {
    switch (tag.value) {
      case HeaderValue::kVersion: {
        const char* const point = std::strchr(value, '.');
        header_->version_major = Clamped<int16_t>(ParseInt(value));
        header_->version_minor = Clamped<int16_t>(ParseInt(point != nullptr ? point + 1 : nullptr));
        break;
      }
      case HeaderValue::kSolventDelay:
        header_->solvent_delay = ParseDouble(value);
        break;
      case HeaderValue::kResolved:
        header_->resolved = 1;
        break;
      case HeaderValue::kHeaderText:
      case HeaderValue::kProcessed:
        CopyText(value, tag, tag.FieldOf<char>(header_));
        break;
      case HeaderValue::kAnalogOffset:
        header_->analog_offsets[tag.number - 1] = ToFloat(ParseDouble(value));
        break;
      default:
        break;
    }
  }

  void StoreInCalibration(const HeaderTag& tag, const char* value) {
    switch (tag.value) {
      case HeaderValue::kCalibrationText:
        CopyText(value, tag, tag.FieldOf<char>(calibration_));
        break;
      case HeaderValue::kLag:
        *tag.FieldOf<int32_t>(calibration_) = ParseInt(value);
        break;
      case HeaderValue::kCoefficients:
        RawParseCaliCoeffs(tag.FieldOf<RawCaliCoeffs>(calibration_), value);
        break;
      case HeaderValue::kFunctionCoefficients:
      case HeaderValue::kFunctionDeviation:
      case HeaderValue::kFunctionModification:
        StoreInFunction(tag, tag.number, value);
        break;
      case HeaderValue::kSegmentCoefficients:
        StoreInFunction(tag, 1, value);
        break;
      default:
        break;
    }
  }

  void StoreInFunction(const HeaderTag& tag, int32_t number, const char* value) {
    RawFunctionCalibration function;
    RawGetFuncCalib(calibration_, number, &function);
    if (tag.value == HeaderValue::kFunctionModification) {
      RawParseCaliCoeffs(&function.modification, value);
      function.has_modification = 1;
    } else {
      const int32_t segment = tag.value == HeaderValue::kSegmentCoefficients ? tag.number - 1 : 0;
      RawCaliCoeffs set;
      RawGetFuncSegCoeffs(&function, segment, &set);
      if (tag.value == HeaderValue::kFunctionDeviation) {
        RawParseCaliStdDevs(&set, value);
      } else {
        RawParseCaliCoeffs(&set, value);
      }
      RawSetFuncSegCoeffs(&function, segment, &set);
    }
    RawSetFuncCalib(calibration_, number, &function);
    calibration_->function_count = std::max(calibration_->function_count, number);
  }

  RawHeader* header_;
  RawCalibration* calibration_;
};

// Finds the tagged lines in the header's characters, whatever else stands there.
class LineMachine {
 public:
  explicit LineMachine(const RecordFiller& filler) : filler_(filler) {}

  void Pass(char c) {
    switch (state_) {
      case State::kOutside:
        if (c == '$') state_ = State::kFirstDollar;
        break;
      case State::kFirstDollar:
        if (c == '$') {
          candidates_.fill(kNameStart);
          state_ = State::kName;
        }
        break;
      case State::kName:
        if (c != '_' && !IsBlank(c)) MatchName(c);
        break;
      case State::kValue:
        PassValue(c);
        break;
    }
  }

 private:
  enum class State { kOutside, kFirstDollar, kName, kValue };

  static constexpr uint8_t kNameStart = 2;  // behind the dollars of a pattern
  static constexpr uint8_t kDropped = 0;
  // No field holds more of a value.
  static constexpr size_t kMaxValue = 1023;

  static bool IsBlank(char c) { return c == ' ' || c == '\b'; }

  static char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

  // Compares a character with the next one of every candidate's name. The lowest tag whose name
  // matches up to its colon wins.
  void MatchName(char c) {
    state_ = State::kOutside;
    for (size_t tag = 0; tag < candidates_.size(); ++tag) {
      if (candidates_[tag] == kDropped) continue;
      const char* next = kHeaderTags[tag].pattern.data() + candidates_[tag];
      while (*next == ' ') ++next;
      if (Lower(c) != Lower(*next)) {
        candidates_[tag] = kDropped;
        continue;
      }
      state_ = State::kName;
      candidates_[tag] = static_cast<uint8_t>(next + 1 - kHeaderTags[tag].pattern.data());
      if (c == ':') {
        state_ = State::kValue;
        tag_ = tag;
        length_ = 0;
        return;
      }
    }
  }

  void PassValue(char c) {
    if (c == '\r' || c == '\n') {
      value_[length_] = '\0';
      filler_.Store(kHeaderTags[tag_], value_.data());
      state_ = State::kOutside;
    } else if (length_ < kMaxValue && (length_ > 0 || !IsBlank(c))) {
      value_[length_++] = c;
    }
  }

  RecordFiller filler_;
  State state_ = State::kOutside;
  std::array<uint8_t, RAW_HEADER_TAG_COUNT> candidates_ = {};  // positions in the patterns
  size_t tag_ = 0;
  size_t length_ = 0;
  std::array<char, kMaxValue + 1> value_ = {};
};

// Reads the header file, the inverted one where there is one.
int32_t ReadHeaderFile(int32_t handle, bool* inverted, MemberContent* content) {
  int32_t error = ReadMember(handle, kHeaderInverted, kMaxHeaderSize, content);
  *inverted = !content->absent;
  if (error == RAW_OK && content->absent) {
    error = ReadMember(handle, kHeaderText, kMaxHeaderSize, content);
  }
  if (error != RAW_OK) return error;
  if (content->absent) return RAW_MEMBER_NOT_OPENED;
  if (*inverted) {
    for (uint8_t& byte : content->bytes) byte = static_cast<uint8_t>(~byte);
  }
  return RAW_OK;
}

// Gives a calibration to the functions that the header does not calibrate.
void AddDefaultCalibrations(const std::vector<RawFunctionRecord>& records,
                            RawCalibration* calibration) {
  const auto wanted =
      static_cast<int32_t>(std::min<size_t>(records.size(), RAW_MAX_CALIBRATED_FUNCTIONS));
  for (int32_t i = calibration->function_count; i < wanted; ++i) {
    RawFuncDefaultCalib(calibration, &records[static_cast<size_t>(i)], &calibration->functions[i]);
    calibration->function_count = i + 1;
  }
}

// The text of the header, and the function table, of which the records are part.
int32_t ReadRecords(int32_t handle, RawHeader* header, RawCalibration* calibration,
                    std::vector<RawFunctionRecord>* functions, bool* inverted,
                    MemberContent* content) {
  if (calibration != nullptr) ResetCalibration(calibration);
  int32_t error = ReadHeaderFile(handle, inverted, content);
  if (error != RAW_OK) return error;
  ParseHeader(content->bytes, header, calibration);
  if (header != nullptr) header->encrypted = *inverted ? 1 : 0;
  error = ReadFunctionTable(handle, functions);
  if (error == RAW_OK && calibration != nullptr) AddDefaultCalibrations(*functions, calibration);
  return error;
}

int32_t ReadHeader(int32_t handle, RawHeader* header, RawCalibration* calibration,
                   int16_t* functions, int16_t* analog_channels) {
  int32_t error = CheckHandle(handle);
  if (error != RAW_OK) return error;
  if (header != nullptr) std::memset(header, 0, sizeof(*header));
  if (functions != nullptr) *functions = 0;
  if (analog_channels != nullptr) *analog_channels = 0;

  bool inverted = false;
  MemberContent content;
  std::vector<RawFunctionRecord> records;
  error = ReadRecords(handle, header, calibration, &records, &inverted, &content);
  if (error != RAW_OK) return error;
  if (functions != nullptr) *functions = Clamped<int16_t>(static_cast<int32_t>(records.size()));
  int16_t channels = 0;
  error = CountAnalogChannels(handle, &channels);
  if (error != RAW_OK) return error;
  if (analog_channels != nullptr) *analog_channels = channels;
  // Nobody writes the inverted file.
  if (header != nullptr && calibration != nullptr && !inverted) {
    RememberParts(handle, kHeaderText, content, FormatHeader(*header, *calibration));
  }
  return RAW_OK;
}

}  // namespace

void ParseHeader(const std::vector<uint8_t>& text, RawHeader* header, RawCalibration* calibration) {
  LineMachine lines(RecordFiller(header, calibration));
  for (const uint8_t byte : text) lines.Pass(static_cast<char>(byte));
  lines.Pass('\n');  // the last line may lack its end
}

int32_t ReadCalibration(int32_t handle, RawCalibration* calibration,
                        std::vector<RawFunctionRecord>* functions) {
  return Guarded(RAW_NO_MEMORY_FOR_MEMBER, [&] {
    bool inverted = false;
    MemberContent content;
    return ReadRecords(handle, nullptr, calibration, functions, &inverted, &content);
  });
}

int32_t CountAnalogChannels(int32_t handle, int16_t* channels) {
  *channels = 0;
  if (IsGCMD() != 0) {
    int32_t count = 0;
    if (!appsvc::PenChannelCount(HandleDirectory(handle).c_str(), &count)) {
      return RAW_PATH_NOT_BUILT;
    }
    *channels = Clamped<int16_t>(count);
    return RAW_OK;
  }
  std::unique_ptr<platform::File> table;
  bool absent = false;
  const int32_t error = OpenForReading(handle, kAnalogInfo, 0, &table, &absent);
  if (error != RAW_OK) return absent ? RAW_OK : error;  // no table, no channels
  uint64_t size = 0;
  if (!table->Size(&size)) return RAW_SEEK_FAILED;
  *channels = static_cast<int16_t>(
      std::min<uint64_t>(size / RAW_ANALOG_DESCRIPTOR_SIZE, RAW_MAX_ANALOG_CHANNELS));
  return RAW_OK;
}

}  // namespace tervalon::raw

extern "C" int32_t TERVALON_CALL RawReadHeader(int32_t handle, RawHeader* header,
                                               RawCalibration* calibration, int16_t* functions,
                                               int16_t* analog_channels) {
  return tervalon::Guarded(RAW_NO_MEMORY_FOR_MEMBER, [&] {
    return tervalon::raw::ReadHeader(handle, header, calibration, functions, analog_channels);
  });
}
