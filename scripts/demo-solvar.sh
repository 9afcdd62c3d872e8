#!/usr/bin/env bash
# The documents Solvar sends back, loaded into the demo company (SQLite, build/demo-solvar):
#   12  the invoices tests/data/solvar/fatture/*.FAT: invoice 6 to a known customer, invoice 7
#       to a new one (customer, postal zone and branch created), lines and totals recomputed
#   6   the order states tests/data/solvar/stato_ordini/*.tra: order A/5 confirmed (state 3),
#       order AG/4 delivered (state 4), their lines replaced
# The files are copied to build/demo-solvar/in and renamed there once loaded (.FA0, .tr0), so a
# second run of a procedure loads nothing. Logs in run.log.
source "$(dirname "$0")/demo-prepare.sh" build/demo-solvar
mkdir -p "$demo/in"
"$exe" init --db "$demo/company.db" --demo >/dev/null
cp tests/data/solvar/fatture/*.FAT tests/data/solvar/stato_ordini/*.tra "$demo/in/"

show() {
  sqlite3 -separator '  ' "$demo/company.db" "
    SELECT CASE D.ID_CAUSALE WHEN 15 THEN 'ordine ' ELSE 'fattura' END, D.SERIE || '/' || D.NUMERO,
           'stato ' || IFNULL(D.ID_STATO_ORDINE, '-'),
           'righe ' || (SELECT COUNT(*) FROM VOCI_DOCUMENTO V WHERE V.ID_DOCUMENTO = D.ID),
           printf('imponibile %.2f  iva %.2f  totale %.2f', D.TOTALE_IMPONIBILE, D.TOTALE_IVA, D.TOTALE_DOCUMENTO),
           IFNULL(A.RAGIONESOCIALE, '?') || ' (' || D.CLI_FAT_ID || ')'
    FROM DOCUMENTO D LEFT JOIN AZIENDA A ON A.ID = D.CLI_FAT_ID
    WHERE (D.ID_CAUSALE = 101 AND D.NUMERO IN (6, 7)) OR D.ID IN (5, 33)
    ORDER BY D.ID_CAUSALE DESC, D.SERIE, D.NUMERO" | sed 's/^/    /'
  echo "    files: $(ls "$demo/in" | tr '\n' ' ')"
}

run() {
  echo
  echo "demo-solvar: tarvo-exchange run $1"
  "$exe" run "$1" --db "$demo/company.db" --dest "$demo/company.db" --in-dir "$demo/in" \
    --precisione/prezzi 2 --precisione/totali 2 --log-file "$demo/run.log" --batch
  show
}

echo "demo-solvar: before"
show
run 12
run 6
echo
echo "demo-solvar: done; database and run.log in $demo"
