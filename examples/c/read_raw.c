/* Reads a raw data directory: its header, the chromatogram of function 1, and the spectrum at the
   chromatogram's top. */

#include <stdio.h>
#include <stdlib.h>
#include <tervalon/raw_chromatograms.h>
#include <tervalon/raw_directory.h>
#include <tervalon/raw_functions.h>
#include <tervalon/raw_header.h>
#include <tervalon/raw_spectra.h>
#include <tervalon/result_codes.h>

static int32_t Failed(const char* what, int32_t code) {
  fprintf(stderr, "%s: %s\n", what, TvErrorText(code));
  return code;
}

static int32_t PrintSpectrum(int32_t handle, int32_t scan) {
  RawScanHeader header;
  int32_t code = RawReadSpectrum(handle, 1, 0, scan, 1, NULL, &header, NULL, NULL, NULL, 0);
  if (code != RAW_OK) return Failed("scan header", code);
  int32_t count = (int32_t)(header.points & RAW_SCAN_POINTS_MASK);
  float* masses = malloc(sizeof(float) * ((size_t)count + 1));
  float* intensities = malloc(sizeof(float) * ((size_t)count + 1));
  if (masses != NULL && intensities != NULL) {
    code = RawReadSpectrum(handle, 1, 0, scan, 1, &count, NULL, masses, intensities, NULL, 0);
  } else {
    code = RAW_NO_MEMORY_FOR_SCAN_BUFFER;
  }
  if (code == RAW_OK) {
    printf("Spectrum at %.2f min: %d points\n", header.retention_time, (int)count);
    for (int32_t i = 0; i < count; ++i) {
      if (intensities[i] > header.base_peak_intensity / 10) {
        printf("  %9.4f  %.0f\n", masses[i], intensities[i]);
      }
    }
  }
  free(masses);
  free(intensities);
  return code == RAW_OK ? code : Failed("spectrum", code);
}

static int32_t PrintChromatogram(int32_t handle, const RawFunctionRecord* record, int32_t scans) {
  float* currents = malloc(sizeof(float) * ((size_t)scans + 1));
  float* times = malloc(sizeof(float) * ((size_t)scans + 1));
  int32_t code = RAW_NO_MEMORY_FOR_SCAN_BUFFER;
  if (currents != NULL && times != NULL) {
    code = RawReadChrom(handle, 1, 0, 1, scans, currents, times, RAW_CHROM_TOTAL_ION);
  }
  int32_t top = 0;
  if (code == RAW_OK) {
    for (int32_t i = 1; i < scans; ++i) {
      if (currents[i] > currents[top]) top = i;
    }
    char type[32];
    RawGetDataTypeDesc(record, type);
    printf("Function 1: %s, %d scans, highest at %.2f min\n", type, (int)scans,
           scans > 0 ? times[top] : 0.0F);
  }
  free(currents);
  free(times);
  if (code != RAW_OK) return Failed("chromatogram", code);
  return scans > 0 ? PrintSpectrum(handle, top + 1) : RAW_OK;
}

static int32_t PrintDirectory(int32_t handle) {
  RawHeader header;
  RawCalibration calibration;
  int32_t code = RawReadHeader(handle, &header, &calibration, NULL, NULL);
  if (code != RAW_OK) return Failed("header", code);
  printf("%s: %s, acquired %s %s\n", header.acquired_name, header.sample_description,
         header.acquired_date, header.acquired_time);

  RawFunctionRecord record;
  code = RawReadFuncInfo(handle, 1, &record, NULL);
  if (code != RAW_OK) return Failed("function 1", code);
  code = RawReadFuncInit(handle, 1, 0, &record, &calibration);
  if (code != RAW_OK) return Failed("scans of function 1", code);
  code = PrintChromatogram(handle, &record, RawGetFuncScanCount(&record));
  RawReadFuncEnd(handle, 1, 0);
  return code;
}

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: %s DIRECTORY\n", argv[0]);
    return 2;
  }
  int32_t handle = -1;
  int32_t code = RawReadOpen(argv[1], &handle);
  if (code != RAW_OK) {
    Failed(argv[1], code);
    return 1;
  }
  code = PrintDirectory(handle);
  RawReadClose(handle);
  return code == RAW_OK ? 0 : 1;
}
