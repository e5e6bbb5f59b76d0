#!/usr/bin/env bash
# Layers point one way. Checks the #include lines under Source/:
#   Platform/                         includes only Platform/
#   Categories/, Logging/, KVO/       include only Platform/ (and their own folder)
#   Networking/, PropertyMapper/, Cache/  never include the API-client files at the top
set -u
root=${1:-$(dirname "$0")/../Source}
status=0

check() {  # folder, allowed-prefix regex
  local folder=$1 allowed=$2
  [ -d "$root/$folder" ] || return 0
  while IFS= read -r line; do
    file=${line%%:*}
    target=$(sed -E 's/.*#include[[:space:]]*"([^"]+)".*/\1/' <<<"${line#*:}")
    if ! grep -Eq "$allowed" <<<"$target"; then
      echo "layering: ${file#$root/} includes \"$target\""
      status=1
    fi
  done < <(grep -rnE '^[[:space:]]*#include[[:space:]]*"' "$root/$folder" | sed -E 's/^([^:]+):[0-9]+:/\1:/')
}

check Platform '^Platform/'
check Categories '^(Platform|Categories)/'
check Logging '^(Platform|Logging)/'
check KVO '^(Platform|KVO)/'
for folder in Networking PropertyMapper Cache; do
  check "$folder" '^(Platform|Categories|Logging|KVO|Networking|PropertyMapper|Cache)/|^OvrinCoreVersion\.h$'
done

[ $status -eq 0 ] && echo "layering: ok"
exit $status
