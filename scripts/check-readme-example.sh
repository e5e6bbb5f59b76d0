#!/usr/bin/env bash
# The README's first typed fetch is the code the build compiles and runs: the lines of its
# ```cpp block must be those between the README markers of examples/FirstFetch.cpp.
set -euo pipefail
root=${1:-$(dirname "$0")/..}
from_source=$(sed -n '/\/\/ README: first typed fetch/,/\/\/ README: end/p' "$root/examples/FirstFetch.cpp" |
  sed '1d;$d' | sed 's/^  //')
from_readme=$(sed -n '/^## A first typed fetch/,/^## /p' "$root/README.md" | sed -n '/^```cpp/,/^```$/p' | sed '1d;$d')
if [ -z "$from_readme" ] || [ "$from_source" != "$from_readme" ]; then
  echo "readme-example: README.md's first typed fetch differs from examples/FirstFetch.cpp:"
  diff <(echo "$from_readme") <(echo "$from_source") || true
  exit 1
fi
echo "readme-example: ok ($(echo "$from_readme" | wc -l) lines)"
