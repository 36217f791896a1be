#!/bin/bash
# Runs every kept input, and for a second of each target changed ones: replay_all.sh FUZZ_REPLAY
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work"/inputs
for kept in corpus/*.tar.gz; do tar -C "$work"/inputs -xzf "$kept"; done
for target in "$work"/inputs/*; do
  name=${target##*/}
  folders=("$target")
  [ ! -d findings/"$name" ] || folders+=(findings/"$name")
  "$1" "$name" --changed=1 "${folders[@]}" 2>"$work"/log || { tail -40 "$work"/log; exit 1; }
done
