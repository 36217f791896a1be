# The compiler takes more memory before it looks for garbage in it, which saves a tenth of its time.
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  add_compile_options(--param=ggc-min-heapsize=524288)
endif()

# Compile options of every target of the project's own.
add_library(tervalon_options INTERFACE)
target_compile_features(tervalon_options INTERFACE cxx_std_20)
target_compile_options(tervalon_options INTERFACE
  -Wall -Wextra -Wconversion -Wshadow $<$<BOOL:${TERVALON_WERROR}>:-Werror>
  -ffp-contract=off  # both builds give the same bits
  -fno-math-errno)   # so that square roots need no calls
target_include_directories(tervalon_options INTERFACE ${PROJECT_SOURCE_DIR})

# The headers that take the time are compiled once a target. Sources include what they use all the
# same: the preset "lint" compiles them without.
set(tervalon_heavy_headers <algorithm> <array> <cmath> <cstdint> <cstring> <filesystem> <functional>
  <map> <memory> <optional> <span> <string> <string_view> <vector>)

if(WIN32)
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    target_compile_options(tervalon_options INTERFACE -msse2 -mfpmath=sse -mstackrealign)
  endif()
  target_compile_definitions(tervalon_options INTERFACE WIN32_LEAN_AND_MEAN NOMINMAX
                             _WIN32_WINNT=0x0501)
  # Most sources do without the system's header.
  target_compile_definitions(tervalon_options INTERFACE TERVALON_PLAIN_TYPES)
  # Nothing but the system's own libraries at run time; export names without "@n".
  target_link_options(tervalon_options INTERFACE -static)
endif()

# Sources for processors with AVX2 alone.
set(tervalon_avx2_options -mavx2 -funroll-loops)
if(WIN32)
  # The compiler takes 64-bit Windows' stack for better aligned than it is.
  list(APPEND tervalon_avx2_options -Wa,-muse-unaligned-vector-move)
endif()

if(TERVALON_SANITIZE)
  if(TERVALON_SANITIZE STREQUAL "thread")
    set(sanitize -fsanitize=thread)
  else()
    set(sanitize -fsanitize=address,undefined)
  endif()
  list(APPEND sanitize -fno-sanitize-recover=all -fno-omit-frame-pointer)
  if(TERVALON_FUZZ)
    # Half as fast with every comparison traced; the writers' inputs have the values already.
    list(APPEND sanitize -fsanitize=float-cast-overflow,fuzzer-no-link
                         -fno-sanitize-coverage=trace-cmp)
  endif()
  add_compile_options(${sanitize})
  add_link_options(${sanitize})
endif()
