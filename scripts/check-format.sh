#!/usr/bin/env bash
# The code follows the checked-in .clang-format. Lists the files that do not and fails;
# `scripts/check-format.sh --fix` reformats them.
set -u
cd "$(dirname "$0")/.."
fix=false
[ "${1:-}" = "--fix" ] && fix=true
if ! command -v clang-format >/dev/null; then
  echo "format: clang-format is missing (scripts/install-deps.sh installs it)"
  exit 1
fi
mapfile -t files < <(find Source tests examples benchmarks fuzz -name '*.h' -o -name '*.cpp' | sort)
if $fix; then
  clang-format -i "${files[@]}"
  exit 0
fi
status=0
for file in "${files[@]}"; do
  if ! clang-format --dry-run -Werror "$file" >/dev/null 2>&1; then
    echo "format: $file differs from .clang-format (scripts/check-format.sh --fix)"
    status=1
  fi
done
[ $status -eq 0 ] && echo "format: ok (${#files[@]} files)"
exit $status
