#!/bin/bash
# Installs a build, moves the tree, and uses it as somebody would who has nothing else: the examples
# are built against it and run.
#
#   installed_test.sh BUILD SOURCE CMAKE C_COMPILER CXX_COMPILER [RUNNER]
#
# With a RUNNER everything is for Windows. What the examples leave is in BUILD/installed_test.
set -euo pipefail
build=$1 source=$2 cmake=$3 cc=$4 cxx=$5 runner=${6:-}
work=$build/installed_test
prefix=$work/moved
rm -rf "$work"
mkdir -p "$work"

exe=
[ -z "$runner" ] || exe=.exe

fail() { echo "$*" >&2; exit 1; }

# ---- What is installed -------------------------------------------------------------------------

for component in runtime tools viewer development; do
  "$cmake" --install "$build" --prefix "$work/$component" --component $component >/dev/null
  (cd "$work/$component" && find . -type f -o -type l) >>"$work/parts"
done
"$cmake" --install "$build" --prefix "$work/first" >/dev/null
diff <(sort "$work/parts") <(cd "$work/first" && find . -type f -o -type l | sort) ||
  fail "the components are not the parts of the whole"
mv "$work/first" "$prefix"
find "$prefix" \( -name '*.cmake' -o -name '*.pc' \) -exec grep -l -e "$build" -e "$source" {} + &&
  fail "^ names the build tree"

if [ -d "$build/manual" ]; then
  for page in tervalon tervalon-chrom; do
    [ -s "$prefix/share/man/man1/$page.1.gz" ] || fail "no manual page $page"
  done
  for shell in bash-completion zsh fish; do
    [ -n "$(find "$prefix/share/$shell" -type f -name '*tervalon*')" ] || fail "no completion: $shell"
  done
fi

# ---- Building against it -------------------------------------------------------------------------

# Only what is installed here; elsewhere a Windows build would find the host's libraries.
export PKG_CONFIG_PATH=$prefix/lib/pkgconfig
[ -z "$runner" ] || export PKG_CONFIG_LIBDIR=$PKG_CONFIG_PATH
cd "$work"
run() {
  if [ -n "$runner" ]; then "$runner" "$@"; else "$@"; fi
}
compile() { # NAME SOURCE FLAG...
  local name=$1 file=$2 flags
  shift 2
  read -ra flags <<<"$(pkg-config --cflags --libs tervalon)"
  # On Windows the library is looked for beside the program.
  [ -n "$runner" ] || flags+=("-Wl,-rpath,$prefix/lib")
  "$cc" -Wall -Wextra -Werror "$file" "${flags[@]}" "$@" -o "$prefix/bin/$name"
}
examples=$source/examples
compile read_raw$exe "$examples/c/read_raw.c" -std=c11
system=()
[ -z "$runner" ] || system=(-DCMAKE_SYSTEM_NAME=Windows -DCMAKE_RC_COMPILER=true
  -DCMAKE_EXE_LINKER_FLAGS=-static) # the compiler's own libraries are not on the path
for library in tervalon tervalon_static; do
  mkdir -p $library
  sed "s/Tervalon::tervalon/Tervalon::$library/" "$examples/cmake/CMakeLists.txt" \
    >$library/CMakeLists.txt
  cp "$examples/cmake/trace_raw.cc" $library
  "$cmake" -S $library -B $library/build -DTervalon_ROOT="$prefix" -DCMAKE_CXX_COMPILER="$cxx" \
    -DCMAKE_RUNTIME_OUTPUT_DIRECTORY="$prefix/$library" "${system[@]}" >cmake.log ||
    { cat cmake.log; exit 1; }
  "$cmake" --build $library/build >cmake.log || { cat cmake.log; exit 1; }
done
if [ -n "$runner" ]; then
  cp "$prefix/bin/tervalon.dll" "$prefix/tervalon/"
  "${cc%-gcc*}-dlltool" --kill-at -d "$prefix/lib/tervalon.def" -l defined.a
  "$cc" "$examples/c/read_raw.c" -I "$prefix/include" defined.a -o "$prefix/bin/read_defined.exe"
fi

# ---- Running it ----------------------------------------------------------------------------------

program=$prefix/bin/tervalon$exe
[ "$(run "$program" --version | tr -d '\r')" = "tervalon $(pkg-config --modversion tervalon)" ] ||
  fail "another version"
run "$program" simulate DEMO.RAW >/dev/null
run "$prefix/bin/read_raw$exe" DEMO.RAW | tee read.txt
grep -q '240 scans, highest at 4.67 min' read.txt || fail "read_raw: no chromatogram"
grep -q '455\.2907  319552' read.txt || fail "read_raw: no spectrum"
for library in tervalon tervalon_static; do
  traced=("$prefix/$library"/trace_raw*)
  run "${traced[0]}" DEMO.RAW 455.2 455.4 | tee trace.txt
  grep -q 'highest at 4.66667 min, 319552' trace.txt || fail "trace_raw: another chromatogram"
done

if [ -n "$runner" ]; then
  compile view_raw$exe "$examples/win32/view_raw.c" -lgdi32
  "$cc" -Wall -Wextra -Werror "$source/tests/install/drive_window.c" -lgdi32 -o drive_window.exe
  run "$prefix/bin/read_defined.exe" DEMO.RAW | diff - read.txt || fail "read_raw by the .def file"
  run ./drive_window.exe "Z:${prefix//\//\\}\\bin\\view_raw.exe" DEMO.RAW window
  exit
fi

# Programs find the library beside themselves, also in a build that is moved.
mkdir -p copied/bin copied/lib
cp -P "$build/bin/tervalon" copied/bin
cp -P "$build"/lib/libtervalon.so* copied/lib
for tree in "$prefix" "$work/copied"; do
  ldd "$tree/bin/tervalon" >libraries.txt
  grep -q "libtervalon.so.1 => $tree/" libraries.txt || fail "$tree: another library"
done

read -ra flags <<<"$(pkg-config --cflags --libs --static tervalon)"
"$cc" "$examples/c/read_raw.c" "${flags[@]/#-ltervalon/-l:libtervalon.a}" -o read_static
./read_static DEMO.RAW | diff - read.txt || fail "read_raw with the archive"

for name in acquire follow; do
  compile $name "$examples/acquire/$name.c" -lm
done
"$prefix/bin/acquire" LIVE.RAW 10 &
"$prefix/bin/follow" LIVE.RAW 60 >follow.txt || fail "follow: the acquisition stopped"
wait $! || fail "acquire"
[ "$(wc -l <follow.txt)" = 60 ] || fail "follow: not every scan"

# ---- Within another project ----------------------------------------------------------------------

mkdir parent
cat >parent/CMakeLists.txt <<END
cmake_minimum_required(VERSION 3.25)
project(parent LANGUAGES CXX)
include(FetchContent)
set(CMAKE_DISABLE_FIND_PACKAGE_GTest TRUE)
FetchContent_Declare(tervalon SOURCE_DIR $source)
FetchContent_MakeAvailable(tervalon)
get_property(targets DIRECTORY $source PROPERTY BUILDSYSTEM_TARGETS)
get_property(folders DIRECTORY $source PROPERTY SUBDIRECTORIES)
file(WRITE targets.txt "\${targets}|\${folders}")
add_executable(program $examples/cmake/trace_raw.cc)
target_link_libraries(program PRIVATE Tervalon::tervalon)
END
"$cmake" -S parent -B parent/build -G Ninja -DCMAKE_CXX_COMPILER="$cxx" >cmake.log ||
  { cat cmake.log; exit 1; }
[ "$(cat parent/targets.txt)" = 'tervalon_options;tervalon_objects;tervalon;tervalon_static|' ] ||
  fail "other targets: $(cat parent/targets.txt)"
if grep -e -Werror parent/build/build.ninja; then fail "^ warnings are errors"; fi
"$cmake" --build parent/build --target help | grep -q gtest && fail "GoogleTest is looked for"
echo "the installed tree works"
