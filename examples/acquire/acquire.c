/* Writes a raw data directory scan by scan, as an acquisition does. */

#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <tervalon/raw_directory.h>
#include <tervalon/raw_functions.h>
#include <tervalon/raw_header.h>
#include <tervalon/raw_spectra.h>
#include <tervalon/result_codes.h>
#include <time.h>

enum { kScans = 60, kPoints = 101 };

/* One compound at m/z 250 that elutes after half of the scans. */
static void Measure(int scan, float* masses, float* intensities) {
  const double height = 1e5 * exp(-pow((scan - kScans / 2) / 6.0, 2));
  for (int i = 0; i < kPoints; ++i) {
    masses[i] = 245.0F + 0.1F * (float)i;
    intensities[i] = (float)(20 + height * exp(-pow((masses[i] - 250.0) / 0.3, 2)));
  }
}

static int32_t Acquire(int32_t handle, int milliseconds) {
  RawHeader header;
  RawCalibration calibration;
  memset(&header, 0, sizeof(header));
  memset(&calibration, 0, sizeof(calibration));
  header.version_major = 1;
  strcpy(header.acquired_name, "ACQUIRE");
  strcpy(header.sample_description, "One compound");
  int32_t code = RawCreateHeader(handle, &header, &calibration);
  if (code != RAW_OK) return code;

  /* A full scan, so that type and ion mode stay 0; the masses of every point are stored. */
  RawFunctionRecord record;
  memset(&record, 0, sizeof(record));
  record.bytes[1] = RAW_DATA_STANDARD_CENTROID << 2;
  RawReadSetFuncMassRange(&record, -1, 245, 255, 1);
  code = RawCreateFunctions(handle, 1, &record);
  if (code == RAW_OK) code = RawCreateScanFile(handle, 1, 0, 0);

  for (int scan = 1; code == RAW_OK && scan <= kScans; ++scan) {
    float masses[kPoints];
    float intensities[kPoints];
    Measure(scan, masses, intensities);
    code = RawCreateScans(handle, 1, 0, RAW_DATA_STANDARD_CENTROID, 0, 0, 0, (float)scan / 60,
                          masses, intensities, NULL, kPoints);
    /* So that those who follow need not wait for a full buffer. */
    if (code == RAW_OK) code = RawCreateScansFlush(handle, 1, 0);
    const struct timespec pause = {milliseconds / 1000, milliseconds % 1000 * 1000000L};
    nanosleep(&pause, NULL);
  }
  const int32_t ended = RawCreateScansEnd(handle, 1, 0);
  return code != RAW_OK ? code : ended;
}

int main(int argc, char** argv) {
  if (argc != 3) {
    fprintf(stderr, "usage: %s DIRECTORY MILLISECONDS_PER_SCAN\n", argv[0]);
    return 2;
  }
  int32_t handle = -1;
  int32_t code = RawCreateOpen(argv[1], &handle);
  if (code == RAW_OK) {
    code = Acquire(handle, atoi(argv[2]));
    const int32_t closed = RawCreateClose(handle);
    if (code == RAW_OK) code = closed;
  }
  if (code != RAW_OK) fprintf(stderr, "%s: %s\n", argv[1], TvErrorText(code));
  return code == RAW_OK ? 0 : 1;
}
