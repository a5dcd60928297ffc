#!/bin/bash
# CPack builds the Debian package; it declares the libraries and tools wisp needs, holds the
# installed files, and the binary unpacked from it starts.
#
#     debian-package-test.sh BUILD_DIR VERSION
set -euo pipefail

build=$1
version=$2
scratch=$(mktemp -d "${TMPDIR:-/tmp}/wisp-deb-test.XXXXXX")
trap 'rm -rf "$scratch"' EXIT

fail() {
    echo "FAIL: $*" >&2
    exit 1
}

if ! cpack --config "$build/CPackConfig.cmake" -G DEB -B "$scratch/out" >"$scratch/cpack.log" 2>&1
then
    cat "$scratch/cpack.log" >&2
    fail "cpack failed"
fi
packages=("$scratch"/out/*.deb)
[ ${#packages[@]} -eq 1 ] && [ -f "${packages[0]}" ] || fail "cpack made no single .deb"
deb=${packages[0]}

dpkg-deb --info "$deb" >"$scratch/info" || fail "dpkg-deb --info cannot read $deb"
field() { dpkg-deb --field "$deb" "$1"; }
[ "$(field Package)" = wisp ] || fail "Package is '$(field Package)'"
[ "$(field Version)" = "$version" ] || fail "Version is '$(field Version)'"
grep -q '^ Depends: ' "$scratch/info" || fail "dpkg-deb --info shows no Depends"

# The declared dependencies, one package name a line.
field Depends | tr ',' '\n' | sed -E 's/^ *//; s/ *\(.*//; s/ *$//' | sort -u >"$scratch/depends"
declared() { grep -qx "$1" "$scratch/depends"; }
for tool in lsof procps qt6-qpa-plugins libqt6svg6; do
    declared "$tool" || fail "Depends lacks $tool: $(field Depends)"
done

dpkg-deb --contents "$deb" | awk '{print $NF}' >"$scratch/contents"
for file in ./usr/bin/wisp ./usr/share/applications/wisp.desktop \
    ./usr/share/icons/hicolor/48x48/apps/wisp.png ./usr/share/icons/hicolor/scalable/apps/wisp.svg \
    ./usr/share/man/man1/wisp.1.gz; do
    grep -qx "$file" "$scratch/contents" || fail "the package lacks $file"
done

root=$scratch/root
dpkg-deb -x "$deb" "$root"
binary=$root/usr/bin/wisp
answer=$("$binary" --version) || fail "the unpacked wisp --version failed"
[ "$answer" = "wisp $version" ] || fail "the unpacked wisp --version said '$answer'"

# Every shared library the binary links comes from a package the .deb declares.
missing=()
while read -r needed; do
    # The dynamic loader (needed for thread-local storage) is listed by its own path.
    library=$(ldd "$binary" | awk -v name="$needed" '
        $1 == name && $3 ~ /^\// {print $3}
        $1 ~ /^\// && substr($1, length($1) - length(name)) == "/" name {print $1}')
    [ -n "$library" ] || fail "the system has no $needed for the unpacked wisp"
    owner=$( (dpkg -S "$library" || dpkg -S "/usr$library") 2>/dev/null | head -n1 | cut -d: -f1) || true
    [ -n "$owner" ] || fail "no installed package owns $library"
    declared "$owner" || missing+=("$owner ($needed)")
done < <(readelf -d "$binary" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
[ ${#missing[@]} -eq 0 ] || fail "Depends lacks: ${missing[*]}"

echo "$(basename "$deb"): $(wc -l <"$scratch/depends") dependencies, $(wc -l <"$scratch/contents") entries, starts"
