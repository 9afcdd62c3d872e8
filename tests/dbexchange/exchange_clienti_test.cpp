#include "dbexchange/exchange_clienti.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>

#include "dbexchange/export_web_clienti.h"
#include "dbexchange/import_agente_clienti.h"
#include "platform/settings.h"
#include "two_database_fixture.h"

using namespace tarvo;
using namespace tarvo::test;

namespace {

using Lines = std::vector<std::string>;

// What a customer exchange writes, keyed so that databases with different keys compare equal.
std::map<std::string, Lines> Customers(CDatabase& db) {
  return {
      {"bands", Rows(db, "SELECT * FROM SCONTO ORDER BY ID")},
      {"terms", Rows(db, "SELECT * FROM FORMULA_PAGAMENTO ORDER BY ID")},
      {"companies", Rows(db, "SELECT RAGIONESOCIALE, RAGIONESOCIALE2, PARTITAIVA, CODICEFISCALE, CODICE_CLIENTE, "
                             "FIDO, SCONTO_1, LISTINO, F_CLIENTE, ID_FORMULA_PAGAMENTO FROM AZIENDA "
                             "ORDER BY RAGIONESOCIALE")},
      // The first branch of each company with its zone.
      {"branches", Rows(db, "SELECT A.RAGIONESOCIALE, S.DESCRIZIONE, S.INDIRIZZO, S.F_SEDE_PRINCIPALE, Z.CAP, "
                            "Z.NOMEZONAPOSTALE, Z.SIGLAPROVINCIA FROM AZIENDA A JOIN SEDE S ON S.IDAZIENDA = A.ID "
                            "JOIN ZONA_POSTALE Z ON Z.ID = S.IDZONAPOSTALE "
                            "WHERE S.ID = (SELECT MIN(ID) FROM SEDE WHERE IDAZIENDA = A.ID) ORDER BY A.RAGIONESOCIALE")},
      {"discounts", Rows(db, "SELECT A.RAGIONESOCIALE, D.ID_SCONTO, D.ID_AGENTE FROM AZIENDA_SCONTO D "
                             "JOIN AZIENDA A ON A.ID = D.ID_AZIENDA ORDER BY A.RAGIONESOCIALE")},
  };
}

// Every row of the tables a customer exchange writes, keys included.
Lines Everything(CDatabase& db) {
  Lines all;
  for (const char* table : {"SCONTO", "FORMULA_PAGAMENTO", "AZIENDA", "SEDE", "ZONA_POSTALE", "CC_USER", "AZIENDA_SCONTO"}) {
    Lines rows = Rows(db, StrFormat("SELECT * FROM %s ORDER BY 1", table));
    all.push_back(table);
    all.insert(all.end(), rows.begin(), rows.end());
  }
  return all;
}

class CustomerExchange : public TwoDatabaseTest {};

}  // namespace

// 1003 from the demo company into an empty web database, then 14 from there into an empty agent
// database: the agent gets exactly its own customers.
TEST_P(CustomerExchange, ExportToWebThenImportToAgentAndSecondRunsChangeNothing) {
  Source().LoadSchema("demo/demo.sql");
  CTarvoExportWebClienti exportRun;
  ASSERT_EQ(RunProcedure(exportRun), 1);
  EXPECT_EQ(window_.Result(), 1);
  EXPECT_EQ(Customers(Destination().Db()), Customers(Source().Db()));
  EXPECT_EQ(Rows(Destination().Db(), "SELECT COUNT(*) FROM SEDE").at(0), "9|") << "only the first branch";
  EXPECT_EQ(Rows(Destination().Db(), "SELECT COUNT(*) FROM AZIENDA_SCONTO WHERE ID_LISTINO IS NOT NULL").at(0), "0|");
  EXPECT_EQ(Rows(Destination().Db(), "SELECT A.RAGIONESOCIALE, U.USERNAME, U.PASSWORD, U.TIPO, U.STATO FROM CC_USER U "
                                     "JOIN AZIENDA A ON A.ID = U.IDREFERENCE WHERE A.PARTITAIVA IS NULL OR A.CODICEFISCALE IS NULL "
                                     "ORDER BY 1"),
            Lines{"Associazione Sportiva Dilettantistica Pegaso|000108|91234560372|AZI|A|"});
  EXPECT_EQ(Rows(Destination().Db(), "SELECT COUNT(*) FROM CC_USER").at(0), "9|");

  const Lines web = Everything(Destination().Db());
  CTarvoExportWebClienti again;
  RecordingWindow againWindow;
  ASSERT_EQ(RunProcedure(again, &againWindow), 1);
  EXPECT_EQ(Everything(Destination().Db()), web);
  EXPECT_TRUE(againWindow.HasLine(" - Cliente trovato: Associazione Sportiva Dilettantistica Pegaso - PIVA:  - CF: 91234560372"));

  // The agent 3 takes its customers from the web database.
  CUserAdministrator::SetCurrentUser(3, 1, 0);
  ScratchDatabase agent(GetParam().source);
  agent.LoadSchema("company.sql");
  Lines afterFirst;
  for (int run = 0; run < 2; ++run) {
    CTarvoImportAgenteClienti importRun;
    RecordingWindow importWindow;
    ASSERT_EQ(RunProcedure(importRun, &importWindow, Destination().Config(), agent.Config()), 1);
    std::map<std::string, Lines> own = Customers(agent.Db()), all = Customers(Source().Db());
    EXPECT_EQ(own["bands"], all["bands"]);
    EXPECT_EQ(own["terms"], all["terms"]);
    EXPECT_EQ(own["discounts"],
              (Lines{"Alimentari Rossi S.n.c.|C|3|", W("Bar Caffè Centrale|B|3|"), "Panificio Lombardi S.r.l.|C|3|"}));
    ASSERT_EQ(own["branches"].size(), 3u);
    EXPECT_EQ(own["branches"][2], "Panificio Lombardi S.r.l.|Sede principale|Via Cavour 21|1|23900|Lecco|LC|");
    EXPECT_EQ(Rows(agent.Db(), "SELECT COUNT(*) FROM CC_USER").at(0), "0|");
    Lines texts = importWindow.Texts();
    auto customers = std::find(texts.begin(), texts.end(), "Avvio esportazione clienti ...");
    ASSERT_NE(customers, texts.end());
    EXPECT_EQ(customers[-1], "Importazione formule di pagamento terminata.");
    EXPECT_EQ(texts[texts.size() - 3], "Importazione clienti termita con successo.");
    if (run == 0) afterFirst = Everything(agent.Db());
    else EXPECT_EQ(Everything(agent.Db()), afterFirst);
  }
}

// Matching on 1003: one tax code is enough, the web user is searched zero-padded but stored as
// read, and only the first branch on each side is touched.
TEST_P(CustomerExchange, CompaniesMatchOnEitherTaxCodeAndTheWebUserKeepsTheCodeAsRead) {
  Source().Execute("INSERT INTO AZIENDA (ID, RAGIONESOCIALE, PARTITAIVA, CODICEFISCALE, CODICE_CLIENTE) "
                   "VALUES (1, 'Uno', 'P1', 'C''1', '42')");
  Source().Execute("INSERT INTO AZIENDA (ID, RAGIONESOCIALE, CODICEFISCALE, CODICE_CLIENTE) VALUES (2, 'Due', 'C2', '7')");
  Source().Execute("INSERT INTO ZONA_POSTALE (ID, CAP, NOMEZONAPOSTALE) VALUES (1, '00100', 'Sant''Angelo')");
  Source().Execute("INSERT INTO SEDE (ID, IDAZIENDA, DESCRIZIONE, IDZONAPOSTALE) VALUES (1, 1, 'Prima', 1)");
  Source().Execute("INSERT INTO SEDE (ID, IDAZIENDA, DESCRIZIONE, IDZONAPOSTALE) VALUES (2, 1, 'Seconda', 1)");
  Destination().Execute("INSERT INTO AZIENDA (ID, RAGIONESOCIALE, PARTITAIVA, CODICEFISCALE) VALUES (50, 'Vecchia', 'PX', 'C''1')");
  Destination().Execute("INSERT INTO ZONA_POSTALE (ID, CAP, NOMEZONAPOSTALE) VALUES (8, '00100', 'Sant''Angelo')");
  Destination().Execute("INSERT INTO SEDE (ID, IDAZIENDA, DESCRIZIONE) VALUES (60, 50, 'Vecchia prima')");
  Destination().Execute("INSERT INTO SEDE (ID, IDAZIENDA, DESCRIZIONE) VALUES (61, 50, 'Vecchia seconda')");
  Destination().Execute("INSERT INTO CC_USER (ID, USERNAME) VALUES (5, '000042')");
  CTarvoExportWebClienti run;
  ASSERT_EQ(RunProcedure(run), 1);
  CDatabase& web = Destination().Db();
  EXPECT_EQ(Rows(web, "SELECT ID, RAGIONESOCIALE, PARTITAIVA FROM AZIENDA ORDER BY ID"),
            (Lines{"50|Uno|P1|", "100001|Due|<null>|"}));
  EXPECT_EQ(Rows(web, "SELECT ID, DESCRIZIONE, IDZONAPOSTALE FROM SEDE WHERE IDAZIENDA = 50 ORDER BY ID"),
            (Lines{"60|Prima|8|", "61|Vecchia seconda|<null>|"}));
  EXPECT_EQ(Rows(web, "SELECT ID, USERNAME, PASSWORD, IDREFERENCE FROM CC_USER ORDER BY ID"),
            (Lines{"5|42|P1|50|", "100001|7|C2|100001|"}));
  EXPECT_TRUE(window_.HasLine(" - Cliente trovato: Uno - PIVA: P1 - CF: C'1"));
  EXPECT_TRUE(window_.HasLine(" - Sede trovata per il cliente: Uno - PIVA: P1 - CF: C'1"));
}

// --- stop and failure --------------------------------------------------------------------------
// A failure in any stage leaves the web database without any band, term or company of the run.
TEST_P(CustomerExchange, DatabaseErrorInAnyStageRollsTheWholeRunBack) {
  struct Fault {
    const char* what;
    std::function<void(ScratchDatabase& source, ScratchDatabase& destination)> make;
  };
  const Fault faults[] = {
      {"quoted band ID", [](ScratchDatabase& s, ScratchDatabase&) { s.Execute("INSERT INTO SCONTO (ID) VALUES ('Z''Z')"); }},
      {"refused company", [](ScratchDatabase&, ScratchDatabase& d) { RefuseInsert(d, "AZIENDA", "RAGIONESOCIALE", "'Panificio Lombardi S.r.l.'"); }},
  };
  for (const Fault& fault : faults) {
    ScratchDatabase source(GetParam().source), web(GetParam().destination);
    source.LoadSchema("company.sql");
    source.LoadSchema("demo/demo.sql");
    web.LoadSchema("company.sql");
    fault.make(source, web);
    CTarvoExportWebClienti run;
    RecordingWindow window;
    EXPECT_EQ(RunProcedure(run, &window, source.Config(), web.Config()), 0) << fault.what;
    EXPECT_EQ(window.Result(), 0);
    EXPECT_EQ(Everything(web.Db()), Everything(Destination().Db())) << fault.what;
    Lines texts = window.Texts();
    ASSERT_GE(texts.size(), 3u);
    EXPECT_EQ(texts[texts.size() - 3], "Esportazione clienti fallita.") << fault.what;
  }
}

TEST_P(CustomerExchange, StopAmongTheBandsStillStartsThePaymentTerms) {
  Source().LoadSchema("demo/demo.sql");
  stop_.SetEvent();
  CTarvoExportWebClienti run;
  EXPECT_EQ(RunProcedure(run), 0);
  EXPECT_EQ(window_.Result(), 0);
  Lines texts = window_.Texts();
  EXPECT_EQ(Lines(texts.begin() + 2, texts.end() - 2),
            (Lines{"Avvio esportazione fasce sconto ...", "Operazione interrotta dall'utente.",
                   "Operazione interrotta dall'utente", "Avvio esportazione formule di pagamento ...",
                   "Operazione interrotta dall'utente.", "Operazione interrotta dall'utente",
                   "Esportazione clienti fallita."}));
  EXPECT_EQ(Rows(Destination().Db(), "SELECT COUNT(*) FROM SCONTO").at(0), "0|");
}

INSTANTIATE_TEST_SUITE_P(Routes, CustomerExchange, Routes(), RouteName);
