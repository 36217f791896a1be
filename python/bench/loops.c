/* What the package is measured against: the loops of a C program over function 1 of a run. Prints
   the processor time of each in seconds: spectra one by one, and an extracted chromatogram. */

#include <stdio.h>
#include <stdlib.h>
#include <tervalon/raw_chromatograms.h>
#include <tervalon/raw_directory.h>
#include <tervalon/raw_functions.h>
#include <tervalon/raw_header.h>
#include <tervalon/raw_spectra.h>
#include <time.h>

static double Now(void) {
  struct timespec t;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return (double)t.tv_sec + (double)t.tv_nsec * 1e-9;
}

int main(int count, char** arguments) {
  enum { kPoints = 1 << 16 };
  static RawHeader header;
  static RawCalibration calibration;
  static float masses[kPoints];
  static float intensities[kPoints];
  RawFunctionRecord record;
  int32_t handle = -1;
  int32_t failed = count != 2 || RawReadOpen(arguments[1], &handle) != RAW_OK ||
                   RawReadHeader(handle, &header, &calibration, NULL, NULL) != RAW_OK ||
                   RawReadFuncInfo(handle, 1, &record, NULL) != RAW_OK ||
                   RawReadFuncInit(handle, 1, 0, &record, &calibration) != RAW_OK;
  if (failed) return 1;
  const int32_t scans = RawGetFuncScanCount(&record);
  double begin = Now();
  for (int32_t scan = 1; scan <= scans; ++scan) {
    RawScanHeader found;
    int32_t points = kPoints;
    failed += RawReadSpectrum(handle, 1, 0, scan, 1, &points, &found, masses, intensities, NULL, 0);
  }
  const double spectra = Now() - begin;
  float* const values = malloc((size_t)scans * sizeof(float));
  RawTraceWindow window = {500.0f, 500.5f, 0, 0, 0};
  RawTrace trace = {RAW_TRACE_MASSES, 1, &window};
  begin = Now();
  failed += RawReadChromTraces(handle, 1, 0, 1, scans, 1, &trace, &values, NULL);
  printf("%.6f %.6f\n", spectra, Now() - begin);
  free(values);
  return failed + RawReadClose(handle);
}
