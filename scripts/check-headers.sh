#!/usr/bin/env bash
# Every public header compiles on its own: a translation unit that includes only the
# header, twice (a missing `#pragma once` then fails as a redefinition). Headers under a
# detail/ folder are private and may rely on their includer.
#   check-headers.sh <c++ compiler> <Source folder> <generated-headers folder>
set -u
compiler=$1 source=$2 generated=$3
jobs=${OVRIN_HEADER_CHECK_JOBS:-2}

check_one() {  # header path relative to Source/
  local header=$1 output
  if ! output=$(printf '#include "%s"\n#include "%s"\n' "$header" "$header" |
    "$compiler" -std=c++20 -fsyntax-only -I"$source" -I"$generated" -x c++ - 2>&1); then
    printf 'headers: %s does not compile on its own\n%s\n' "$header" "$output" | head -20
    return 1
  fi
}
export -f check_one
export compiler source generated

mapfile -t headers < <(cd "$source" && find . -name '*.h' -not -path '*/detail/*' -printf '%P\n' | sort)
if printf '%s\0' "${headers[@]}" | xargs -0 -P "$jobs" -n 1 bash -c 'check_one "$1"' _; then
  echo "headers: ok (${#headers[@]} headers)"
else
  exit 1
fi
