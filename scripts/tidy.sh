#!/bin/bash
# scripts/tidy.sh [REGEX]: runs clang-tidy over each file of the plug-in and the platform, or over those whose path matches
# (.clang-tidy has the checks). A finding is an error.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
scripts/install-deps.sh build run tidy
scripts/configure.sh tidy
# Nothing is compiled; the code that moc and protoc write is included by the sources. The precompiled headers hold more than a
# file includes, and every check reads all of it.
mapfile -t needed < <(ninja -C build/tidy -t targets all | grep -oE '^[^ ]*/gen/[^ ]*pb\.h:' | tr -d :)
ninja -C build/tidy --quiet "${needed[@]}"
find build/tidy/src build/tidy/platform -name AutogenInfo.json -print0 | xargs -0 -P "$(nproc)" -I{} cmake -E cmake_autogen {} Debug
run-clang-tidy -quiet -p build/tidy -j "$(nproc)" "^$PWD/(src|platform)/.*${1:-}" >build/tidy/findings.log 2>&1 || {
    grep -vE '^clang-tidy|warnings? generated|^Suppressed|^Use -' build/tidy/findings.log
    exit 1
}
