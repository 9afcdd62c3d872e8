#!/usr/bin/env bash
# The order cycle of the demo agent (agent 3) between three SQLite databases: her laptop
# (agent.db), the web database (web.db) and the company's database (company.db).
#   1004  agent -> web      her orders in state 1 travel, state 2 on both sides
#   4     web -> company    the company takes them over, state 5 on both sides
#         (the company ships one order: state 6)
#   1006  company -> web    the change travels back ...
#   9     web -> agent      ... to the laptop
#   1009  company -> web    the changed invoices ...
#   10    web -> agent      ... and hers on to the laptop
# After each run it prints the orders and invoices of each database. Everything lands in
# build/demo-orders (logs in run.log).
source "$(dirname "$0")/demo-prepare.sh" build/demo-orders

# The laptop and the company start from the demo company, but the company has none of the
# agent's orders yet. The web database starts empty: every customer is new to it.
"$exe" init --db "$demo/agent.db" --demo >/dev/null
"$exe" init --db "$demo/company.db" --demo >/dev/null
"$exe" init --db "$demo/web.db" >/dev/null
sqlite3 "$demo/company.db" <<'SQL'
DELETE FROM VOCI_DOCUMENTO WHERE ID_DOCUMENTO IN (SELECT ID FROM DOCUMENTO WHERE ID_CAUSALE = 15 AND ID_AGENTE_SEDE_SOCIETA = 3);
DELETE FROM DOCUMENTO WHERE ID_CAUSALE = 15 AND ID_AGENTE_SEDE_SOCIETA = 3;
SQL

show() {
  for db in agent web company; do
    echo "  $db.db:"
    sqlite3 -separator '  ' "$demo/$db.db" "
      SELECT CASE D.ID_CAUSALE WHEN 15 THEN 'ordine ' ELSE 'fattura' END, D.SERIE || '/' || D.NUMERO,
             'id ' || D.ID, 'stato ' || IFNULL(D.ID_STATO_ORDINE, '-'), 'modificato ' || D.F_MODIFICATO,
             'righe ' || (SELECT COUNT(*) FROM VOCI_DOCUMENTO V WHERE V.ID_DOCUMENTO = D.ID),
             IFNULL(A.RAGIONESOCIALE, '?') || ' (' || D.CLI_FAT_ID || ')'
      FROM DOCUMENTO D LEFT JOIN AZIENDA A ON A.ID = D.CLI_FAT_ID
      WHERE D.ID_AGENTE_SEDE_SOCIETA = 3 AND (D.SERIE = 'AG' OR D.ID_CAUSALE = 101)
      ORDER BY D.ID_CAUSALE, D.SERIE, D.NUMERO" | sed 's/^/    /'
  done
}

run() {
  local number=$1 from=$2 to=$3
  echo
  echo "demo-orders: tarvo-exchange run $number   ($from.db -> $to.db)"
  "$exe" run "$number" --db "$demo/company.db" --src "$demo/$from.db" --dest "$demo/$to.db" \
    --agent-id 3 --log-file "$demo/run.log" --batch
  show
}

echo "demo-orders: before"
show
run 1004 agent web
run 4 web company
echo
echo "demo-orders: the company ships order AG/1 (state 6)"
sqlite3 "$demo/company.db" "UPDATE DOCUMENTO SET ID_STATO_ORDINE = 6, F_MODIFICATO = 1 WHERE SERIE = 'AG' AND NUMERO = 1"
run 1006 company web
run 9 web agent
run 1009 company web
run 10 web agent
echo
echo "demo-orders: done; databases and run.log in $demo"
