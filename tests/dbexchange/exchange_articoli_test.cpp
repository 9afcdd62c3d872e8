#include "dbexchange/exchange_articoli.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <thread>

#include "two_database_fixture.h"

using namespace tarvo;
using namespace tarvo::test;

namespace {

// The columns the exchange copies, per table, and the key to order them by.
struct CopiedTable {
  const char* table;
  const char* key;
  const char* columns;
};
const CopiedTable kTables[] = {
    {"CATEGORIA", "ID", "ID, DESCRIZIONE, NOTE, FOTO"},
    {"FAMIGLIA", "ID", "ID, DESCRIZIONE, ID_CATEGORIA, NOTE, FOTO"},
    {"GRUPPO", "ID", "ID, DESCRIZIONE, NOTE, FOTO"},
    {"IVA", "CODICE", "CODICE, DESCRIZIONE, ALIQUOTA"},
    {"UNITA_MISURA", "ID", "ID, DESCRIZIONE"},
    {"ARTICOLO", "ID",
     "ID, CODICE_BARRE, CODICE_ALTERNATIVO, DESCRIZIONE, DESCRIZIONE_BREVE, ID_UNITA_MISURA, CODICE_IVA, "
     "ID_CATEGORIA, ID_FAMIGLIA, ID_GRUPPO, ID_CLASSE, PREZZO, PREZZO_2, COSTO, SCONTO_1, SCONTO_2, SCONTO_3, "
     "PROVVIGIONE, CONFEZIONE, PREZZO_ACQUISTO, PESO, VOLUME, SCORTA_MINIMA, QTA_RIORDINO, PRODUTTORE, NOTE, FOTO"},
};

// The six tables ordered by their keys: the copied columns only, or every column (the whole state
// of the destination).
std::map<std::string, std::vector<std::string>> Tables(CDatabase& db, bool copiedOnly = true) {
  std::map<std::string, std::vector<std::string>> all;
  for (const CopiedTable& t : kTables)
    all[t.table] = Rows(db, StrFormat("SELECT %s FROM %s ORDER BY %s", copiedOnly ? t.columns : "*", t.table, t.key));
  return all;
}

class ArticleExchange : public TwoDatabaseTest {
 protected:
  // A procedure of the given direction between the two databases, not yet run.
  std::unique_ptr<CTarvoExchangeArticoli> Make(bool exportDirection = true) {
    std::unique_ptr<CTarvoExchangeArticoli> p;
    if (exportDirection) p = std::make_unique<CTarvoExportWebArticoli>();
    else p = std::make_unique<CTarvoImportWebArticoli>();
    p->SetSrcConfig(Source().Config());
    p->SetDestConfig(Destination().Config());
    p->SetParentWnd(&window_);
    p->SetEventStop(stop_);
    p->SetVerbose(false);
    return p;
  }

  // Runs a procedure (the export unless given) to its end.
  int Run(std::unique_ptr<CTarvoExchangeArticoli> p = nullptr) {
    if (!p) p = Make();
    int result = p->Run();
    window_.WaitFinished();
    return result;
  }

  // Runs the export on a worker thread and raises the stop event as soon as `line` is logged.
  int RunExportStoppingAt(const std::string& line) {
    auto p = Make();
    int result = -99;
    std::thread worker([&] { result = p->Run(); });
    EXPECT_TRUE(window_.WaitForLine(line)) << line;
    stop_.SetEvent();
    worker.join();
    window_.WaitFinished();
    return result;
  }

  // `count` rows of the source keyed PREFIX00001 and up, so that a stop request reaches a step's loop
  // while it runs; `rest` gives the other columns.
  void AddNumberedRows(const char* table, const char* columns, const char* prefix, const char* rest, int count) {
    if (Source().Kind() == DbKind::kSQLite)
      Source().Execute(StrFormat("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < %d) "
                                 "INSERT INTO %s (%s) SELECT printf('%s%%05d', i), %s FROM n",
                                 count, table, columns, prefix, rest));
    else
      Source().Execute(StrFormat("INSERT INTO %s (%s) SELECT '%s' || lpad(i::text, 5, '0'), %s "
                                 "FROM generate_series(1, %d) AS i",
                                 table, columns, prefix, rest, count));
  }

};

}  // namespace

// --- copying -----------------------------------------------------------------------------------
// The second run also shows that an empty "parametro" selects every row.
TEST_P(ArticleExchange, CopiesEveryRowIntoAnEmptyDatabaseAndASecondRunChangesNothing) {
  Source().LoadSchema("demo/demo.sql");
  ASSERT_EQ(Run(), 1);
  EXPECT_EQ(window_.Result(), 1);
  EXPECT_EQ(Tables(Destination().Db()), Tables(Source().Db()));
  EXPECT_EQ(Rows(Destination().Db(), "SELECT COUNT(*) FROM ARTICOLO").at(0), "30|");

  auto afterFirst = Tables(Destination().Db(), false);
  RecordingWindow second;
  auto again = Make();
  again->SetParentWnd(&second);
  again->SetFilterParam("parametro", "");
  ASSERT_EQ(again->Run(), 1);
  EXPECT_EQ(Tables(Destination().Db(), false), afterFirst);
}

// Rows the destination already holds as they are need no write; a row that differs in any one
// copied column (a price, a text, a NULL on either side) is still written.
TEST_P(ArticleExchange, ASecondRunRewritesEveryRowChangedInTheDestination) {
  Source().LoadSchema("demo/demo.sql");
  ASSERT_EQ(Run(), 1);
  auto afterFirst = Tables(Destination().Db(), false);
  Destination().Execute("UPDATE ARTICOLO SET PREZZO = PREZZO + 0.01 WHERE ID = (SELECT MIN(ID) FROM ARTICOLO)");
  Destination().Execute("UPDATE ARTICOLO SET DESCRIZIONE = DESCRIZIONE || 'x' WHERE ID = (SELECT MAX(ID) FROM ARTICOLO)");
  Destination().Execute("UPDATE ARTICOLO SET NOTE = CASE WHEN NOTE IS NULL THEN 'n' END");
  Destination().Execute("UPDATE CATEGORIA SET FOTO = NULL");
  RecordingWindow second;
  auto again = Make();
  again->SetParentWnd(&second);
  ASSERT_EQ(again->Run(), 1);
  second.WaitFinished();
  EXPECT_EQ(Tables(Destination().Db(), false), afterFirst);
}

// A NULL of the source overwrites the target's value; the columns the exchange does not copy keep
// the target's values, or the defaults in a new row.
TEST_P(ArticleExchange, ExistingRowsAreOverwrittenInTheCopiedColumnsOnlyAndNoneIsDeleted) {
  Source().Execute("INSERT INTO CATEGORIA (ID, DESCRIZIONE) VALUES ('01', 'Nuova')");
  Source().Execute("INSERT INTO ARTICOLO (ID, DESCRIZIONE, F_ATTIVO, DATA_INSERIMENTO, FOTO) "
                   "VALUES ('A1', 'Nuova', 0, '2026-01-01 09:00:00', 'a1.jpg')");
  Source().Execute("INSERT INTO ARTICOLO (ID, DESCRIZIONE, F_ATTIVO, FOTO) VALUES ('A2', 'Altro', 0, 'a2.jpg')");
  Destination().Execute("INSERT INTO CATEGORIA (ID, DESCRIZIONE, NOTE) VALUES ('01', 'Vecchia', 'nota')");
  Destination().Execute("INSERT INTO CATEGORIA (ID, DESCRIZIONE) VALUES ('77', 'Solo sul web')");
  Destination().Execute("INSERT INTO ARTICOLO (ID, DESCRIZIONE, F_ATTIVO, DATA_MODIFICA) "
                        "VALUES ('A1', 'Vecchia', 0, '2025-05-05 10:00:00')");
  ASSERT_EQ(Run(), 1);
  EXPECT_EQ(Rows(Destination().Db(), "SELECT ID, DESCRIZIONE, NOTE FROM CATEGORIA ORDER BY ID"),
            (std::vector<std::string>{"01|Nuova|<null>|", "77|Solo sul web|<null>|"}));
  EXPECT_EQ(Rows(Destination().Db(),
                 "SELECT ID, DESCRIZIONE, F_ATTIVO, DATA_INSERIMENTO, DATA_MODIFICA, FOTO FROM ARTICOLO ORDER BY ID"),
            (std::vector<std::string>{"A1|Nuova|0|<null>|2025-05-05 10:00:00|a1.jpg|",
                                      "A2|Altro|1|<null>|<null>|a2.jpg|"}));
}

TEST_P(ArticleExchange, QuotedCategoryIsFoundAndKeptButQuotedArticleArrivesDoubled) {
  Source().Execute("INSERT INTO CATEGORIA (ID, DESCRIZIONE) VALUES ('C''1', 'Nuova')");
  Source().Execute("INSERT INTO ARTICOLO (ID, DESCRIZIONE) VALUES ('A''1', 'Con apice')");
  Destination().Execute("INSERT INTO CATEGORIA (ID, DESCRIZIONE) VALUES ('C''1', 'Vecchia')");
  ASSERT_EQ(Run(), 1);
  EXPECT_EQ(Rows(Destination().Db(), "SELECT ID, DESCRIZIONE FROM CATEGORIA"),
            std::vector<std::string>{"C'1|Nuova|"});
  EXPECT_EQ(Rows(Destination().Db(), "SELECT ID FROM ARTICOLO"), std::vector<std::string>{"A''1|"});
  EXPECT_TRUE(window_.HasLine("Controllo articolo A'1 - Con apice.")) << "logged before the doubling";
}

// --- the "parametro" filter --------------------------------------------------------------------
TEST_P(ArticleExchange, ParametroNarrowsCategoriesFamiliesAndArticlesOnly) {
  Source().LoadSchema("demo/demo.sql");
  auto p = Make();
  p->SetFilterParam("parametro", "'02','04'");
  ASSERT_EQ(Run(std::move(p)), 1);
  CDatabase& db = Destination().Db();
  EXPECT_EQ(Rows(db, "SELECT ID FROM CATEGORIA ORDER BY ID"), (std::vector<std::string>{"02|", "04|"}));
  EXPECT_EQ(Rows(db, "SELECT DISTINCT ID_CATEGORIA FROM FAMIGLIA ORDER BY ID_CATEGORIA"),
            (std::vector<std::string>{"02|", "04|"}));
  EXPECT_EQ(Rows(db, "SELECT DISTINCT ID_CATEGORIA FROM ARTICOLO ORDER BY ID_CATEGORIA"),
            (std::vector<std::string>{"02|", "04|"}));
  auto copied = Tables(db), all = Tables(Source().Db());
  for (const char* whole : {"GRUPPO", "IVA", "UNITA_MISURA"}) EXPECT_EQ(copied[whole], all[whole]) << whole;
}

// --- stop and failure --------------------------------------------------------------------------
TEST_P(ArticleExchange, StopDuringTheArticleStepRollsEverythingBack) {
  Source().LoadSchema("demo/demo.sql");
  AddNumberedRows("ARTICOLO", "ID, DESCRIZIONE, ID_CATEGORIA", "ZZ", "'Articolo di prova', '01'", 3000);
  Destination().Execute("INSERT INTO CATEGORIA (ID, DESCRIZIONE) VALUES ('01', 'Prima')");
  auto before = Tables(Destination().Db(), false);

  EXPECT_EQ(RunExportStoppingAt("Inizio esportazione articoli."), 0);
  EXPECT_EQ(window_.Result(), 0);
  EXPECT_EQ(Tables(Destination().Db(), false), before);
  EXPECT_TRUE(window_.HasLine("Operazione interrotta dall'utente."));
  EXPECT_TRUE(window_.HasLine("Operazione fallita."));
  EXPECT_FALSE(window_.HasLine("Controllo articolo ZZ03000 - Articolo di prova."));
  std::vector<std::string> texts = window_.Texts();
  ASSERT_GE(texts.size(), 2u);
  EXPECT_EQ(texts[texts.size() - 2], "Fine esportazione articoli.");
}

TEST_P(ArticleExchange, StopDuringTheFamilyStepStartsNoLaterStep) {
  Source().LoadSchema("demo/demo.sql");
  AddNumberedRows("FAMIGLIA", "ID, ID_CATEGORIA", "F", "'01'", 3000);

  EXPECT_EQ(RunExportStoppingAt("Inizio esportazione famiglie."), 0);
  EXPECT_TRUE(Tables(Destination().Db())["CATEGORIA"].empty()) << "the categories written are rolled back";
  for (const char* never : {"Fine esportazione famiglie.", "Inizio esportazione gruppi.", "Inizio esportazione articoli."})
    EXPECT_FALSE(window_.HasLine(never)) << never;
  EXPECT_TRUE(window_.HasLine("Operazione interrotta dall'utente"));
}

TEST_P(ArticleExchange, DatabaseErrorInTheArticleStepRollsEverythingBack) {
  Source().LoadSchema("demo/demo.sql");
  Destination().Execute("INSERT INTO GRUPPO (ID, DESCRIZIONE) VALUES ('NA', 'Prima')");
  // The destination refuses one article half-way through the article step.
  if (Destination().Kind() == DbKind::kSQLite) {
    Destination().Execute("CREATE TRIGGER REFUSE_CAS001 BEFORE INSERT ON ARTICOLO WHEN NEW.ID = 'CAS001' "
                          "BEGIN SELECT RAISE(ABORT, 'articolo rifiutato'); END");
  } else {
    Destination().Db().ExecuteScript(
        "CREATE FUNCTION REFUSE_CAS001() RETURNS trigger AS $$ BEGIN "
        "IF NEW.ID = 'CAS001' THEN RAISE EXCEPTION 'articolo rifiutato'; END IF; RETURN NEW; END $$ "
        "LANGUAGE plpgsql;"
        "CREATE TRIGGER REFUSE_CAS001 BEFORE INSERT ON ARTICOLO FOR EACH ROW EXECUTE FUNCTION REFUSE_CAS001();");
  }
  auto before = Tables(Destination().Db(), false);

  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(window_.Result(), 0);
  EXPECT_EQ(Tables(Destination().Db(), false), before);
  EXPECT_TRUE(window_.HasLine("Controllo articolo CAS001 - Pentola in acciaio inox diametro 24 cm."));
  std::vector<std::string> texts = window_.Texts();
  auto failed = std::find(texts.begin(), texts.end(), "Operazione fallita.");
  ASSERT_NE(failed, texts.end());
  EXPECT_NE(failed[-1].find("articolo rifiutato"), std::string::npos) << failed[-1];
  EXPECT_EQ(texts.back(), "---------------------------------");
  EXPECT_EQ(texts[texts.size() - 2], "Fine esportazione articoli.");
}

TEST_P(ArticleExchange, UnreachableDatabaseOnEitherSideEndsTheRunBeforeItsRecords) {
  for (bool source : {true, false}) {
    RecordingWindow window;
    auto p = Make();
    p->SetParentWnd(&window);
    if (source) p->SetSrcConfig("DRIVER={No Such Driver};DATABASE=x");
    else p->SetDestConfig("DRIVER={No Such Driver};DATABASE=x");
    EXPECT_EQ(p->Run(), 0);
    window.WaitFinished();
    EXPECT_EQ(window.Result(), 0);
    EXPECT_EQ(window.FinishedCount(), 1);
    EXPECT_FALSE(window.HasLine("Fine esportazione articoli.")) << source;
    EXPECT_EQ(window.HasLine("Database sorgente chiuso."), !source) << "an opened source is closed";
  }
}

INSTANTIATE_TEST_SUITE_P(Routes, ArticleExchange, Routes(), RouteName);

// --- the log of a run, line by line (one route is enough: the lines do not depend on drivers) --
class ArticleExchangeLog : public ArticleExchange {};

TEST_P(ArticleExchangeLog, ImportLogsEveryStepWithItsWordsAndNoStartLineForUnits) {
  Source().Execute("INSERT INTO CATEGORIA (ID, DESCRIZIONE) VALUES ('01', 'Alimentari')");
  Source().Execute("INSERT INTO FAMIGLIA (ID, DESCRIZIONE) VALUES ('11', 'Pasta')");
  Source().Execute("INSERT INTO GRUPPO (ID, DESCRIZIONE) VALUES ('NA', 'Nazionale')");
  Source().Execute("INSERT INTO IVA (CODICE, DESCRIZIONE) VALUES ('22', 'Ordinaria')");
  Source().Execute("INSERT INTO UNITA_MISURA (ID, DESCRIZIONE) VALUES ('PZ', 'Pezzi')");
  Source().Execute(W("INSERT INTO ARTICOLO (ID, CODICE_BARRE, DESCRIZIONE) VALUES ('A1', 'X', 'Caffè')"));
  EXPECT_EQ(Run(Make(false)), 1);
  const std::string sep = "---------------------------------";
  std::vector<std::pair<std::string, int>> expected = {
      {"Database sorgente aperto.", TMS_INFO},
      {"Database destinazione aperto.", TMS_INFO},
      {sep, TMS_NONE},
      {"Inizio importazione categorie.", TMS_NONE},
      {" - Controllo categoria 01 - Alimentari.", TMS_NONE},
      {"Fine importazione categorie.", TMS_NONE},
      {sep, TMS_NONE},
      {"Inizio importazione famiglie.", TMS_NONE},
      {" - Controllo famiglia 11 - Pasta.", TMS_NONE},
      {"Fine importazione famiglie.", TMS_NONE},
      {sep, TMS_NONE},
      {"Inizio importazione gruppi.", TMS_NONE},
      {" - Controllo gruppo NA - Nazionale.", TMS_NONE},
      {"Fine importazione gruppi.", TMS_NONE},
      {sep, TMS_NONE},
      {"Inizio importazione aliquote IVA.", TMS_NONE},
      {" - Controllo aliquota IVA 22.", TMS_NONE},
      {"Fine importazione aliquote IVA.", TMS_NONE},
      {sep, TMS_NONE},
      {W(" - Controllo unità di misura PZ."), TMS_NONE},
      {W("Fine importazione unità di misura."), TMS_NONE},
      {sep, TMS_NONE},
      {"Inizio importazione articoli.", TMS_NONE},
      {W("Controllo articolo A1 - Caffè."), TMS_NONE},
      {"Operazione completata con successo.", TMS_NONE},
      {"Database destinazione chiuso.", TMS_INFO},
      {"Database sorgente chiuso.", TMS_INFO},
      {"Fine importazione articoli.", TMS_NONE},
      {sep, TMS_NONE},
  };
  std::vector<std::pair<std::string, int>> actual;
  for (const PostedLine& l : window_.Lines()) actual.emplace_back(l.text, l.status);
  EXPECT_EQ(actual, expected);
}

TEST_P(ArticleExchangeLog, StopBeforeTheFirstRowLogsBothInterruptionLines) {
  Source().Execute("INSERT INTO CATEGORIA (ID, DESCRIZIONE) VALUES ('01', 'Alimentari')");
  stop_.SetEvent();
  EXPECT_EQ(Run(), 0);
  std::vector<std::pair<std::string, int>> tail;
  const auto& lines = window_.Lines();
  for (size_t i = 4; i < lines.size(); ++i) tail.emplace_back(lines[i].text, lines[i].status);
  std::vector<std::pair<std::string, int>> expected = {
      {"Operazione interrotta dall'utente.", TMS_ERROR},
      {"Operazione interrotta dall'utente", TMS_NONE},
      {"Operazione fallita.", TMS_NONE},
      {"Database destinazione chiuso.", TMS_INFO},
      {"Database sorgente chiuso.", TMS_INFO},
      {"Fine esportazione articoli.", TMS_NONE},
      {"---------------------------------", TMS_NONE},
  };
  EXPECT_EQ(tail, expected);
}

INSTANTIATE_TEST_SUITE_P(Routes, ArticleExchangeLog, testing::Values(Route{DbKind::kSQLite, DbKind::kSQLite}),
                         RouteName);
