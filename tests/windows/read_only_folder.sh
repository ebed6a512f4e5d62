#!/bin/bash
# The folder that the library writes to where the program's own cannot be written to, for real: the program lies in folders without the
# permission, and runs as a user whom permissions bind (for the super-user, as nobody).
#   read_only_folder.sh PROGRAM    PROGRAM prints the folder
set -euo pipefail

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
export WINEPREFIX="$work/prefix" HOME="$work/home" WINEDEBUG=-all WINEDLLOVERRIDES="winemenubuilder.exe,mscoree,mshtml=d" LC_ALL=C.UTF-8
mkdir -p "$WINEPREFIX" "$HOME" "$work/program" "$work/Grüße" "$work/漢字"
for folder in program Grüße 漢字; do
  cp "$1" "$work/$folder/host.exe"
done
user=()
if [[ "$(id -u)" == 0 ]]; then
  chown -R 65534:65534 "$work"
  user=(setpriv --reuid 65534 --regid 65534 --clear-groups)
fi
chmod 755 "$work"
chmod 555 "$work/program"
wine="$(command -v wine64 || echo /usr/lib/wine/wine64)"
cd "$work"
"${user[@]}" "$wine" wineboot -i >/dev/null 2>&1

failures=0
# expect WHAT PATTERN [VARIABLE=VALUE...] FOLDER
expect() {
  local what="$1" pattern="$2" folder="${*: -1}" printed
  printed="$("${user[@]}" env "${@:3:$#-3}" "$wine" "$work/$folder/host.exe" 2>/dev/null | tr -d '\r' | iconv -f CP1252 -t UTF-8)"
  # shellcheck disable=SC2053 # a pattern
  if [[ "$printed" != $pattern ]]; then
    echo "$what: '$printed' is not '$pattern'" >&2
    failures=1
  fi
  if find "$work" -name 'vorin989.tes' | grep -q .; then
    echo "$what: a probe was left behind" >&2
    failures=1
  fi
}

data="$(echo "$WINEPREFIX"/drive_c/users/*/AppData/Local)"
expect "a folder named within the code page" '?:\\*\\Grüße' Grüße
[[ ! -e "$data/Merix" ]] || failures=1
expect "a read-only folder" '?:\\users\\*\\AppData\\Local\\Merix\\VORIN' program
[[ -d "$data/Merix/VORIN" ]] || failures=1
expect "a folder named outside the code page" '?:\\users\\*\\AppData\\Local\\Merix\\VORIN' 漢字
chmod 555 "$data"
mkdir "$work/scratch"
[[ ${#user[@]} == 0 ]] || chown 65534:65534 "$work/scratch"
expect "read-only application data" '?:\\*\\scratch\\' "TMP=Z:${work//\//\\}\\scratch" program
[[ ! -e "$WINEPREFIX/drive_c/temp" ]] || failures=1
expect "no temporary folder" 'c:\\temp' "TMP=c:\\$(printf 't%.0s' {1..300})" program
[[ -d "$WINEPREFIX/drive_c/temp" ]] || failures=1
chmod 755 "$data"
exit "$failures"
