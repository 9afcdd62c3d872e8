#!/usr/bin/env bash
# Sets up, builds, creates the demo company database (SQLite) and runs an exchange procedure on it.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/bootstrap.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTARVO_BUILD_BENCH=OFF >/dev/null
cmake --build build -j"$(nproc)" --target tarvo-exchange
./build/tarvo-exchange --version
