#!/bin/bash
# scripts/tidy.sh: compiles the plug-in and the platform with clang and runs clang-tidy over each file (.clang-tidy has the
# checks). A finding is an error.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
scripts/install-deps.sh build run tidy
mkdir -p build
cmake --preset tidy >build/configure-tidy.log 2>&1 || {
    cat build/configure-tidy.log
    exit 1
}
NINJA_STATUS='[%f/%t, %es] ' cmake --build --preset tidy -j "$(nproc)" --target programs -- -k 0
