#!/usr/bin/env bash
# Installs dependencies, builds the library and every test, and runs them with CTest.
#   scripts/run-tests.sh                    normal build (build/)
#   scripts/run-tests.sh --sanitize=address address + undefined-behaviour sanitizers (build-asan/)
#   scripts/run-tests.sh --sanitize=thread  thread sanitizer (build-tsan/)
# OVRIN_WARNINGS_AS_ERRORS=ON in the environment makes compiler warnings errors (CI sets it).
set -euo pipefail
cd "$(dirname "$0")/.."

sanitize=""
for arg in "$@"; do
  case "$arg" in
    --sanitize=*) sanitize="${arg#--sanitize=}" ;;
    *) echo "unknown argument: $arg" >&2; exit 2 ;;
  esac
done

bash scripts/install-deps.sh

case "$sanitize" in
  "") dir=build ;;
  address) dir=build-asan ;;
  thread) dir=build-tsan ;;
  *) echo "--sanitize must be address or thread" >&2; exit 2 ;;
esac

cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DOVRIN_SANITIZE="$sanitize" -DOVRIN_BUILD_EXAMPLES=ON \
  -DOVRIN_WARNINGS_AS_ERRORS="${OVRIN_WARNINGS_AS_ERRORS:-OFF}" >/dev/null
cmake --build "$dir" -j"$(nproc)"

export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"
export TSAN_OPTIONS="${TSAN_OPTIONS:-halt_on_error=1:second_deadlock_stack=1:suppressions=$PWD/tests/tsan-suppressions.txt}"
ctest --test-dir "$dir" --output-on-failure -j"$(nproc)"
