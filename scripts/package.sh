#!/bin/bash
# scripts/package.sh: builds the release preset and makes the Debian packages in out/packages.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
scripts/install-deps.sh build run package
scripts/configure.sh release
NINJA_STATUS='[%f/%t, %es] ' cmake --build --preset release -j "$(nproc)" --target programs
rm -rf out/packages
mkdir -p out/packages
cpack --config build/release/CPackConfig.cmake -B out/packages >out/packages/cpack.log || {
    cat out/packages/cpack.log
    exit 1
}
rm -rf out/packages/_CPack_Packages out/packages/cpack.log
ls -l out/packages/*.deb
