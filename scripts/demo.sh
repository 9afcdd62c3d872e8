#!/usr/bin/env bash
# Sets up, builds, creates the demo company database (SQLite) and runs an exchange procedure on it:
# the Solvar article master export (1008), or, in a build without it, the first sample driver
# export. The procedure's files land in build/demo/out, its log in build/demo/run.log.
source "$(dirname "$0")/demo-prepare.sh" build/demo
mkdir -p "$demo/out"
"$exe" --version
"$exe" init --db "$demo/company.db" --demo --root-dir "$demo/root"
"$exe" list --db "$demo/company.db"

run() {
  echo "demo: tarvo-exchange run $1"
  "$exe" run "$1" --db "$demo/company.db" --root-dir "$demo/root" --out-dir "$demo/out" \
    --log-file "$demo/run.log" --batch
}
rc=0
run 1008 || rc=$?
if [ "$rc" -eq 3 ]; then
  driver=$("$exe" list --db "$demo/company.db" | awk '$2 == "xmlexport" { print $1; exit }')
  if [ -z "$driver" ]; then
    echo "demo: no procedure of this build can run yet"
    exit 0
  fi
  rc=0
  run "$driver" || rc=$?
fi
if [ "$rc" -ne 0 ]; then
  echo "demo: the procedure ended with exit code $rc (log in $demo/run.log)"
  exit "$rc"
fi

# The web shop's photos: draw the demo photos, publish them to the loopback shop (1005), bring a
# second folder up to date from it (5), and write the media catalogue (1001).
python3 scripts/demo-photos.py "$demo/company.db" "$demo/foto"
mkdir -p "$demo/shop" "$demo/foto-dal-negozio"
python3 scripts/webshop-server.py "$demo/shop" --port 0 > "$demo/webshop.out" 2>/dev/null &
shop_pid=$!
trap 'kill $shop_pid 2>/dev/null || true' EXIT
for _ in $(seq 50); do grep -q http "$demo/webshop.out" 2>/dev/null && break; sleep 0.1; done
shop_server=$(sed -n 's|^webshop: \(http://[^/]*\)/.*|\1|p' "$demo/webshop.out")
photos() {
  echo "demo: tarvo-exchange run $1"
  "$exe" run "$1" --db "$demo/company.db" --in-dir "$demo/foto" --out-dir "$2" --http-server "$shop_server" \
    --http-url /catalogo/foto.php --http-user agente --http-password segreta --log-file "$demo/run.log" --batch >/dev/null
}
photos 1005 "$demo/out"
photos 5 "$demo/foto-dal-negozio"
run 1001
echo "demo: done; files in $demo/out, photos in $demo/shop and $demo/foto-dal-negozio, log in $demo/run.log"
ls "$demo/out"
