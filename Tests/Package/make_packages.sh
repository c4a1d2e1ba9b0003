#!/usr/bin/env bash
# The packages that the emulated machine installs: the tree's, and the same one as a later version.
#
#   make_packages.sh BUILD_TREE PLACE    ends with the closing line of a suite
set -euo pipefail

tree=$1
place=$2
rm -rf "$place"
for program in cpack dpkg-deb dpkg-shlibdeps; do
    if ! command -v "$program" >/dev/null; then
        echo "skipped: $program is not installed"
        echo "0 passed, 0 failed, 1 skipped"
        exit 0
    fi
done
mkdir -p "$place"
cpack --config "$tree/CPackConfig.cmake" -B "$place" >"$place/cpack.log" || { cat "$place/cpack.log"; exit 1; }
rm -r "$place/_CPack_Packages"
mv "$place"/quenstal_*.deb "$place/quenstal.deb"
dpkg-deb --raw-extract "$place/quenstal.deb" "$place/later"
sed -i 's/^Version: .*/&.later/' "$place/later/DEBIAN/control"
dpkg-deb --root-owner-group --build "$place/later" "$place/quenstal-later.deb" >/dev/null
rm -r "$place/later"
echo "1 passed, 0 failed"
