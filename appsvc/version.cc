#include "tervalon/version.h"

extern "C" const char* TERVALON_CALL TvVersion(int32_t* number) {
  if (number != nullptr) *number = TERVALON_VERSION_NUMBER;
  return TERVALON_VERSION;
}
