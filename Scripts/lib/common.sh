# Sourced by the scripts beside this folder: where the project is, what they say, what they install.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
cd "$root"

say() { printf '== %s\n' "$*"; }
fail() { printf '%s\n' "$*" >&2; exit 1; }

# Debian packages by need. A script names the needs; what is missing is installed, what is there costs nothing.
packages_build="clang-19 libclang-rt-19-dev lld-19 cmake ninja-build ccache pkg-config libboost1.81-dev libcurl4-openssl-dev libfmt-dev
    libplist-dev libpugixml-dev libsqlite3-dev libsystemd-dev nettle-dev qt6-base-dev libqt6svg6"
packages_test="libgtest-dev libgmock-dev openssl xz-utils python3 desktop-file-utils util-linux iproute2 procps strace dbus dbus-user-session systemd"
packages_run="dbus iproute2 libsqlite3-0 procps"
packages_bench="nlohmann-json3-dev rapidjson-dev libtomlplusplus-dev libayatana-appindicator3-dev libgtk-3-dev qt6-base-dev"
packages_update="openssl python3 tar xz-utils"
packages_package="debhelper dpkg-dev git"
packages_proof="debootstrap lintian appstream desktop-file-utils man-db imagemagick"
packages_models="curl openssl"
packages_panels="procps iproute2 xvfb xfce4-panel lxqt-panel mate-panel sway waybar openbox at-spi2-core imagemagick xdotool dbus adwaita-icon-theme"
packages_plasma="plasma-workspace plasma-desktop kwin-x11 kactivitymanagerd breeze-icon-theme"
packages_gnome="gnome-shell gnome-shell-extension-appindicator libgl1-mesa-dri"
packages_cinnamon="cinnamon xapp-sn-watcher"
packages_order="valgrind binutils"
packages_icons="librsvg2-bin imagemagick python3"
packages_format="clang-format-19 clang-tidy-19 git"

# install_packages NEED...: makes sure that the packages of each need are on this Debian 12 machine.
install_packages() {
    local need list package missing=()
    for need in "$@"; do
        list="packages_$need"
        for package in ${!list}; do
            dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed || missing+=("$package")
        done
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    say "installing ${missing[*]}"
    local sudo=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || fail "these Debian packages are missing, and installing them needs root: ${missing[*]}"
        sudo=(sudo)
    fi
    "${sudo[@]}" apt-get -qq update
    DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get -qq install -y --no-install-recommends "${missing[@]}" >/dev/null
}

# build PRESET [TARGET...]
build() {
    local preset=$1
    shift
    say "building: $preset"
    cmake --preset "$preset" >"build-$preset.log" 2>&1 || { cat "build-$preset.log"; rm -f "build-$preset.log"; exit 1; }
    rm -f "build-$preset.log"
    cmake --build --preset "$preset" ${1:+--target "$@"}
}

# build_update: the bundle of a second build in build/update. The helpers know their build, so it is made beside the
# first; the release preset is the first again.
build_update() {
    cmake --preset release -DLARKMOOR_BUILD=2 >/dev/null
    say "building: the update"
    cmake --build --preset release --target larkmoor-bundle
    rm -rf build/update && mkdir -p build/update && cp -a build/release/Larkmoor.app build/update
    cmake --preset release -DLARKMOOR_BUILD=1 >/dev/null
}
