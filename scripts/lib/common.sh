# Shared by scripts/run and scripts/test: dependency installation and the build.
# shellcheck shell=bash

WISP_ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)"

# Debian/Ubuntu packages, by purpose.
WISP_APT_BUILD=(build-essential cmake ninja-build pkg-config qt6-base-dev qt6-base-dev-tools
                qcoro-qt6-dev libgtest-dev libgmock-dev libx11-dev libxcb1-dev libxcb-xtest0-dev
                libgl-dev qt6-svg-dev qt6-websockets-dev ccache)
WISP_APT_RUN=(lsof procps python3 qt6-qpa-plugins libqt6svg6 libqt6websockets6 libqt6concurrent6)
# nodejs and npm: the end-to-end tests start a Node project through "npm run dev", which runs with
# the PATH of a private home's login shell (the system's own directories), so both must live in
# /usr/bin. zsh and fish: the servers' environment is tested with each as the login shell, besides
# bash and /bin/sh. The first-run test finds widgets through the accessibility tree (dbus-daemon,
# at-spi2-core, python3-pyatspi) and keeps screenshots (imagemagick). The packaging tests validate
# the desktop entries (desktop-file-utils). The tray is also tested under a StatusNotifierItem host
# and watcher (haskell-gtk-sni-tray-utils, haskell-status-notifier-item-utils). Projects made by
# Django, Flask, Hugo and Jekyll are opened through the tray with their own development servers
# (python3-django, python3-flask, hugo, jekyll).
WISP_APT_TEST=(xvfb xauth trayer xdotool x11-utils chromium nodejs npm dbus-daemon at-spi2-core
              python3-pyatspi imagemagick desktop-file-utils haskell-gtk-sni-tray-utils
              haskell-status-notifier-item-utils zsh fish python3-yaml python3-django
              python3-flask hugo jekyll)
# The sanitized build and the fuzz targets are built by Clang, the compiler the Mac uses: its
# sanitizer and libFuzzer runtimes, and libc++ for the compile-only pass of the portable sources
# against the Mac's standard library.
WISP_CLANG_VERSION=19
WISP_APT_SANITIZE=(clang-19 libclang-rt-19-dev libc++-19-dev libc++abi-19-dev llvm)
WISP_APT_FUZZ=(clang-19 libclang-rt-19-dev)

WISP_BREW_BUILD=(cmake ninja qt googletest)

say() { printf '%s\n' "$*" >&2; }

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    elif command -v sudo >/dev/null 2>&1; then
        sudo "$@"
    else
        say "wisp: need root to install packages, and sudo is not available: $*"
        return 1
    fi
}

# True when PACKAGE is installed, or provided by an installed package (npm comes with some
# nodejs builds, which conflict with Debian's own npm package).
package_present() {
    local pkg="$1"
    dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed' && return 0
    dpkg-query -W -f='${Status}\t${Provides}\n' 2>/dev/null |
        awk -F'\t' -v pkg="$pkg" '
            $1 == "install ok installed" {
                n = split($2, provided, /, */)
                for (i = 1; i <= n; i++) {
                    sub(/ .*/, "", provided[i])
                    if (provided[i] == pkg) { found = 1 }
                }
            }
            END { exit found ? 0 : 1 }'
}

# Node may come from elsewhere than Debian's packages; what the tests need is /usr/bin/npm.
already_provided() {
    case "$1" in
    nodejs | npm) [ -x /usr/bin/node ] && [ -x /usr/bin/npm ] ;;
    *) return 1 ;;
    esac
}

apt_install_missing() {
    local missing=() pkg
    for pkg in "$@"; do
        if ! already_provided "$pkg" && ! package_present "$pkg"; then
            missing+=("$pkg")
        fi
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    say "wisp: installing ${missing[*]}"
    as_root env DEBIAN_FRONTEND=noninteractive apt-get update -qq
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
        "${missing[@]}"
}

brew_install_missing() {
    if ! command -v brew >/dev/null 2>&1; then
        say "wisp: Homebrew is required on macOS (https://brew.sh)"
        return 1
    fi
    local formula
    for formula in "$@"; do
        brew list --formula "$formula" >/dev/null 2>&1 || brew install "$formula"
    done
}

# install_dependencies build|run|test ...
install_dependencies() {
    local purpose packages=()
    case "$(uname -s)" in
    Darwin)
        brew_install_missing "${WISP_BREW_BUILD[@]}"
        ;;
    Linux)
        if ! command -v apt-get >/dev/null 2>&1; then
            say "wisp: automatic set-up supports Debian and Ubuntu (apt-get); install the packages listed in README.md by hand"
            return 0
        fi
        for purpose in "$@"; do
            case "$purpose" in
            build) packages+=("${WISP_APT_BUILD[@]}") ;;
            run) packages+=("${WISP_APT_RUN[@]}") ;;
            test) packages+=("${WISP_APT_TEST[@]}") ;;
            sanitize) packages+=("${WISP_APT_SANITIZE[@]}") ;;
            fuzz) packages+=("${WISP_APT_FUZZ[@]}") ;;
            esac
        done
        apt_install_missing "${packages[@]}"
        ;;
    esac
}

# use_clang BUILD_DIR: the next configuration of BUILD_DIR uses Clang (Debian's clang-19 on
# Linux, the system's on macOS), through ccache when it is there. A build folder configured with
# another compiler is configured afresh, since CMake keeps the compiler it first found.
use_clang() {
    local build_dir="$1" cc=clang cxx=clang++
    if [ "$(uname -s)" = Linux ]; then
        cc="clang-$WISP_CLANG_VERSION"
        cxx="clang++-$WISP_CLANG_VERSION"
    fi
    if ! command -v "$cxx" >/dev/null 2>&1; then
        say "wisp: $cxx is missing (install ${WISP_APT_SANITIZE[*]})"
        return 1
    fi
    export CC="$cc" CXX="$cxx"
    if [ -z "${CMAKE_CXX_COMPILER_LAUNCHER:-}" ] && command -v ccache >/dev/null 2>&1; then
        export CMAKE_CXX_COMPILER_LAUNCHER=ccache CCACHE_BASEDIR="$WISP_ROOT" CCACHE_NOHASHDIR=true
    fi
    if [ -f "$build_dir/CMakeCache.txt" ] &&
        ! grep -q "^CMAKE_CXX_COMPILER:[A-Z]*=\(.*/\)\?$cxx\$" "$build_dir/CMakeCache.txt"; then
        say "wisp: $build_dir was configured with another compiler; configuring it afresh with $cxx"
        rm -rf "$build_dir"
    fi
}

# use_sanitize_compiler BUILD_DIR [clang|gcc]: the compiler of the sanitized build. "clang" is
# clang-19; anything else the system's default (GCC). Debian's QCoro libraries are built by GCC,
# which a Clang build links safely because its programs export none of their symbols (see
# cmake/WispCompilerOptions.cmake). A folder configured with the other compiler is configured
# afresh.
use_sanitize_compiler() {
    local build_dir="$1" choice="${2:-}"
    if [ "$choice" = clang ]; then
        install_dependencies sanitize
        use_clang "$build_dir"
        return
    fi
    if [ -f "$build_dir/CMakeCache.txt" ] &&
        grep -q '^CMAKE_CXX_COMPILER:[A-Z]*=.*clang' "$build_dir/CMakeCache.txt"; then
        say "wisp: $build_dir was configured with Clang; configuring it afresh with the default compiler"
        rm -rf "$build_dir"
    fi
}

# report_compiled_files BUILD_DIR: one line naming the compiler and how many files it compiled.
report_compiled_files() {
    local build_dir="$1" compiler count
    compiler="$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' "$build_dir/CMakeCache.txt")"
    count="$(python3 -c 'import json, sys; print(len({e["file"] for e in json.load(open(sys.argv[1]))}))' \
        "$build_dir/compile_commands.json" 2>/dev/null || echo "?")"
    say "wisp: $(basename "$compiler") compiled the whole tree in $(basename "$build_dir"): $count files"
}

# build_wisp BUILD_DIR [extra cmake arguments...]
build_wisp() {
    local build_dir="$1"
    shift
    local generator=() launcher=()
    command -v ninja >/dev/null 2>&1 && generator=(-G Ninja)
    # A compiler cache that any clone of the tree shares: paths inside it are taken relative, so
    # a fresh clone elsewhere rebuilds from the cache.
    if command -v ccache >/dev/null 2>&1; then
        launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
        export CCACHE_BASEDIR="$WISP_ROOT" CCACHE_NOHASHDIR=true
    fi
    if [ ! -f "$build_dir/CMakeCache.txt" ]; then
        cmake -S "$WISP_ROOT" -B "$build_dir" "${generator[@]}" "${launcher[@]}" \
            -DCMAKE_BUILD_TYPE="${WISP_BUILD_TYPE:-RelWithDebInfo}" "$@"
    else
        cmake -S "$WISP_ROOT" -B "$build_dir" "$@" >/dev/null
    fi
    cmake --build "$build_dir" --parallel "$(getconf _NPROCESSORS_ONLN 2>/dev/null || echo 2)"
}
