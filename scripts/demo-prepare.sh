# Sourced by the demo scripts: installs what is missing, builds the host and empties the demo
# folder. Usage: source scripts/demo-prepare.sh build/<name>; then "$exe" is the host and
# "$demo" the folder (the working directory is the repository).
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
./scripts/bootstrap.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTARVO_BUILD_BENCH=OFF >/dev/null
cmake --build build -j"$(nproc)" --target tarvo-exchange
exe=./build/tarvo-exchange
demo=$1
rm -rf "$demo"
mkdir -p "$demo"
