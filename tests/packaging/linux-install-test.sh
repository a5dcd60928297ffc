#!/bin/bash
# cmake --install into a temporary prefix puts the binary, the desktop entry, the icons the
# entry names and the man page where a desktop and man look for them.
#
#     linux-install-test.sh BUILD_DIR VERSION
set -euo pipefail

build=$1
version=$2
scratch=$(mktemp -d "${TMPDIR:-/tmp}/wisp-install-test.XXXXXX")
trap 'rm -rf "$scratch"' EXIT

fail() {
    echo "FAIL: $*" >&2
    exit 1
}

# Width and height of a PNG image, from its header.
png_size() {
    python3 -c '
import struct, sys
header = open(sys.argv[1], "rb").read(24)
assert header[:8] == b"\x89PNG\r\n\x1a\n", "not a PNG image"
print("%dx%d" % struct.unpack(">II", header[16:24]))' "$1"
}

prefix=$scratch/usr
if ! cmake --install "$build" --prefix "$prefix" --component wisp >"$scratch/install.log" 2>&1; then
    cat "$scratch/install.log" >&2
    fail "cmake --install failed"
fi

[ -x "$prefix/bin/wisp" ] || fail "bin/wisp is missing or not executable"
answer=$("$prefix/bin/wisp" --version) || fail "bin/wisp --version failed"
[ "$answer" = "wisp $version" ] || fail "bin/wisp --version said '$answer'"

entry=$prefix/share/applications/wisp.desktop
[ -f "$entry" ] || fail "share/applications/wisp.desktop is missing"
desktop-file-validate "$entry" || fail "desktop-file-validate rejects $entry"
# Started by name from PATH, as a menu or the autostart of a desktop does.
exec_value=$(sed -n 's/^Exec=//p' "$entry")
[ -x "$prefix/bin/$exec_value" ] || fail "Exec=$exec_value is not the installed binary"
# An autostart entry must not be hidden or limited to other desktops.
if grep -Eq '^(Hidden|NoDisplay|OnlyShowIn|NotShowIn)=' "$entry"; then
    fail "the entry hides itself from some desktops"
fi

icon=$(sed -n 's/^Icon=//p' "$entry")
[ -n "$icon" ] || fail "the entry names no icon"
for size in 16 22 24 32 48 64 128 256 512; do
    image=$prefix/share/icons/hicolor/${size}x${size}/apps/$icon.png
    [ -f "$image" ] || fail "no ${size}x${size} icon at $image"
    actual=$(png_size "$image")
    [ "$actual" = "${size}x${size}" ] || fail "$image is $actual"
done
scalable=$prefix/share/icons/hicolor/scalable/apps/$icon.svg
[ -f "$scalable" ] || fail "no scalable icon at $scalable"
grep -q '<svg' "$scalable" || fail "$scalable is no SVG image"

manual=$prefix/share/man/man1/wisp.1.gz
[ -f "$manual" ] || fail "no man page at $manual"
gzip -dc "$manual" | grep -q '^\.TH WISP 1' || fail "$manual is no wisp(1) page"

echo "installed: bin/wisp, the desktop entry, $icon icons at 9 sizes and scalable, wisp(1)"
