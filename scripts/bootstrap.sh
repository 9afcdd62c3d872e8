#!/usr/bin/env bash
# Installs every Debian package that the build, the tests and the host need. Idempotent.
set -euo pipefail
PACKAGES=(
  build-essential cmake ninja-build mold pkg-config git
  libgtest-dev libgmock-dev libbenchmark-dev
  libxerces-c-dev libcurl4-openssl-dev libcrypto++-dev libzip-dev libcli11-dev libcpp-httplib-dev
  libvips-dev libvips-tools
  unixodbc unixodbc-dev libsqliteodbc odbc-postgresql
  sqlite3 postgresql-15 postgresql-client-15
  python3 python3-pyftpdlib zip unzip libjpeg-turbo-progs
  libncurses-dev tmux
  nlohmann-json3-dev python3-jsonschema
  clang libclang-rt-14-dev
)
missing=()
for p in "${PACKAGES[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO="sudo"
  echo "bootstrap: installing ${missing[*]}"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq "${missing[@]}" >/dev/null
fi
# The ODBC drivers must be registered with the driver manager under the names the code uses.
if ! odbcinst -q -d 2>/dev/null | grep -q '^\[SQLite3\]'; then
  printf '[SQLite3]\nDescription=SQLite3 ODBC Driver\nDriver=libsqlite3odbc.so\nSetup=libsqlite3odbc.so\n' > /tmp/tarvo-sqlite3.ini
  ${SUDO:-} odbcinst -i -d -f /tmp/tarvo-sqlite3.ini >/dev/null
fi
if ! odbcinst -q -d 2>/dev/null | grep -q '^\[PostgreSQL ANSI\]'; then
  printf '[PostgreSQL ANSI]\nDescription=PostgreSQL ODBC driver (ANSI version)\nDriver=psqlodbca.so\n' > /tmp/tarvo-pg.ini
  ${SUDO:-} odbcinst -i -d -f /tmp/tarvo-pg.ini >/dev/null
fi
echo "bootstrap: ok"
