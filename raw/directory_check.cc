// Checks a raw directory, and mends what can be mended without guessing: records that are cut off
// go, links that lead nowhere go. What a member held before is kept beside it.

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "appsvc/export_guard.h"
#include "platform/file_change.h"
#include "platform/file_system.h"
#include "platform/text.h"
#include "raw/data_types.h"
#include "raw/function_record.h"
#include "raw/history_file.h"
#include "raw/member_files.h"
#include "raw/scan_files.h"
#include "raw/scan_index.h"
#include "tervalon/raw_analog.h"
#include "tervalon/raw_directory.h"

namespace tervalon::raw {
namespace {

using platform::ChangeLock;
using platform::File;
using platform::Files;
using platform::OpenMode;

constexpr size_t kBlock = 65536;

std::string Count(uint64_t count, const char* noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

// A member as it is found.
struct Found {
  std::string name;
  std::unique_ptr<File> file;  // nullptr: absent, or not readable and reported
  uint64_t size = 0;
  bool absent = false;

  bool there() const { return file != nullptr; }
};

// What an index says of its data.
struct IndexSummary {
  uint64_t scans = 0;       // up to the last one whose data are whole
  uint64_t cut_off = 0;     // behind it
  uint64_t outside = 0;     // in front of it, with data that are not there
  uint64_t backwards = 0;   // scans that are earlier than the one in front of them
  uint64_t named_data = 0;  // bytes of ".DAT" up to the end of the last that a scan has
};

class Examination {
 public:
  Examination(std::string directory, bool repair, RawProblemCallback callback, void* user)
      : directory_(std::move(directory)), repair_(repair), callback_(callback), user_(user) {}

  // The number of problems that remain.
  int32_t Run() {
    CheckNames();
    CheckHeader();
    CheckFunctions();
    for (int32_t process = 1; process <= RAW_MAX_PROCESSES; ++process) CheckProcess(process);
    CheckAnalogs();
    CheckHistory();
    return remaining_;
  }

 private:
  using Mend = std::function<bool()>;

  void Report(int32_t kind, const std::string& member, const std::string& text,
              const Mend& mend = nullptr) {
    RawProblem problem = {};
    problem.kind = kind;
    problem.mended = mend != nullptr && (!repair_ || mend()) ? 1 : 0;
    member.copy(problem.member, sizeof(problem.member) - 1);
    text.copy(problem.text, sizeof(problem.text) - 1);
    if (!repair_ || problem.mended == 0) ++remaining_;
    if (callback_ != nullptr) callback_(&problem, user_);
  }

  std::string PathOf(const std::string& name) const { return PathInside(directory_, name); }

  Found Open(int32_t code, int32_t number) {
    Found found;
    found.name = MemberName(code, number);
    found.file = Files().Open(PathOf(found.name), OpenMode::kRead, &found.absent);
    if (found.file != nullptr && !found.file->Size(&found.size)) found.file = nullptr;
    if (found.file == nullptr && !found.absent) {
      Report(RAW_PROBLEM_UNREADABLE, found.name, "cannot be read");
    }
    return found;
  }

  // Reads the beginning of a member; false, and reported, when it cannot be read.
  bool Read(Found* found, void* bytes, size_t count) {
    size_t read = 0;
    if (found->file->ReadAt(0, bytes, count, &read) && read == count) return true;
    Report(RAW_PROBLEM_UNREADABLE, found->name, "cannot be read");
    found->file = nullptr;
    return false;
  }

  // --- mending

  // Keeps what a member holds now beside it, once in an examination.
  bool KeepCopy(const std::string& name) {
    if (copied_.count(name) != 0) return true;
    const std::unique_ptr<File> from = Files().Open(PathOf(name), OpenMode::kRead);
    if (from == nullptr) return false;
    const std::string copy = platform::FreeName(PathOf(name) + ".BAK");
    if (copy.empty()) return false;
    std::unique_ptr<File> to = Files().Open(copy, OpenMode::kCreateNew);
    if (to == nullptr) return false;
    if (CopyAll(*from, *to) && to->Sync() && to->Close()) {
      copied_.insert(name);
      return true;
    }
    to = nullptr;
    Files().Remove(copy);
    return false;
  }

  static bool CopyAll(File& from, File& to) {
    std::vector<uint8_t> block(kBlock);
    for (uint64_t offset = 0;;) {
      size_t read = 0;
      size_t written = 0;
      if (!from.ReadAt(offset, block.data(), block.size(), &read)) return false;
      if (read == 0) return true;
      if (!to.WriteAt(offset, block.data(), read, &written) || written < read) return false;
      offset += read;
    }
  }

  // Cuts a member that still has the size that it was found with, while nobody changes it, nor
  // writes to `data`, the file that holds what it names.
  Mend Cut(const Found& found, uint64_t new_size, const std::string& data = "") {
    return [this, name = found.name, old_size = found.size, new_size, data] {
      std::unique_ptr<File> named;
      if (!data.empty()) named = Files().Open(PathOf(data), OpenMode::kReadWrite);
      if (named != nullptr && !named->Lock(platform::LockMode::kExclusive)) return false;
      const std::unique_ptr<ChangeLock> lock = ChangeLock::Take(PathOf(name));
      const std::unique_ptr<File> file = Files().Open(PathOf(name), OpenMode::kReadWrite);
      uint64_t size = 0;
      return lock != nullptr && file != nullptr && file->Lock(platform::LockMode::kExclusive) &&
             file->Size(&size) && (size == old_size || copied_.count(name) != 0) &&
             KeepCopy(name) && file->Resize(std::min(size, new_size)) && file->Sync() &&
             file->Close();
    };
  }

  // --- members

  void CheckNames() {
    std::vector<platform::DirectoryEntry> entries;
    Files().List(directory_, &entries);
    std::sort(entries.begin(), entries.end(),
              [](const auto& a, const auto& b) { return a.name < b.name; });
    std::map<std::string, std::string> spelled;  // in upper case
    for (const auto& entry : entries) {
      if (entry.is_directory) continue;
      std::string upper = entry.name;
      std::transform(upper.begin(), upper.end(), upper.begin(),
                     [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
      const auto [other, first] = spelled.emplace(upper, entry.name);
      if (!first && upper.front() == '_') {
        Report(RAW_PROBLEM_CONTENT, entry.name, "differs from " + other->second + " only in case");
      }
      CheckLeftOver(entry.name);
    }
  }

  void CheckLeftOver(const std::string& name) {
    constexpr std::string_view kEnding = ".lock";
    if (!name.ends_with(kEnding) || !ChangeLock::IsLeftOver(PathOf(name))) return;
    const std::string locked = name.substr(0, name.size() - kEnding.size());
    Report(RAW_PROBLEM_LEFT_OVER, name, "was left by a program that was ended while it wrote",
           [this, locked] { return ChangeLock::Take(PathOf(locked), {}) != nullptr; });
  }

  void CheckHeader() {
    Found inverted = Open(kHeaderInverted, 0);
    Found header = inverted.absent ? Open(kHeaderText, 0) : std::move(inverted);
    if (header.absent) Report(RAW_PROBLEM_MISSING, header.name, "is missing");
    if (!header.there()) return;
    std::string text(static_cast<size_t>(std::min<uint64_t>(header.size, kBlock)), '\0');
    if (!Read(&header, text.data(), text.size())) return;
    if (header.name == MemberName(kHeaderInverted, 0)) {
      for (char& c : text) c = static_cast<char>(~c);
    }
    if (text.find("$$") == std::string::npos) {
      Report(RAW_PROBLEM_CONTENT, header.name, "has no header line");
    }
  }

  // Reports what follows the last whole record.
  void CheckPartialRecord(const Found& found, uint64_t record_size, const std::string& data = "") {
    const uint64_t behind = found.size % record_size;
    if (behind == 0) return;
    Report(RAW_PROBLEM_CUT_OFF, found.name,
           "has " + Count(behind, "byte") + " behind its last whole record",
           Cut(found, found.size - behind, data));
  }

  void CheckFunctions() {
    Found table = Open(kFunctionTable, 0);
    if (table.absent) Report(RAW_PROBLEM_MISSING, table.name, "is missing");
    std::vector<RawFunctionRecord> records;
    if (table.there()) {
      CheckPartialRecord(table, RAW_FUNCTION_RECORD_SIZE);
      const uint64_t whole = table.size / RAW_FUNCTION_RECORD_SIZE;
      if (whole > RAW_MAX_FUNCTIONS) {
        Report(RAW_PROBLEM_CONTENT, table.name, "has more than 32 functions");
      }
      records.resize(static_cast<size_t>(std::min<uint64_t>(whole, RAW_MAX_FUNCTIONS)));
      if (!Read(&table, records.data(), records.size() * RAW_FUNCTION_RECORD_SIZE)) {
        records.clear();
      }
    }
    for (int32_t function = 1; function <= RAW_MAX_FUNCTIONS; ++function) {
      const bool listed = function <= static_cast<int32_t>(records.size());
      const DataType* type = nullptr;
      if (listed) {
        const int32_t code = DataTypeCode(records[static_cast<size_t>(function - 1)]);
        type = FindDataType(code);
        if (type == nullptr) {
          Report(RAW_PROBLEM_CONTENT, table.name,
                 "gives function " + std::to_string(function) + " data type " +
                     std::to_string(code) + ", which is not stored");
        }
      }
      const bool scans = CheckScans(ScanFilesOf(function, 0), type);
      if (scans && !listed && table.there()) {
        Report(RAW_PROBLEM_CONTENT, MemberName(kFunctionIndex, function),
               "is of a function that the function table does not have");
      }
    }
  }

  // Nothing says how a processed set is packed: only its index is compared with the data.
  void CheckProcess(int32_t process) { CheckScans(ScanFilesOf(1, process), nullptr); }

  // True when there is one of the files. Without a type only sizes and order are looked at.
  bool CheckScans(const ScanFiles& files, const DataType* type) {
    Found index = Open(files.index_code, files.number);
    Found data = Open(files.data_code, files.number);
    if (index.absent && data.absent) return false;
    if (index.absent && data.size > 0) {
      Report(RAW_PROBLEM_MISSING, index.name, "is missing: the scans' data cannot be found");
    }
    if (data.absent && index.size > 0) {
      Report(RAW_PROBLEM_MISSING, data.name, "is missing: the scans have no data");
    }
    if (!index.there()) return true;
    CheckPartialRecord(index, IndexRecord::kSize, data.name);
    if (!data.there()) return true;

    IndexSummary summary;
    if (!Summarise(&index, data.size, type, &summary)) return true;
    if (summary.cut_off > 0) {
      Report(RAW_PROBLEM_CUT_OFF, index.name,
             "ends in " + Count(summary.cut_off, "scan") + " without their data",
             Cut(index, summary.scans * IndexRecord::kSize, data.name));
    }
    if (summary.outside > 0) {
      Report(RAW_PROBLEM_CONTENT, index.name,
             "has " + Count(summary.outside, "scan") + " whose data are not in " + data.name);
    }
    if (summary.backwards > 0) {
      Report(RAW_PROBLEM_CONTENT, index.name,
             "has " + Count(summary.backwards, "scan") + " earlier than the one in front of them");
    }
    if (type != nullptr && summary.named_data < data.size) {
      Report(RAW_PROBLEM_CUT_OFF, data.name,
             "has " + Count(data.size - summary.named_data, "byte") + " behind its last scan",
             Cut(data, summary.named_data));
    }
    return true;
  }

  // Goes through the whole index. False, and reported, when it cannot be read.
  bool Summarise(Found* index, uint64_t data_size, const DataType* type, IndexSummary* summary) {
    const uint64_t records = index->size / IndexRecord::kSize;
    std::vector<uint8_t> run(kBlock / IndexRecord::kSize * IndexRecord::kSize);
    float time = 0;
    for (uint64_t done = 0; done < records;) {
      const uint64_t offset = done * IndexRecord::kSize;
      const auto wanted = static_cast<size_t>(
          std::min<uint64_t>(run.size(), records * IndexRecord::kSize - offset));
      size_t read = 0;
      if (!index->file->ReadAt(offset, run.data(), wanted, &read) || read < wanted) {
        Report(RAW_PROBLEM_UNREADABLE, index->name, "cannot be read");
        return false;
      }
      for (size_t at = 0; at < wanted; at += IndexRecord::kSize) {
        IndexRecord record;
        record.DecodeFrom(run.data() + at);
        ++done;
        if (done > 1 && record.retention_time < time) ++summary->backwards;
        time = record.retention_time;
        const uint64_t complete = type != nullptr ? type->CompleteBytes(record.points()) : 0;
        if (record.offset + complete > data_size) {
          ++summary->cut_off;
          continue;
        }
        summary->outside += std::exchange(summary->cut_off, 0);
        summary->scans = done;
        if (type == nullptr) continue;
        const uint64_t end =
            record.offset + uint64_t{type->Units(record.points())} * type->unit_bytes;
        summary->named_data = std::max(summary->named_data, std::min(end, data_size));
      }
    }
    return true;
  }

  void CheckAnalogs() {
    const Found channels = Open(kAnalogInfo, 0);
    const Found samples = Open(kAnalogData, 0);
    if (channels.there()) CheckPartialRecord(channels, RAW_ANALOG_DESCRIPTOR_SIZE);
    if (!samples.there() || samples.size == 0) return;
    const uint64_t count = channels.size / RAW_ANALOG_DESCRIPTOR_SIZE;
    if (channels.absent) {
      Report(RAW_PROBLEM_MISSING, channels.name, "is missing: the samples have no channels");
    } else if (channels.there() && count <= RAW_MAX_ANALOG_CHANNELS) {
      CheckPartialRecord(samples, 4 + 2 * count);
    }
  }

  void CheckHistory() {
    Found history = Open(kHistory, 0);
    if (!history.there()) return;
    std::vector<uint8_t> bytes(
        static_cast<size_t>(std::min<uint64_t>(history.size, kLargestHistory)));
    if (!Read(&history, bytes.data(), bytes.size())) return;
    History sound;
    const bool has_entries = bytes.size() > kHistoryHeaderSize;
    RawHistoryEntry* const entries = has_entries ? sound.entries.data() : nullptr;
    const int32_t error = DecodeHistory(bytes, &sound.header, entries);
    const History found = sound;
    const int32_t dropped = MakeSound(&sound);
    const Mend mend = [&] {
      const std::unique_ptr<ChangeLock> lock = ChangeLock::Take(PathOf(history.name));
      if (lock == nullptr || !KeepCopy(history.name)) return false;
      platform::Replacement replacement(lock.get());
      replacement.Write(0, EncodeHistory(sound.header, entries));
      history.file = nullptr;  // an open file is not replaced everywhere
      return replacement.Commit(platform::Force::kToDisk) == platform::ReplaceResult::kDone;
    };
    if (error != RAW_OK) {
      Report(RAW_PROBLEM_CUT_OFF, history.name, "is shorter than it says", mend);
    } else if (dropped > 0) {
      Report(RAW_PROBLEM_CONTENT, history.name,
             "has " + Count(static_cast<uint64_t>(dropped), "entry") + " that no tree leads to",
             mend);
    } else if (std::memcmp(&sound.header, &found.header, sizeof(found.header)) != 0 ||
               std::memcmp(sound.entries.data(), found.entries.data(),
                           found.entries.size() * sizeof(RawHistoryEntry)) != 0) {
      Report(RAW_PROBLEM_CONTENT, history.name, "has links or counts that are wrong", mend);
    }
  }

  std::string directory_;
  bool repair_;
  RawProblemCallback callback_;
  void* user_;
  int32_t remaining_ = 0;
  std::set<std::string> copied_;
};

int32_t Examine(const char* directory, bool repair, RawProblemCallback callback, void* user,
                int32_t* problems) {
  if (problems != nullptr) *problems = 0;
  if (directory == nullptr || !IsRawDirectory(directory)) return RAW_DIRECTORY_ABSENT;
  const std::string path = Files().Resolve(directory);
  std::unique_ptr<ChangeLock> lock;
  if (repair) {
    int32_t error = TakeDirectory(path, &lock);
    if (error != RAW_OK) return error;
  }
  const int32_t remaining = Examination(path, repair, callback, user).Run();
  if (problems != nullptr) *problems = remaining;
  return RAW_OK;
}

}  // namespace
}  // namespace tervalon::raw

using namespace tervalon;  // NOLINT(google-build-using-namespace)

extern "C" int32_t TERVALON_CALL RawCheckDirectory(const char* directory,
                                                   RawProblemCallback callback, void* user,
                                                   int32_t* problems) {
  return Guarded<int32_t>(RAW_NO_MEMORY_FOR_MEMBER, [&] {
    return raw::Examine(directory, /*repair=*/false, callback, user, problems);
  });
}

extern "C" int32_t TERVALON_CALL RawRepairDirectory(const char* directory,
                                                    RawProblemCallback callback, void* user,
                                                    int32_t* problems) {
  return Guarded<int32_t>(RAW_NO_MEMORY_FOR_MEMBER, [&] {
    return raw::Examine(directory, /*repair=*/true, callback, user, problems);
  });
}
