#!/usr/bin/env bash
# Builds the benchmarks in release mode and runs each one. Figures only; nothing fails.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DOVRIN_BUILD_BENCHMARKS=ON -DOVRIN_BUILD_TESTS=OFF \
  -DOVRIN_BUILD_EXAMPLES=OFF >/dev/null
cmake --build build-bench -j"$(nproc)"
for bench in build-bench/benchmarks/*Benchmark; do
  echo "== $bench"
  "$bench" "$@"
done
