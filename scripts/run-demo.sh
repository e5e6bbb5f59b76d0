#!/usr/bin/env bash
# Installs dependencies, builds the library and the demonstration, and runs it.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DOVRIN_BUILD_EXAMPLES=ON >/dev/null
cmake --build build --target ovrin-demo -j"$(nproc)"
./build/examples/ovrin-demo "$@"
