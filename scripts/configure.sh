#!/bin/bash
# scripts/configure.sh PRESET [OPTION...]: configures a preset for the other scripts, with further options of cmake. Prints
# its output, which is kept in build/, only when it fails.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
mkdir -p build
cmake --preset "$@" >"build/configure-$1.log" 2>&1 || {
    cat "build/configure-$1.log"
    exit 1
}
