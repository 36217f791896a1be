// Reading spectra.

#include <algorithm>
#include <array>

#include "appsvc/export_guard.h"
#include "raw/point_blocks.h"
#include "tervalon/raw_spectra.h"

using namespace tervalon;       // NOLINT(google-build-using-namespace)
using namespace tervalon::raw;  // NOLINT(google-build-using-namespace)

namespace {

static_assert(sizeof(RawScanHeader) == 40);
static_assert(sizeof(RawScanDescription) == 24);

// Where the points of a call go; every array may be nullptr.
struct PointOutput {
  float* masses;
  float* intensities;
  uint8_t* flags;
};

// The scan that a call reads.
struct ScanSource {
  FunctionReader* reader;
  const IndexRecord& record;
  const float* kept_masses;  // calibrated masses of all points, or nullptr
};

// Decodes whole units, but delivers only the points asked for. The types with units of several
// points need a detour where the run's ends are not those of units.
template <typename Value, typename Decode>
void DecodeInto(const DataType& type, const PointBlock& block, Decode decode, Value* out) {
  if (block.skip == 0 && block.points == block.units * type.unit_points) {
    decode(block.bytes, block.units, out);
    return;
  }
  std::array<Value, kBlockPoints> whole;
  decode(block.bytes, type.Units(block.skip + block.points), whole.data());
  std::copy_n(whole.data() + block.skip, block.points, out);
}

void FillMasses(const ScanSource& scan, const PointBlock& block, float* masses) {
  const FunctionReader& reader = *scan.reader;
  if (scan.kept_masses != nullptr) {
    std::copy_n(scan.kept_masses + block.position, block.points, masses);
    return;
  }
  if (reader.type().stores_masses()) {
    DecodeInto(reader.type(), block, reader.type().decoder().masses, masses);
  } else if (reader.has_channels()) {
    reader.FillChannelMasses(block.position, block.points, masses);
  } else {
    MassAxis(reader.range(), scan.record.points()).Fill(block.position, block.points, masses);
  }
  scan.reader->CalibrationOf(scan.record).Apply(masses, block.points);
}

void DecodeBlock(const ScanSource& scan, const PointBlock& block, const PointOutput& out) {
  const DataType& type = scan.reader->type();
  if (out.intensities != nullptr) {
    DecodeInto(type, block, type.decoder().intensities, out.intensities);
  }
  if (out.masses != nullptr) FillMasses(scan, block, out.masses);
  if (out.flags == nullptr) return;
  if (type.stores_flags()) {
    DecodeInto(type, block, type.decoder().flags, out.flags);
  } else {
    std::fill_n(out.flags, block.points, uint8_t{0});
  }
}

PointOutput Advanced(const PointOutput& out, uint32_t points) {
  return {out.masses != nullptr ? out.masses + points : nullptr,
          out.intensities != nullptr ? out.intensities + points : nullptr,
          out.flags != nullptr ? out.flags + points : nullptr};
}

int32_t ReadAllPoints(const ScanSource& scan, uint32_t first, uint32_t wanted,
                      const PointOutput& out, uint32_t* delivered) {
  return ForEachBlock(scan.reader, scan.record, first, wanted, [&](const PointBlock& block) {
    DecodeBlock(scan, block, Advanced(out, *delivered));
    *delivered += block.points;
    return true;
  });
}

int32_t ReadUnflaggedPoints(const ScanSource& scan, uint32_t first, uint32_t wanted,
                            const PointOutput& out, uint32_t* delivered) {
  std::array<float, kBlockPoints> masses;
  std::array<float, kBlockPoints> intensities;
  std::array<uint8_t, kBlockPoints> flags;
  const uint32_t all = scan.record.points();
  return ForEachBlock(scan.reader, scan.record, first, all, [&](const PointBlock& block) {
    DecodeBlock(scan, block, {masses.data(), intensities.data(), flags.data()});
    for (uint32_t i = 0; i < block.points && *delivered < wanted; ++i) {
      if ((flags[i] & 1) != 0) continue;
      if (out.masses != nullptr) out.masses[*delivered] = masses[i];
      if (out.intensities != nullptr) out.intensities[*delivered] = intensities[i];
      if (out.flags != nullptr) out.flags[*delivered] = flags[i];
      ++*delivered;
    }
    return *delivered < wanted;
  });
}

// A call for most of a scan's points is likely to be one of many.
const float* KeptMasses(FunctionReader* reader, const IndexRecord& record, uint32_t wanted) {
  const bool keep = reader->has_spaced_masses() && wanted > record.points() / 2;
  return keep ? reader->SpacedMasses(record) : nullptr;
}

void FillHeader(const FunctionReader& reader, const IndexRecord& scan, RawScanHeader* header) {
  const BasePeak peak = DecodeBasePeak(reader.type_code(), scan.base_peak.data());
  header->points = scan.points() | (scan.flag_d() ? RAW_SCAN_FLAG_D : 0);
  header->flags = (scan.flag_b() || reader.has_calibration() ? RAW_SCAN_FLAG_B : 0) |
                  (scan.flag_e() ? RAW_SCAN_FLAG_E : 0) | (scan.flag_a() ? RAW_SCAN_FLAG_A : 0);
  header->total_ion_current = scan.total_ion_current;
  header->retention_time = scan.retention_time;
  header->base_peak_mass = reader.BasePeakMass(scan, peak);
  header->base_peak_intensity = peak.intensity;
  header->low_mass = reader.range().low;
  header->high_mass = reader.range().high;
  header->flag_c = scan.flag_c() ? 1 : 0;
  header->segment = scan.segment();
}

// Finds what the index says of a scan (from 1). Returns as FunctionReader::ReadIndex.
int32_t FindScan(int32_t scan, FunctionReader* reader, IndexRecord* record) {
  return scan < 1 ? RAW_SCAN_ABSENT : reader->ReadIndex(static_cast<uint32_t>(scan), record);
}

// Reads what the index says of `count` scans: fill(reader, record, &out[i]) for each.
template <typename Value, typename Fill>
int32_t ReadIndexRun(int32_t handle, int16_t function, int16_t process, int32_t first,
                     int32_t count, Value* out, Fill fill) {
  return Guarded<int32_t>(RAW_NO_MEMORY_FOR_SCAN_BUFFER, [&]() -> int32_t {
    if (count < 0 || (count > 0 && out == nullptr)) return RAW_BAD_ARGUMENT;
    FunctionReader* reader = nullptr;
    int32_t error = GetScanBufferAs(handle, function, process, &reader);
    for (int32_t i = 0; error == RAW_OK && i < count; ++i) {
      IndexRecord record;
      error = first > INT32_MAX - i ? RAW_SCAN_ABSENT : FindScan(first + i, reader, &record);
      if (error == RAW_OK) fill(*reader, record, &out[i]);
    }
    return error;
  });
}

// Reads all points of a scan that `room` is enough for.
int32_t ReadWholeScan(FunctionReader* reader, const IndexRecord& record, int64_t room,
                      const PointOutput& out, uint32_t* delivered) {
  *delivered = 0;
  if (record.points() > room) return RAW_BAD_ARGUMENT;
  if (record.points() == 0) return RAW_OK;
  const ScanSource source = {
      reader, record,
      out.masses != nullptr ? KeptMasses(reader, record, record.points()) : nullptr};
  return ReadAllPoints(source, 0, record.points(), out, delivered);
}

}  // namespace

extern "C" int32_t TERVALON_CALL RawReadSpectrum(int32_t handle, int16_t function, int16_t process,
                                                 int32_t scan, int32_t first, int32_t* count,
                                                 RawScanHeader* header, float* masses,
                                                 float* intensities, uint8_t* flags,
                                                 int32_t skip_flagged) {
  return Guarded<int32_t>(RAW_NO_MEMORY_FOR_SCAN_BUFFER, [&]() -> int32_t {
    const int32_t wanted = count != nullptr ? *count : 0;
    if (count != nullptr) *count = 0;
    if (first < 1 || wanted < 0) return RAW_BAD_ARGUMENT;
    FunctionReader* reader = nullptr;
    int32_t error = GetScanBufferAs(handle, function, process, &reader);
    if (error != RAW_OK) return error;
    IndexRecord record;
    error = FindScan(scan, reader, &record);
    if (error != RAW_OK) return error;
    if (header != nullptr) FillHeader(*reader, record, header);

    if (wanted == 0) return RAW_OK;

    const ScanSource source = {
        reader, record,
        masses != nullptr ? KeptMasses(reader, record, static_cast<uint32_t>(wanted)) : nullptr};
    const bool skip = skip_flagged != 0 && reader->type().stores_flags();
    uint32_t delivered = 0;
    error = (skip ? ReadUnflaggedPoints : ReadAllPoints)(source, static_cast<uint32_t>(first - 1),
                                                         static_cast<uint32_t>(wanted),
                                                         {masses, intensities, flags}, &delivered);
    if (count != nullptr) *count = static_cast<int32_t>(delivered);
    return error;
  });
}

extern "C" int32_t TERVALON_CALL RawReadScanHeaders(int32_t handle, int16_t function,
                                                    int16_t process, int32_t first, int32_t count,
                                                    RawScanHeader* headers) {
  return ReadIndexRun(handle, function, process, first, count, headers, FillHeader);
}

extern "C" int32_t TERVALON_CALL RawReadScanOffsets(int32_t handle, int16_t function,
                                                    int16_t process, int32_t first, int32_t count,
                                                    uint32_t* offsets) {
  return ReadIndexRun(handle, function, process, first, count, offsets,
                      [](const FunctionReader& /*reader*/, const IndexRecord& record,
                         uint32_t* offset) { *offset = record.offset; });
}

extern "C" int32_t TERVALON_CALL RawReadSpectra(int32_t handle, int16_t function, int16_t process,
                                                int32_t scan_count, const int32_t* scans,
                                                int64_t capacity, int64_t* offsets, float* masses,
                                                float* intensities, uint8_t* flags) {
  return Guarded<int32_t>(RAW_NO_MEMORY_FOR_SCAN_BUFFER, [&]() -> int32_t {
    if (scan_count < 0 || capacity < 0 || offsets == nullptr || scans == nullptr) {
      return RAW_BAD_ARGUMENT;
    }
    std::fill_n(offsets, int64_t{scan_count} + 1, 0);
    FunctionReader* reader = nullptr;
    int32_t error = GetScanBufferAs(handle, function, process, &reader);
    const bool wanted = masses != nullptr || intensities != nullptr || flags != nullptr;
    PointOutput out = {masses, intensities, flags};
    int64_t end = 0;
    for (int32_t i = 0; i < scan_count; ++i) {
      IndexRecord record;
      uint32_t points = 0;
      if (error == RAW_OK) error = FindScan(scans[i], reader, &record);
      if (error == RAW_OK && wanted) {
        error = ReadWholeScan(reader, record, capacity - end, out, &points);
        out = Advanced(out, points);
      } else if (error == RAW_OK) {
        points = record.points();
      }
      end += points;
      offsets[i + 1] = end;
    }
    return error;
  });
}
