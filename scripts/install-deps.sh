#!/usr/bin/env bash
# Installs every build, test and benchmark dependency from Debian's packages.
# Idempotent: packages already present are left alone and the package lists are
# refreshed at most once per run.
set -euo pipefail

packages=(
  build-essential cmake pkg-config ccache
  libasio-dev                 # run loop, queues and timers
  libsimdjson-dev             # JSON reading
  libplist-dev                # property lists and keyed archives
  liburiparser-dev            # URL parsing and RFC 3986 reference resolution
  libicu-dev                  # regular expressions, transliteration, UTF-16
  libssl-dev                  # message digests and Base64 (libcrypto)
  libcurl4-openssl-dev        # the HTTP session (HTTP/1.1, HTTP/2, TLS, decompression)
  libsqlite3-dev              # the HTTP response cache's on-disk index
  libsecret-1-dev             # the secure store's Secret Service backend (brings GLib)
  libstb-dev                  # PNG and JPEG decoding for images
  libgps-dev gpsd             # the location service's GPS provider (libgps), and the daemon its tests run
  libexpat1-dev               # GPX tracks for the simulated location provider
  zlib1g-dev                  # images: a PNG's pixel data is measured before it is decoded
  libcpp-httplib-dev          # tests and benchmarks: HTTP servers in process
  nginx openssl               # tests and benchmarks: TLS, HTTP/2, gzip and keep-alive peer; test certificates
  dbus-daemon gnome-keyring   # tests: a private session bus and Secret Service for the secure store
  libgtest-dev libgmock-dev   # unit tests
  libbenchmark-dev            # benchmarks/
  nlohmann-json3-dev          # benchmarks/ (a mapping anchor) and the local weather service's replies (header-only)
  clang-format
  clang libclang-rt-14-dev    # fuzz/ (libFuzzer)
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: all packages present"
  exit 0
fi

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
echo "install-deps: installing ${missing[*]}"
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
