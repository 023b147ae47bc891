#!/bin/bash
# scripts/test.sh [--quick|--all] [PRESET]: installs what is missing, checks the C++ style, builds the preset (release
# unless named) with warnings as errors, and runs the tests; --quick: only those that need no desktop and no processes,
# --all: also the variants with further window managers.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
selection=(-LE variant)
case ${1:-} in
--quick) selection=(-L unit) && shift ;;
--all) selection=() && shift ;;
esac
preset=${1:-release}
[ "$preset" != tsan ] || selection=(-L threads) # what the preset builds

step() { printf '\n== [%3d s] %s\n' "$SECONDS" "$*"; }

step "packages"
scripts/install-deps.sh build run test package

step "style, layers and documents"
git ls-files -z -- '*.cpp' '*.h' | xargs -0 -r clang-format --dry-run --Werror
scripts/check-layers.py
scripts/check-docs.py

step "configure ($preset)"
scripts/configure.sh "$preset" -DTARN_WERROR=ON

step "build ($preset)"
NINJA_STATUS='[%f/%t, %es] ' cmake --build --preset "$preset" -j "$(nproc)"

step "tests ($preset)"
unset DISPLAY WAYLAND_DISPLAY # no test may touch the desktop of the caller
ctest --test-dir "build/$preset" -j2 --output-on-failure --no-tests=error "${selection[@]}"
step "done"
