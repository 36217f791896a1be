// What a raw data directory holds, in a form in which the same is stored the same way.

#ifndef TESTS_FAULTS_RAW_NORMAL_FORM_H_
#define TESTS_FAULTS_RAW_NORMAL_FORM_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "tervalon/raw_history.h"
#include "tervalon/raw_spectra.h"
#include "tests/faults/scenarios.h"

namespace tervalon::testing {

// Of scans, those that are whole: their records and the data that these name. One empty file of the
// two is like none. Where scans of a set stand does not matter: each is put behind its record.
inline void NormaliseScans(Disk* disk) {
  constexpr size_t kRecord = 22;
  Disk normal;
  normal.directories = disk->directories;
  for (const auto& [path, bytes] : disk->files) {
    const bool is_index = path.ends_with(".IDX");
    const std::string stem = path.substr(0, path.size() - 4);
    const bool scans = is_index || (path.ends_with(".DAT") && !path.ends_with("_ANALOGS.DAT"));
    const auto other = disk->files.find(stem + (is_index ? ".DAT" : ".IDX"));
    const bool alone = other == disk->files.end();
    const bool set = path.find("_PROC") != std::string::npos;
    const bool nothing = bytes.empty();  // where it is alone
    if (!scans || (alone && !nothing)) normal.files[path] = bytes;
    if (scans && alone && set && !is_index && !nothing)
      normal.files[path] = {};  // no scan has them
    if (!is_index || alone) continue;
    const std::vector<uint8_t>& data = other->second;
    std::vector<uint8_t> index;
    size_t used = 0;
    for (auto record = bytes.begin(); bytes.end() - record >= std::ptrdiff_t{kRecord};
         record += kRecord) {
      uint32_t offset = 0;
      uint32_t word = 0;
      std::memcpy(&offset, &*record, 4);
      std::memcpy(&word, &*record + 4, 4);
      const size_t points = word & RAW_SCAN_POINTS_MASK;
      const bool sir = path.ends_with("FUNC002.IDX");
      const bool made = set && !path.ends_with("PROC007.IDX");  // by processing
      const size_t end = offset + (sir ? points * 2 : made ? points * 8 : (points + 1) / 2 * 10);
      if (end > data.size()) break;
      used = std::max(used, end);
      index.insert(index.end(), record + (set ? 4 : 0), record + kRecord);
      if (set) index.insert(index.end(), data.begin() + offset, data.begin() + std::ptrdiff_t(end));
    }
    normal.files[path] = index;
    if (set && index.empty()) continue;
    normal.files[stem + ".DAT"] = {data.begin(), data.begin() + std::ptrdiff_t(set ? 0 : used)};
  }
  *disk = normal;
}

inline void NormaliseRaw(const std::string& directory, Disk* disk) {
  NormaliseScans(disk);
  disk->files.erase(directory + ".lock");  // of whoever creates it
  for (auto& [path, bytes] : disk->files) {
    if (path.ends_with("_ANALOGS.DAT")) bytes.resize(bytes.size() / 8 * 8);
    if (path.ends_with("_HISTORY.INF")) {
      // The time at which an entry was made.
      constexpr size_t kHeader = sizeof(RawHistoryHeader);
      constexpr size_t kEntry = sizeof(RawHistoryEntry);
      const size_t created = offsetof(RawHistoryEntry, process.created);
      for (size_t at = kHeader; at + kEntry <= bytes.size(); at += kEntry) {
        std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(at + created), 4, uint8_t{0});
      }
    }
  }
}

}  // namespace tervalon::testing

#endif  // TESTS_FAULTS_RAW_NORMAL_FORM_H_
