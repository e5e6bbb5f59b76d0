#!/usr/bin/env bash
# Installs a built OvrinCore into a temporary prefix, moves the installation elsewhere (so
# nothing can rely on the prefix it was installed to, let alone the one configured), and
# builds and runs examples/Consumer against it twice: with find_package(OvrinCore CONFIG)
# and with pkg-config. Also checks that the package's version file refuses another major
# version.
#   scripts/check-consumer.sh <build directory>
set -euo pipefail
source_dir=$(cd "$(dirname "$0")/.." && pwd)
build_dir=$(cd "${1:?usage: check-consumer.sh <build directory>}" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build_dir" --prefix "$work/staged" >/dev/null
mv "$work/staged" "$work/moved"
prefix="$work/moved"
consumer="$source_dir/examples/Consumer"

echo "== find_package(OvrinCore CONFIG) from $prefix"
cmake -S "$consumer" -B "$work/cmake-build" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$work/cmake-build" >/dev/null
"$work/cmake-build/ovrin-consumer"

echo "== pkg-config OvrinCore from $prefix"
pc_dir=$(dirname "$(find "$prefix" -name OvrinCore.pc | head -1)")
export PKG_CONFIG_PATH="$pc_dir"
libdir=$(pkg-config --variable=libdir OvrinCore)
# shellcheck disable=SC2046 # pkg-config prints several flags
c++ -O1 -o "$work/pkg-consumer" "$consumer/Consumer.cpp" $(pkg-config --cflags --libs OvrinCore) -Wl,-rpath,"$libdir"
"$work/pkg-consumer"

echo "== another major version is refused"
if cmake -S "$consumer" -B "$work/wrong-version" -DCMAKE_PREFIX_PATH="$prefix" -DOVRIN_REQUIRED_VERSION=1.0 \
  >"$work/wrong-version.log" 2>&1; then
  echo "consumer: find_package(OvrinCore 1.0) accepted version $(pkg-config --modversion OvrinCore)"
  exit 1
fi
grep -q "compatible with requested version" "$work/wrong-version.log" || { cat "$work/wrong-version.log"; exit 1; }
echo "consumer: ok"
