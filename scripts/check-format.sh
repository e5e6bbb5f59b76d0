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
# One run over every file; each differing file is named in clang-format's warnings.
differing=$(clang-format --dry-run "${files[@]}" 2>&1 | sed -nE 's/^([^:]+):[0-9]+:[0-9]+: (warning|error):.*/\1/p' | sort -u)
if [ -n "$differing" ]; then
  sed 's/^/format: /; s/$/ differs from .clang-format (scripts\/check-format.sh --fix)/' <<<"$differing"
  exit 1
fi
echo "format: ok (${#files[@]} files)"
