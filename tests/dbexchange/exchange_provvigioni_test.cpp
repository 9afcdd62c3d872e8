#include "dbexchange/exchange_provvigioni.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "platform/settings.h"
#include "two_database_fixture.h"

using namespace tarvo;
using namespace tarvo::test;

namespace {

const char kSchedule[] =
    "SELECT DESCRIZIONE, DATA_SCADENZA, ID_AZIENDA, IMPORTO, IMPORTO_PAGATO, DATA_PAGAMENTO, F_PROVVIGIONE, "
    "F_SALDATO, ID_DOCUMENTO, ID_SOCIETA, ID_COLLABORATORE FROM SCADENZARIO ORDER BY DESCRIZIONE";

class CommissionExchange : public TwoDatabaseTest {
 protected:
  void SetUp() override {
    TwoDatabaseTest::SetUp();
    CUserAdministrator::SetCurrentUser(7, 1, 0);
  }
};

}  // namespace

// 1010 then 11: the whole schedule reaches the web database, the agent's rows reach the agent.
TEST_P(CommissionExchange, ExportCopiesTheScheduleAndImportTheAgentsRowsAndSecondRunsChangeNothing) {
  Source().LoadSchema("demo/demo.sql");
  CTarvoExportWebProvvigioni exportRun;
  ASSERT_EQ(RunProcedure(exportRun), 1);
  EXPECT_EQ(window_.Result(), 1);
  // The export speaks of an import and of orders, and its end line precedes the commits.
  std::vector<std::string> texts = window_.Texts();
  EXPECT_EQ(texts, (std::vector<std::string>{"Database destinazione aperto.", "Database sorgente aperto.",
                                             "Avvio importazione provvigioni ...",
                                             "Importazione ordini termita con successo.", "Database sorgente chiuso.",
                                             "Database destinazione chiuso."}));
  // Customer -1, commission flag 1 and the user's company on every row; the rest as read.
  std::vector<std::string> web = Rows(Destination().Db(), kSchedule);
  ASSERT_EQ(web.size(), 7u);
  EXPECT_EQ(web[0], "PROVVIGIONE FATTURA n\xb0 1 DEL 2026|2026-10-31 00:00:00|-1|8.71|0|<null>|1|0|<null>|1|7|");
  EXPECT_EQ(web[5], "PROVVIGIONE NOTA D'ACCREDITO n\xb0 1 DEL 2026|2026-11-30 00:00:00|-1|-1.25|0|<null>|1|0|<null>|1|3|");
  EXPECT_EQ(web[6], "RATA 1/2 FATTURA n\xb0 3 DEL 2026|2026-12-31 00:00:00|-1|169.14|0|<null>|1|0|<null>|1|<null>|");

  auto again = Rows(Destination().Db(), "SELECT * FROM SCADENZARIO ORDER BY ID");
  CTarvoExportWebProvvigioni second;
  RecordingWindow secondWindow;
  ASSERT_EQ(RunProcedure(second, &secondWindow), 1);
  EXPECT_EQ(Rows(Destination().Db(), "SELECT * FROM SCADENZARIO ORDER BY ID"), again);

  // The agent 7 imports from the web database into a fresh database of its own.
  ScratchDatabase agent(GetParam().source);
  agent.LoadSchema("company.sql");
  CTarvoImportAgenteProvvigioni importRun;
  RecordingWindow importWindow;
  ASSERT_EQ(RunProcedure(importRun, &importWindow, Destination().Config(), agent.Config()), 1);
  EXPECT_EQ(Rows(agent.Db(), "SELECT DESCRIZIONE FROM SCADENZARIO ORDER BY DESCRIZIONE"),
            (std::vector<std::string>{"PROVVIGIONE FATTURA n\xb0 1 DEL 2026|", "PROVVIGIONE FATTURA n\xb0 3 DEL 2026|"}));
}

// Rows are matched by description: quotes go through the doubled filter, a repeated description
// updates one row (the later source row wins), and a new row gets the destination's key.
TEST_P(CommissionExchange, RowsAreMatchedByDescriptionQuotesIncluded) {
  Source().Execute("INSERT INTO SCADENZARIO (ID, DESCRIZIONE, IMPORTO, ID_COLLABORATORE) VALUES (1, 'Nota d''agente', 5, 7)");
  Source().Execute("INSERT INTO SCADENZARIO (ID, DESCRIZIONE, IMPORTO) VALUES (2, 'Doppia', 1)");
  Source().Execute("INSERT INTO SCADENZARIO (ID, DESCRIZIONE, IMPORTO) VALUES (3, 'Doppia', 2)");
  Destination().Execute("INSERT INTO SCADENZARIO (ID, DESCRIZIONE, IMPORTO, ID_DOCUMENTO) VALUES (40, 'Nota d''agente', 9, 4)");
  CTarvoExportWebProvvigioni run;
  ASSERT_EQ(RunProcedure(run), 1);
  EXPECT_EQ(Rows(Destination().Db(), "SELECT CASE WHEN ID = 40 THEN 1 ELSE 0 END, DESCRIZIONE, IMPORTO, ID_DOCUMENTO, ID_COLLABORATORE "
                                     "FROM SCADENZARIO ORDER BY DESCRIZIONE"),
            (std::vector<std::string>{"0|Doppia|2|<null>|<null>|", "1|Nota d'agente|5|4|7|"}));
}

// --- stop and failure --------------------------------------------------------------------------
TEST_P(CommissionExchange, StopOrDatabaseErrorRollsBackTheWholeSchedule) {
  Source().LoadSchema("demo/demo.sql");
  RefuseInsert(Destination(), "SCADENZARIO", "ID_COLLABORATORE", "12");
  CTarvoExportWebProvvigioni failing;
  EXPECT_EQ(RunProcedure(failing), 0);
  EXPECT_EQ(window_.Result(), 0);
  EXPECT_EQ(Rows(Destination().Db(), "SELECT COUNT(*) FROM SCADENZARIO").at(0), "0|");
  std::vector<std::string> texts = window_.Texts();
  ASSERT_GE(texts.size(), 4u);
  EXPECT_EQ(texts[texts.size() - 4].rfind("ERRORE database", 0), 0u) << texts[texts.size() - 4];
  EXPECT_EQ(texts[texts.size() - 3], "Importazione ordini fallita.");

  stop_.SetEvent();
  CTarvoImportAgenteProvvigioni stopped;
  RecordingWindow stopWindow;
  EXPECT_EQ(RunProcedure(stopped, &stopWindow), 0);
  EXPECT_EQ(Rows(Destination().Db(), "SELECT COUNT(*) FROM SCADENZARIO").at(0), "0|");
  texts = stopWindow.Texts();
  EXPECT_EQ(std::count(texts.begin(), texts.end(), "Operazione interrotta dall'utente."), 1);
  EXPECT_TRUE(stopWindow.HasLine("Importazione ordini fallita."));
}

INSTANTIATE_TEST_SUITE_P(Routes, CommissionExchange, Routes(), RouteName);
