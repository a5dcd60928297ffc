# Shared by scripts/run and scripts/test: dependency installation and the build.
# shellcheck shell=bash

WISP_ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)"

# Debian/Ubuntu packages, by purpose.
WISP_APT_BUILD=(build-essential cmake ninja-build pkg-config qt6-base-dev qt6-base-dev-tools
                qcoro-qt6-dev libgtest-dev libgmock-dev libx11-dev libxcb1-dev libxcb-xtest0-dev
                libgl-dev qt6-svg-dev qt6-websockets-dev)
WISP_APT_RUN=(lsof procps python3 qt6-qpa-plugins libqt6svg6 libqt6websockets6)
# nodejs and npm: the end-to-end tests start a Node project through "npm run dev", which runs with
# the servers' fixed PATH, so both must live in /usr/bin. The first-run test finds widgets through
# the accessibility tree (dbus-daemon, at-spi2-core, python3-pyatspi) and keeps screenshots
# (imagemagick). The packaging tests validate the desktop entries (desktop-file-utils). The tray
# is also tested under a StatusNotifierItem host and watcher (haskell-gtk-sni-tray-utils,
# haskell-status-notifier-item-utils). Projects made by Django, Flask, Hugo and Jekyll are opened
# through the tray with their own development servers (python3-django, python3-flask, hugo,
# jekyll).
WISP_APT_TEST=(xvfb xauth trayer xdotool x11-utils chromium nodejs npm dbus-daemon at-spi2-core
              python3-pyatspi imagemagick desktop-file-utils haskell-gtk-sni-tray-utils
              haskell-status-notifier-item-utils python3-django python3-flask hugo jekyll)

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
            esac
        done
        apt_install_missing "${packages[@]}"
        ;;
    esac
}

# build_wisp BUILD_DIR [extra cmake arguments...]
build_wisp() {
    local build_dir="$1"
    shift
    local generator=()
    command -v ninja >/dev/null 2>&1 && generator=(-G Ninja)
    if [ ! -f "$build_dir/CMakeCache.txt" ]; then
        cmake -S "$WISP_ROOT" -B "$build_dir" "${generator[@]}" \
            -DCMAKE_BUILD_TYPE="${WISP_BUILD_TYPE:-RelWithDebInfo}" "$@"
    else
        cmake -S "$WISP_ROOT" -B "$build_dir" "$@" >/dev/null
    fi
    cmake --build "$build_dir" --parallel "$(getconf _NPROCESSORS_ONLN 2>/dev/null || echo 2)"
}
