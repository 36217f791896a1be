// Writing spectra, scan by scan.

#include <memory>
#include <utility>

#include "appsvc/export_guard.h"
#include "raw/scan_writer.h"
#include "tervalon/raw_spectra.h"

using namespace tervalon;       // NOLINT(google-build-using-namespace)
using namespace tervalon::raw;  // NOLINT(google-build-using-namespace)

extern "C" int32_t TERVALON_CALL RawCreateScanFile(int32_t handle, int16_t function,
                                                   int16_t process, int32_t /*flags*/) {
  return Guarded<int32_t>(RAW_NO_MEMORY_FOR_SCAN_BUFFER, [&]() -> int32_t {
    ScanBuffer* present = nullptr;
    int32_t error = GetScanBuffer(handle, function, process, &present);
    if (error == RAW_OK) return RAW_SCAN_BUFFER_EXISTS;
    if (error != RAW_SCAN_BUFFER_ABSENT) return error;
    const ScanFiles files = ScanFilesOf(function, process);
    if (OpenMember(handle, files.data_code, files.number) != nullptr ||
        OpenMember(handle, files.index_code, files.number) != nullptr) {
      return RAW_MEMBER_ALREADY_OPEN;
    }
    std::unique_ptr<ScanWriter> opened;
    error = ScanWriter::Open(handle, files, {}, &opened);
    if (error != RAW_OK) return error;
    ScanWriter* const writer = opened.get();
    error = PutScanBuffer(handle, function, process, std::move(opened));
    if (error == RAW_OK) error = writer->Clear();
    if (error != RAW_OK) FreeScanBuffer(handle, function, process);
    return error;
  });
}

extern "C" int32_t TERVALON_CALL RawCreateScansEx(int32_t handle, int16_t function, int16_t process,
                                                  int16_t selector,
                                                  const RawScanDescription* description,
                                                  const float* masses, const float* intensities,
                                                  const uint8_t* flags, int32_t count) {
  ScanWriter* writer = nullptr;
  const int32_t error = GetScanBufferAs(handle, function, process, &writer);
  if (error != RAW_OK) return error;
  const DataType* type = FindDataType(selector);
  if (type == nullptr || description == nullptr || count < 0 || count > RAW_MAX_POINTS ||
      (count > 0 && intensities == nullptr) ||
      (count > 0 && masses == nullptr && type->stores_masses())) {
    return RAW_BAD_ARGUMENT;
  }
  return writer->Append(
      {selector, *description, {masses, intensities, flags}, static_cast<uint32_t>(count)});
}

extern "C" int32_t TERVALON_CALL RawCreateScans(int32_t handle, int16_t function, int16_t process,
                                                int16_t selector, uint32_t flag_d, uint32_t flag_b,
                                                uint32_t flag_c, float time, const float* masses,
                                                const float* intensities, const uint8_t* flags,
                                                int32_t count) {
  const RawScanDescription description = {flag_d, flag_b, flag_c, time, 0, 0};
  return RawCreateScansEx(handle, function, process, selector, &description, masses, intensities,
                          flags, count);
}

extern "C" int32_t TERVALON_CALL RawCreateScansFlush(int32_t handle, int16_t function,
                                                     int16_t process) {
  ScanWriter* writer = nullptr;
  const int32_t error = GetScanBufferAs(handle, function, process, &writer);
  return error == RAW_OK ? writer->Flush() : error;
}

extern "C" int32_t TERVALON_CALL RawCreateScansEnd(int32_t handle, int16_t function,
                                                   int16_t process) {
  ScanWriter* writer = nullptr;
  int32_t error = GetScanBufferAs(handle, function, process, &writer);
  if (error != RAW_OK) return error;
  error = writer->End();
  FreeScanBuffer(handle, function, process);
  return error;
}
