#!/usr/bin/env bash
# The benchmarks and fuzz targets are built only on request (and the fuzzers only with
# clang), so the normal build would not notice when a change breaks them. This compiles
# each of their sources for syntax with the project's compiler.
#   check-optional-sources.sh <c++ compiler> <project folder> <generated-headers folder>
set -u
compiler=$1 project=$2 generated=$3
status=0
count=0
for source in "$project"/benchmarks/*.cpp "$project"/fuzz/*.cpp; do
  count=$((count + 1))
  if ! output=$("$compiler" -std=c++20 -fsyntax-only -I"$project/Source" -I"$generated" \
    -I"$project/examples/Models" -I"$project/examples/WeatherService" -I"$project/tests" "$source" 2>&1); then
    printf 'optional sources: %s does not compile\n%s\n' "${source#$project/}" "$output" | head -20
    status=1
  fi
done
[ $status -eq 0 ] && echo "optional sources: ok ($count files)"
exit $status
