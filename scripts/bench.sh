#!/bin/bash
# scripts/bench.sh [--check] [--write] [GROUP...]: builds the release preset and prints the figures of bench/figures (all groups,
# or those named) as one table, measured in turns with their references on a private desktop. Nothing else should run meanwhile.
# --check: exit code 1 when a goal is missed. --write: puts the table into docs/benchmarks.md.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
scripts/install-deps.sh build run test bench
scripts/configure.sh release -DTARN_BENCH=ON
cmake --build --preset release -j "$(nproc)" --target programs benchmarks >&2
tests/support/with-x.sh -s 1600x900x24 -- bench/run.py "$@"
