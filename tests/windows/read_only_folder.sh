#!/bin/bash
# The folder that the library writes to if the program's own is not writable: the program lies in folders without the
# permission, and runs as a user whom permissions bind (for the super-user, as nobody).
#   read_only_folder.sh PROGRAM    PROGRAM prints the folder
set -euo pipefail

source_dir="$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)"
. "$source_dir/tests/support/shell_checks.sh"
user=()
trap '"${user[@]}" /usr/lib/wine/wineserver -k 2>/dev/null || true; chmod -R u+w "$work"; rm -rf "$work"' EXIT
export WINEPREFIX="$work/prefix" WINEPATH= HOME="$work/home" LC_ALL=C.UTF-8
deep="$(printf 'd%.0s' {1..100})"
deep="$deep/$deep"
mkdir -p "$WINEPREFIX" "$HOME" "$work/program" "$work/Grüße" "$work/漢字" "$work/$deep/$deep"
cp "$source_dir/scripts/with-wine" "$work" # where that user may read it
for folder in program Grüße 漢字 "$deep/$deep"; do
  cp "$1" "$work/$folder/host.exe"
done
if [[ "$(id -u)" == 0 ]]; then
  chown -R 65534:65534 "$work"
  user=(setpriv --reuid 65534 --regid 65534 --clear-groups)
fi
chmod 555 "$work/program"
cd "$work"
with_wine() { "${user[@]}" "$work/with-wine" "$@" 2>/dev/null; }

failures=0
fail() {
  echo "$1" >&2
  failures=1
}
expect_folder() { # WHAT PATTERN FOLDER
  local what="$1" pattern="$2" folder="$3" printed
  printed="$(with_wine "$work/$folder/host.exe" | tr -d '\r' | iconv -f CP1252 -t UTF-8)"
  # shellcheck disable=SC2053 # a pattern
  if [[ "$printed" != $pattern ]]; then
    fail "$what: '$printed' is not '$pattern'"
  fi
  if find "$work" -name 'vorin989.tes' | grep -q .; then
    fail "$what: a probe was left behind"
  fi
}

set_temporary_folder() { # Wine reads the variable from the user's settings
  with_wine reg add 'HKCU\Environment' /v TMP /d "$1" /f >/dev/null
}

expect_folder "a folder named within the code page" '?:\\*\\Grüße' Grüße
expect_folder "a path that is cut at 260 characters" '?:\\*\\'"${deep//\//\\\\}" "$deep/$deep"
data="$(echo "$WINEPREFIX"/drive_c/users/*/AppData/Local)"
[[ ! -e "$data/Merix" ]] || fail "application data touched for a folder that is writable"
expect_folder "a read-only folder" '?:\\users\\*\\AppData\\Local\\Merix\\VORIN' program
[[ -d "$data/Merix/VORIN" ]] || fail "no folder below the application data"
expect_folder "a folder named outside the code page" '?:\\users\\*\\AppData\\Local\\Merix\\VORIN' 漢字
chmod 555 "$data"
mkdir "$work/scratch"
[[ ${#user[@]} == 0 ]] || chown 65534:65534 "$work/scratch"
set_temporary_folder "Z:${work//\//\\}\\scratch"
expect_folder "read-only application data" '?:\\*\\scratch\\' program
[[ ! -e "$WINEPREFIX/drive_c/temp" ]] || fail "the folder of last resort came too early"
set_temporary_folder "c:\\$(printf 't%.0s' {1..300})"
expect_folder "no temporary folder" 'c:\\temp' program
[[ -d "$WINEPREFIX/drive_c/temp" ]] || fail "no folder of last resort"
chmod 755 "$data"
exit "$failures"
