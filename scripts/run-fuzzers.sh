#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each one.
#   scripts/run-fuzzers.sh              every target, 1,000,000 inputs each
#   scripts/run-fuzzers.sh 50000        every target, 50,000 inputs each
#   scripts/run-fuzzers.sh 1000000 JSONFuzzer   one target
# Crashes are written to build-fuzz/findings/; the corpora grow in build-fuzz/corpus/.
set -euo pipefail
cd "$(dirname "$0")/.."
runs=${1:-1000000}
shift || true

bash scripts/install-deps.sh
CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DOVRIN_BUILD_FUZZERS=ON -DOVRIN_BUILD_TESTS=OFF -DOVRIN_BUILD_EXAMPLES=OFF >/dev/null
cmake --build build-fuzz -j"$(nproc)"

targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  for f in fuzz/*Fuzzer.cpp; do targets+=("$(basename "${f%.cpp}")"); done
fi
mkdir -p build-fuzz/findings
failed=0
for t in "${targets[@]}"; do
  corpus=build-fuzz/corpus/$t
  mkdir -p "$corpus"
  seeds=()
  [ -d "fuzz/seeds/$t" ] && seeds=("fuzz/seeds/$t")
  echo "== $t: $runs inputs"
  log=build-fuzz/findings/$t.log
  if ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 "build-fuzz/fuzz/$t" -runs="$runs" -max_len=4096 -timeout=10 \
    -artifact_prefix=build-fuzz/findings/"$t"- -print_final_stats=1 "$corpus" "${seeds[@]}" >"$log" 2>&1; then
    grep -E '^(#[0-9]+ +DONE|stat::number_of_executed_units)' "$log" || true
  else
    echo "$t FAILED; see $log"; tail -40 "$log"; failed=1
  fi
done
exit $failed
