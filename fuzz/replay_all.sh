#!/bin/bash
# Runs every kept input and those of the seed writer, and for two seconds of each target changed ones:
# replay_all.sh FUZZ_REPLAY FUZZ_MAKE_SEEDS
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
seeds=$(mktemp -d)
trap 'rm -rf "$seeds"' EXIT
"$2" "$seeds"
for target in "$seeds"/*; do
  name=${target##*/}
  folders=("$target")
  for kept in corpus findings; do
    [ ! -d $kept/"$name" ] || folders+=($kept/"$name")
  done
  "$1" "$name" --changed=2 "${folders[@]}" 2>"$seeds"/log || { tail -40 "$seeds"/log; exit 1; }
done
