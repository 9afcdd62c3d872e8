#include "dbexchange/import_giacenze.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "platform/settings.h"
#include "two_database_fixture.h"

using namespace tarvo;
using namespace tarvo::test;

namespace {

// A run that starts on the last second of 2026: any later reading of the clock would give 2027.
class YearEndImport : public CTarvoImportGiacenze {
 protected:
  CDBTimestamp Today() const override {
    return calls_++ == 0 ? CDBTimestamp{2026, 12, 31, 23, 59, 59} : CDBTimestamp{2027, 1, 1, 0, 0, 0};
  }

 private:
  mutable int calls_ = 0;
};

const char kStock[] = "SELECT * FROM MOVIMENTO_ARTICOLO_DEPOSITO WHERE ANNO = 2026 %s ORDER BY ID_ARTICOLO, ID_DEPOSITO";
// The figures of the company totals and of the control view (whose dates the drivers print
// differently).
#define FIGURES "ID_ARTICOLO, ID_SOCIETA, ANNO, GIACENZA_INIZIALE, CARICO, SCARICO, GIACENZA, ORDINATO, IMPEGNATO, DISPONIBILE"
const char kTotals[] = "SELECT " FIGURES " FROM MOVIMENTO_ARTICOLO_SOCIETA ORDER BY ID_ARTICOLO";
const char kControl[] = "SELECT " FIGURES " FROM CTRL_MOVIMENTO_ARTICOLO_SOCIETA WHERE ANNO = 2026 ORDER BY ID_ARTICOLO";

class StockImport : public TwoDatabaseTest {
 protected:
  // The demo company on both sides; the destination without its stock and without CAS004.
  void SetUp() override {
    TwoDatabaseTest::SetUp();
    if (IsSkipped() || HasFailure()) return;
    CUserAdministrator::SetCurrentUser(0, 1, 0);
    Source().LoadSchema("demo/demo.sql");
    Destination().LoadSchema("demo/demo.sql");
    for (const char* sql : {"DELETE FROM MOVIMENTO_ARTICOLO_DEPOSITO", "DELETE FROM MOVIMENTO_ARTICOLO_SOCIETA",
                            "DELETE FROM ARTICOLO WHERE ID = 'CAS004'"})
      Destination().Execute(sql);
  }
  std::vector<std::string> Stock(CDatabase& db, const char* where = "") { return Rows(db, StrFormat(kStock, where)); }
  // The lines of the totals stage.
  std::vector<std::string> TotalsLines(const RecordingWindow& window) {
    std::vector<std::string> texts = window.Texts();
    auto start = std::find(texts.begin(), texts.end(), " - Avvio aggiornamento giacenze totali");
    auto end = std::find(texts.begin(), texts.end(), "Database destinazione chiuso.");
    return start == texts.end() ? std::vector<std::string>{} : std::vector<std::string>(start + 1, end);
  }
};

}  // namespace

TEST_P(StockImport, CopiesTheYearsStockOfKnownArticlesAndRebuildsTheTotals) {
  Source().Execute("INSERT INTO MOVIMENTO_ARTICOLO_DEPOSITO (ID_ARTICOLO, ID_DEPOSITO, ANNO, GIACENZA) "
                   "VALUES ('ZZ''1', 2, 2026, 4)");
  Destination().Execute("INSERT INTO ARTICOLO (ID, DESCRIZIONE) VALUES ('ZZ''1', 'Con apice')");
  YearEndImport run;
  ASSERT_EQ(RunProcedure(run), 1);
  EXPECT_EQ(window_.Result(), 1);
  EXPECT_EQ(Stock(Destination().Db()), Stock(Source().Db(), "AND ID_ARTICOLO <> 'CAS004'"));
  EXPECT_EQ(Rows(Destination().Db(), "SELECT COUNT(*) FROM MOVIMENTO_ARTICOLO_DEPOSITO WHERE ANNO <> 2026").at(0), "0|");
  EXPECT_EQ(Rows(Destination().Db(), kTotals), Rows(Destination().Db(), kControl));
  EXPECT_TRUE(window_.HasLine(" -- Articolo non trovato. Continuo con il prossino ..."));
  EXPECT_TRUE(window_.HasLine(" - Avvio aggiornamento giacenze per il deposito 3"));
  EXPECT_FALSE(window_.HasLine("Operazione completata con successo."));
  EXPECT_EQ(window_.Texts().back(), "---------------------------------");
  // The totals lines name the last article looked up among the warehouses, "ZZ'1" of warehouse 2.
  std::vector<std::string> totals = TotalsLines(window_);
  ASSERT_EQ(totals.size(), Rows(Destination().Db(), kControl).size());
  for (const std::string& line : totals)
    EXPECT_EQ(line, " -- Giacenze per l'articolo ZZ'1 non trovate. Inserimento nuove giacenze ...");

  auto stock = Rows(Destination().Db(), "SELECT * FROM MOVIMENTO_ARTICOLO_DEPOSITO ORDER BY ID_ARTICOLO, ID_DEPOSITO");
  auto companyTotals = Rows(Destination().Db(), kTotals);
  YearEndImport second;
  RecordingWindow secondWindow;
  ASSERT_EQ(RunProcedure(second, &secondWindow), 1);
  EXPECT_EQ(Rows(Destination().Db(), "SELECT * FROM MOVIMENTO_ARTICOLO_DEPOSITO ORDER BY ID_ARTICOLO, ID_DEPOSITO"), stock);
  EXPECT_EQ(Rows(Destination().Db(), kTotals), companyTotals);
  EXPECT_EQ(TotalsLines(secondWindow).at(0), " -- Giacenze per l'articolo ZZ'1 trovate. Aggiornamento giacenze esistenti...");
}

// A stop request skips the warehouses but not the totals, built from what the destination holds.
TEST_P(StockImport, StopSkipsTheWarehousesButStillRebuildsTheTotals) {
  Destination().Execute("INSERT INTO MOVIMENTO_ARTICOLO_DEPOSITO (ID_ARTICOLO, ID_DEPOSITO, ANNO, GIACENZA) "
                        "VALUES ('ALI001', 2, 2026, 11)");
  stop_.SetEvent();
  YearEndImport run;
  EXPECT_EQ(RunProcedure(run), 0);
  EXPECT_EQ(window_.Result(), 0);
  const auto& lines = window_.Lines();
  ASSERT_GE(lines.size(), 7u);
  EXPECT_EQ(lines[4].text, "Operazione interrotta dall'utente.");
  EXPECT_EQ(lines[4].status, TMS_ERROR);
  EXPECT_EQ(lines[5].text, "Operazione interrotta dall'utente");
  EXPECT_EQ(lines[6].text, " - Avvio aggiornamento giacenze totali");
  EXPECT_EQ(Rows(Destination().Db(), "SELECT ID_ARTICOLO, GIACENZA FROM MOVIMENTO_ARTICOLO_SOCIETA"),
            std::vector<std::string>{"ALI001|11|"});
  EXPECT_EQ(Stock(Destination().Db()).size(), 1u);
}

// Without a transaction the rows written before a database error stay; the totals are not run.
TEST_P(StockImport, DatabaseErrorKeepsWhatWasWrittenAndEndsTheRun) {
  RefuseInsert(Destination(), "MOVIMENTO_ARTICOLO_DEPOSITO", "ID_ARTICOLO", "'ALI005'");
  YearEndImport run;
  EXPECT_EQ(RunProcedure(run), 0);
  EXPECT_EQ(window_.Result(), 0);
  EXPECT_EQ(Rows(Destination().Db(), "SELECT ID_ARTICOLO FROM MOVIMENTO_ARTICOLO_DEPOSITO ORDER BY ID_ARTICOLO"),
            (std::vector<std::string>{"ALI001|", "ALI002|", "ALI003|", "ALI004|"}));
  std::vector<std::string> texts = window_.Texts();
  auto refused = std::find_if(texts.begin(), texts.end(), [](const std::string& t) { return t.find("rifiutato") != std::string::npos; });
  ASSERT_NE(refused, texts.end());
  EXPECT_EQ(refused[1], "Database destinazione chiuso.");
  EXPECT_FALSE(window_.HasLine(" - Avvio aggiornamento giacenze totali"));
}

INSTANTIATE_TEST_SUITE_P(Routes, StockImport, Routes(), RouteName);
