#!/bin/bash
# scripts/install-deps.sh [GROUP...]: installs what this project needs on Debian 12 and is not there yet.
# Groups: build, run, test, bench (all of them without an argument), package, fuzz, tidy and art. Prints nothing when all of them
# are installed, and never asks. Needs root or sudo only when something is missing.
set -euo pipefail

# Compilers, generators and headers.
build=(
    build-essential ccache cmake git ninja-build pkg-config
    qtbase5-dev libqt5svg5-dev libx11-dev
    libgrpc++-dev libgrpc-dev libabsl-dev libprotobuf-dev protobuf-compiler protobuf-compiler-grpc
    libarchive-dev libsodium-dev libmicrohttpd-dev libqrencode-dev libbsd-dev libxcb1-dev
)
# What the programs load at run time beyond the libraries they are linked with.
run=(libqt5svg5 libqt5sql5-sqlite fonts-noto-cjk)
# Private desktops (X server, window manager, bus, tray, panel), real input, style check.
test=(
    clang-format dbus openbox xfwm4 metacity trayer x11-utils x11-xserver-utils xdotool xvfb
    at-spi2-core python3-pyatspi openssl
    libxcb-damage0-dev
    chromium chromium-driver
    python3-gi python3-selenium python3-xlib
    xcompmgr xserver-xorg-core xserver-xorg-video-dummy
)
# What the figures are compared with.
bench=(dunst xfce4-notifyd)
# Making and checking the Debian packages, and the examples in other languages.
package=(dpkg-dev fakeroot lintian desktop-file-utils appstream man-db python3-grpcio python3-protobuf)
# libFuzzer and its runtime.
fuzz=(clang libclang-rt-14-dev)
# Static analysis, not part of the test run.
tidy=(clang clang-tidy)
# Making the committed pictures again (src/resources/make-images.sh).
art=(imagemagick librsvg2-bin)

wanted=()
for group in "${@:-build run test bench}"; do
    for name in $group; do
        case $name in
        build | run | test | bench | package | fuzz | tidy | art)
            declare -n packages=$name
            wanted+=("${packages[@]}")
            ;;
        *)
            echo "install-deps: unknown group \"$name\" (build, run, test, bench, package, fuzz, tidy, art)" >&2
            exit 2
            ;;
        esac
    done
done

installed=$(dpkg-query -W -f '${db:Status-Status} ${Package}\n' "${wanted[@]}" 2>/dev/null |
    sed -n 's/^installed //p' || true)
missing=()
for package in "${wanted[@]}"; do
    grep -qxF -- "$package" <<<"$installed" || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

as_root=()
if [ "$(id -u)" != 0 ]; then
    command -v sudo >/dev/null || {
        echo "install-deps: neither root nor sudo; to be installed: ${missing[*]}" >&2
        exit 1
    }
    as_root=(sudo)
fi
echo "Installing ${#missing[@]} packages: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update -q </dev/null
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${missing[@]}" </dev/null
