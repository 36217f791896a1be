#!/bin/bash
# Compares the functions that a library exports with those that the public headers declare, and
# checks that a DLL needs nothing but the system's own.
#
#   check_exports.sh LIBRARY INCLUDE_FOLDER C_COMPILER OBJDUMP
set -euo pipefail
export LC_ALL=C
library=$1 include=$2 compiler=$3 objdump=$4

# After preprocessing, an exported declaration starts with this platform's form of TERVALON_API. Its
# name is the identifier before the first parenthesis once all attributes are gone.
declared() {
  local header
  for header in "$include"/tervalon/*.h; do
    "$compiler" -std=c11 -E -P -DTERVALON_PLAIN_TYPES -I "$include" "$header" | tr '\n' ' '
  done |
    sed -E 's/__attribute__ *\(\((visibility\("default"\)|dllimport)\)\)/\n@/g' |
    sed -nE 's/__attribute__ *\(\([a-z_]*\)\)//g; s/^@([^;(]*[^A-Za-z0-9_;(])?([A-Za-z0-9_]+) *\(.*/\2/p' |
    sort -u
}

exported() {
  case $library in
    *.dll) "$objdump" -p "$library" | sed -n '/^\[Ordinal\/Name Pointer\]/,/^$/s/^\t\[.*\] //p' ;;
    *) "$objdump" -T "$library" | awk '/^0/ && !/\*(UND|ABS)\*/ { print $NF }' ;;
  esac | sort
}

imported() { "$objdump" -p "$library" | sed -n 's/.*DLL Name: //p' | tr '[:upper:]' '[:lower:]'; }

status=0
expected=$(declared)
[ "$(wc -l <<<"$expected")" -ge 2 ] || { echo "no declarations found in $include"; exit 1; }
if ! diff <(echo "$expected") <(exported); then
  echo "^ declared in the headers but not exported (<), exported but not declared (>)"
  status=1
fi
if [[ $library = *.dll ]]; then
  system='advapi32|comctl32|comdlg32|gdi32|kernel32|msvcrt|ole32|shell32|user32|winspool\.drv'
  if imported | grep -vxE "($system)(\.dll)?"; then
    echo "^ imported, but no part of the system"
    status=1
  fi
fi
[ $status != 0 ] || echo "$(wc -l <<<"$expected") exports as declared"
exit $status
