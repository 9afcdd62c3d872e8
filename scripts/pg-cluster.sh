#!/usr/bin/env bash
# A throwaway PostgreSQL 15 cluster on loopback for the tests. pg_stat_statements is loaded when
# installed, so that a test or benchmark can count the statements a run sends to the server.
#   scripts/pg-cluster.sh start DIR PORT   -> prints the ODBC connection string
#   scripts/pg-cluster.sh stop DIR
set -euo pipefail
cmd=${1:?start|stop}; dir=${2:?data dir}
bin=$(ls -d /usr/lib/postgresql/15/bin 2>/dev/null || true)
[ -n "$bin" ] || { echo "pg-cluster: PostgreSQL 15 is not installed" >&2; exit 1; }
as_pg() { if [ "$(id -u)" -eq 0 ]; then runuser -u postgres -- "$@"; else "$@"; fi; }
case "$cmd" in
  start)
    port=${3:?port}
    preload=""
    [ -f "$bin/../lib/pg_stat_statements.so" ] && preload="-c shared_preload_libraries=pg_stat_statements"
    rm -rf "$dir"; mkdir -p "$dir"
    [ "$(id -u)" -eq 0 ] && chown postgres:postgres "$dir"
    as_pg "$bin/initdb" -D "$dir/data" -A trust -U postgres -E UTF8 --locale=C.UTF-8 >"$dir/initdb.log" 2>&1
    as_pg "$bin/pg_ctl" -D "$dir/data" -l "$dir/server.log" -w \
      -o "-p $port -k $dir -c listen_addresses=127.0.0.1 -c fsync=off -c full_page_writes=off -c max_connections=200 $preload" start >/dev/null
    as_pg "$bin/createdb" -h 127.0.0.1 -p "$port" -U postgres tarvo_test
    echo "DRIVER={PostgreSQL ANSI};Server=127.0.0.1;Port=$port;Database=tarvo_test;UID=postgres;PWD=x"
    ;;
  stop)
    [ -d "$dir/data" ] && as_pg "$bin/pg_ctl" -D "$dir/data" -m fast -w stop >/dev/null 2>&1 || true
    rm -rf "$dir"
    ;;
esac
