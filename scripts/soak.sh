#!/bin/bash
# scripts/soak.sh [CALLS [BIN]]: sends CALLS mixed calls (1,000,000 by default), hostile ones among them, to host and services, and
# compares their memory, descriptors and threads in the second half with those after the first half.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
calls=${1:-1000000}
bin=$(realpath "${2:-build/release/bin}")
[ -n "${DISPLAY:-}" ] || exec tests/support/with-x.sh -- "$0" "$calls" "$bin"
scripts/install-deps.sh package
proto=$PWD/platform/rpc/proto
soak=$PWD/tools/soak/soak.py
. scripts/private-platform.sh
start_platform "$bin"
TARN_PROTO=$proto "$soak" "$calls" "$work/bin"
