#!/usr/bin/env bash
# The Debian package: builds it, installs its dependencies, unpacks it, and restyles a photo as a user without rights.
#   debian_package.sh BUILD_FOLDER PHOTO
# Ends with 77 (skipped) if the dependencies cannot be installed for lack of rights.
set -euo pipefail
build="$1" photo="$2"
[ "$(id -u)" -eq 0 ] || { echo "needs root to install the package's dependencies"; exit 77; }
. "$(dirname "${BASH_SOURCE[0]}")/support/shell_checks.sh"

quietly cpack --config "$build/CPackConfig.cmake" -G DEB -B "$work/package" -D CPACK_STRIP_FILES=OFF
package=("$work"/package/*.deb)
quietly env DEBIAN_FRONTEND=noninteractive apt-get satisfy -y -qq --no-install-recommends "$(dpkg-deb -f "${package[0]}" Depends)"
quietly dpkg-deb -x "${package[0]}" "$work/root"

size_kib="$(du -sk --apparent-size "$work/root" | cut -f 1)"
percent=$(($(dpkg-deb -f "${package[0]}" Installed-Size) * 100 / size_kib)) # folders differ by file system
[ "$percent" -ge 98 ] && [ "$percent" -le 102 ] || { echo "the installed size is $percent % of that of the files"; exit 1; }
(cd "$work/root" && quietly md5sum -c <(dpkg-deb --ctrl-tarfile "${package[0]}" | tar -xO ./md5sums))
expect "Apache License" cat "$work/root/usr/share/doc/vorin-stt/copyright"
expect "vorin-stylize" zcat "$work/root/usr/share/man/man1/vorin-stylize.1.gz"

mkdir "$work/home"
cp "$photo" "$work/home/photo.png"
chown -R 65534:65534 "$work/home"
quietly setpriv --reuid=65534 --regid=65534 --clear-groups env "HOME=$work/home" XDG_DATA_HOME= XDG_CACHE_HOME= \
  "$work/root/usr/bin/vorin-stylize" "$work/home/photo.png" -o "$work/home/restyled.png" --style lightgrey
test -s "$work/home/restyled.png"
