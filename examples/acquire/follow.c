/* Follows an acquisition in another process: prints every scan as soon as it can be read. */

#include <stdio.h>
#include <stdlib.h>
#include <tervalon/raw_chromatograms.h>
#include <tervalon/raw_directory.h>
#include <tervalon/raw_functions.h>
#include <tervalon/result_codes.h>
#include <time.h>

static void Pause(void) {
  const struct timespec pause = {0, 20 * 1000000L};
  nanosleep(&pause, NULL);
}

/* The acquisition may not have come as far as its function table. */
static int32_t Open(const char* directory, int32_t* handle, RawFunctionRecord* record) {
  int32_t code = RAW_DIRECTORY_ABSENT;
  for (int tries = 0; tries < 500; ++tries, Pause()) {
    code = RawReadOpen(directory, handle);
    if (code != RAW_OK) continue;
    code = RawReadFuncInfo(*handle, 1, record, NULL);
    if (code == RAW_OK) code = RawReadFuncInit(*handle, 1, 0, record, NULL);
    if (code == RAW_OK) return RAW_OK;
    RawReadClose(*handle);
  }
  return code;
}

int main(int argc, char** argv) {
  if (argc != 3) {
    fprintf(stderr, "usage: %s DIRECTORY SCANS\n", argv[0]);
    return 2;
  }
  int32_t handle = -1;
  RawFunctionRecord record;
  int32_t code = Open(argv[1], &handle, &record);
  if (code != RAW_OK) {
    fprintf(stderr, "%s: %s\n", argv[1], TvErrorText(code));
    return 1;
  }
  const int32_t last = atoi(argv[2]);
  int32_t scan = 1;
  for (int waits = 0; scan <= last && waits < 500; ++waits) {
    float current = 0;
    float minutes = 0;
    code = RawReadChrom(handle, 1, 0, scan, 1, &current, &minutes, RAW_CHROM_TOTAL_ION);
    if (code == RAW_OK) {
      printf("%d %.3f min %.0f\n", (int)scan, minutes, current);
      fflush(stdout);
      ++scan;
      waits = 0;
    } else if (code == RAW_SCAN_ABSENT) {
      Pause(); /* not acquired yet */
    } else {
      break;
    }
  }
  RawReadClose(handle);
  return scan > last ? 0 : 1;
}
