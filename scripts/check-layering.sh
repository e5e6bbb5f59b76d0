#!/usr/bin/env bash
# Layers point one way. Checks the #include lines under Source/:
#   Platform/Values/ headers          include only Platform/Values/
#   Platform/Values/ sources          also Platform/Objects/ (a value can hold an object)
#   Platform/Objects/                 include only Platform/Values/ and Platform/Objects/
#   the other Platform/ folders       include only Platform/
#   Categories/, Logging/, KVO/       include only Platform/ (and their own folder)
#   Networking/, PropertyMapper/, Cache/  never include the API-client files at the top
# and each third-party library's headers appear only in the files of its platform folders
# (ICU serves both text and time). Every folder may include the generated OvrinCoreExport.h.
set -u
root=${1:-$(dirname "$0")/../Source}
status=0

# Prints "file<TAB>included" for each #include of the given kind ("..." or <...>).
includes() {  # folder-or-files..., quote-open, quote-close
  local open=$1 close=$2
  shift 2
  grep -rnE "^[[:space:]]*#[[:space:]]*include[[:space:]]*[$open]" "$@" 2>/dev/null |
    sed -E "s/^([^:]+):[0-9]+:[[:space:]]*#[[:space:]]*include[[:space:]]*[$open]([^$close]+)[$close].*/\\1\t\\2/"
}

check() {  # files-or-folders..., allowed-prefix regex (last argument)
  local allowed="${*: -1}|^OvrinCoreExport\\.h\$"
  local targets=("${@:1:$#-1}")
  local existing=()
  for t in "${targets[@]}"; do [ -e "$root/$t" ] && existing+=("$root/$t"); done
  [ ${#existing[@]} -eq 0 ] && return 0
  local found
  found=$(includes '"' '"' "${existing[@]}" |
    awk -F'\t' -v allowed="$allowed" -v root="$root/" '$2 !~ allowed {
      sub(root, "", $1); printf "layering: %s includes \"%s\"\n", $1, $2 }')
  if [ -n "$found" ]; then
    echo "$found"
    status=1
  fi
}

platform_folders() {  # the platform's sub-folders other than the two at the bottom
  find "$root/Platform" -mindepth 1 -maxdepth 1 -type d ! -name Values ! -name Objects -printf 'Platform/%f\n'
}

# Inside the platform: values, then objects, then the rest.
check $(cd "$root" && find Platform/Values -name '*.h') '^Platform/Values/'
check $(cd "$root" && find Platform/Values -name '*.cpp') '^Platform/(Values|Objects)/'
check Platform/Objects '^Platform/(Values|Objects)/'
check $(platform_folders) '^Platform/'
if find "$root/Platform" -maxdepth 1 -type f -name '*.[hc]*' | grep -q .; then
  echo "layering: files directly in Platform/; each belongs in the folder of its service"
  status=1
fi

# Above the platform.
check Categories '^(Platform|Categories)/'
check Logging '^(Platform|Logging)/'
check KVO '^(Platform|KVO)/'
check Location '^(Platform|Categories|Logging|Location)/'
for folder in Networking PropertyMapper Cache; do
  check "$folder" '^(Platform|Categories|Logging|KVO|Networking|PropertyMapper|Cache)/|^OvrinCoreVersion\.h$'
done

# Third-party headers: each library in the files of its platform folders only (several
# folders separated by "|").
third_party=(
  '^unicode/'       'Platform/Text|Platform/Time'
  '^asio'           Platform/Dispatch
  '^simdjson'       Platform/Serialization
  '^plist/'         Platform/Serialization
  '^openssl/'       Platform/Serialization
  '^uriparser/'     Platform/Network
  '^curl/'          Platform/Network
  '^sqlite3\.h$'    Platform/Network
  '^libsecret/'     Platform/System
  '^stb'            Platform/System
  '^zlib\.h$'       Platform/System
  '^gps\.h$'        Platform/Location
  '^expat'          Platform/Location
)
all_system_includes=$(includes '<' '>' "$root")
for ((i = 0; i < ${#third_party[@]}; i += 2)); do
  found=$(awk -F'\t' -v pattern="${third_party[i]}" -v homes="${third_party[i + 1]}" -v root="$root/" '
    $2 ~ pattern {
      n = split(homes, home, "|"); inside = 0
      for (h = 1; h <= n; h++) if (index($1, root home[h] "/") == 1) inside = 1
      if (!inside) { sub(root, "", $1); print $1 " includes <" $2 ">" }
    }' <<<"$all_system_includes")
  if [ -n "$found" ]; then
    sed "s|^|layering: |; s|\$|, allowed only in ${third_party[i + 1]//|//, }/|" <<<"$found"
    status=1
  fi
done

[ $status -eq 0 ] && echo "layering: ok"
exit $status
