// The Solvar order export (1007) on the demo company, SQLite and PostgreSQL: the files against
// golden files made from the record tables, the state change, and the ways an order fails.
#include "partners/solvar/export_solvar_ordini.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "platform/files.h"
#include "platform/host_ui.h"
#include "support/recording_window.h"
#include "support/answering_ui.h"
#include "pellor_fixture.h"

using namespace tarvo;
using namespace tarvo::test;

namespace {

std::string Golden(const std::string& set, const std::string& name) {
  return ReadFileBytes(std::string(TARVO_TEST_DATA_DIR) + "/solvar/" + set + "/" + name);
}

class SolvarOrderExport : public PellorDemoCompany {
 protected:
  int Run(const CString& folder, CEvent* stop = nullptr, RecordingWindow* window = nullptr, bool verbose = false) {
    if (!window) window = &window_;
    CTarvoExportSolvarOrdini p;
    p.SetParentWnd(window);
    p.SetVerbose(verbose);
    p.SetSrcConfig(db_->Config());
    p.SetOutDir(folder);
    if (stop) p.SetEventStop(*stop);
    int result = p.Run();
    window->WaitFinished();
    return result;
  }
  // "number:state" of the orders, in number order.
  std::vector<std::string> States() {
    return Column("SELECT CAST(NUMERO AS VARCHAR(10)) || ':' || CAST(ID_STATO_ORDINE AS VARCHAR(10)) FROM DOCUMENTO "
                  "WHERE ID_CAUSALE = 15 ORDER BY SERIE, NUMERO");
  }
  int Logged(const std::string& text) {
    const std::vector<std::string> texts = window_.Texts();
    return static_cast<int>(std::count(texts.begin(), texts.end(), text));
  }

  TempDir out_;
  RecordingWindow window_;
};

// Series A, then the demo agent's series AG.
const std::vector<std::string> kBefore = {"1:1", "2:1", "3:2", "4:2", "5:5", "6:5", "7:6", "8:6",
                                          "1:1", "2:1", "3:2", "4:5"};
const std::vector<std::string> kAfter = {"1:1", "2:1", "3:2", "4:2", "5:6", "6:6", "7:6", "8:6",
                                         "1:1", "2:1", "3:2", "4:6"};

TEST_P(SolvarOrderExport, DemoOrdersGoOutAsTheGoldenFilesAndMoveToState6) {
  ASSERT_EQ(Run(out_.Path()), 1);
  EXPECT_EQ(ReadFileBytes(out_.File("07000005.ord")), Golden("ordini", "07000005.ord"));
  EXPECT_EQ(ReadFileBytes(out_.File("00000006.ord")), Golden("ordini", "00000006.ord")) << "no agent: 00";
  EXPECT_EQ(ReadFileBytes(out_.File("03000004.ord")), Golden("ordini", "03000004.ord"));
  EXPECT_EQ(States(), kAfter);
  EXPECT_EQ(window_.Texts(), (std::vector<std::string>{
                                 "Database sorgente aperto.",
                                 "Avvio esportazione ordini...",
                                 " - Esportazione ordine A/5 (anno 2026) - file 07000005.ord in corso...",
                                 " - Esportazione ordine A/5 (anno 2026) - file 07000005.ord... OK!",
                                 " - Esportazione ordine A/6 (anno 2026) - file 00000006.ord in corso...",
                                 " - Esportazione ordine A/6 (anno 2026) - file 00000006.ord... OK!",
                                 " - Esportazione ordine AG/4 (anno 2026) - file 03000004.ord in corso...",
                                 " - Esportazione ordine AG/4 (anno 2026) - file 03000004.ord... OK!",
                                 "Esportazione ordini termita con successo.",
                                 "Database sorgente chiuso.",
                             }));

  // Nothing in state 5 any more: a second run writes nothing and succeeds.
  TempDir again;
  RecordingWindow second;
  ASSERT_EQ(Run(again.Path(), nullptr, &second), 1);
  EXPECT_TRUE(std::filesystem::is_empty(again.Path()));
  EXPECT_TRUE(second.HasLine("Esportazione ordini termita con successo."));
}

// Cut (article, description), padded and split texts, six telephone contacts, a 16-character tax code, no bank, a null second
// date, numbers too wide or negative, a line without article: the file made by hand from the
// record tables.
TEST_P(SolvarOrderExport, EdgeValuesMatchTheirGoldenFile) {
  CDatabase& db = db_->Db();
  db.ExecuteSQL(
      "INSERT INTO DOCUMENTO (ID, ID_CAUSALE, SERIE, NUMERO, ANNO, DATA_DOCUMENTO, CLI_FAT_ID, CLI_FAT_SEDE_ID, "
      "CLI_FAT_RAGIONESOCIALE, CLI_FAT_INDIRIZZO, CLI_FAT_LOCALITA, CLI_FAT_PARTITAIVA, DESTINAZIONE, "
      "DESTINAZIONE_LOCALITA, NOTE, SCONTO, ID_BANCA, ID_FORMULA_PAGAMENTO, ID_TRASPORTO, ID_PORTO_MERCI, "
      "ID_STATO_ORDINE) VALUES (90, 15, 'B', 123, 2026, '2026-02-03 00:00:00', 3, 3, ?, 'Via Roma 1', "
      "'20100 Milano MI', 'RSSMRA80A01F205X', ?, '20900 Monza (MB)', ?, 12.5, 99, 1, 2, 3, 5)",
      {W("Società Agricola Fiorè con un nome molto lungo che supera gli ottanta caratteri"),
       CString("Magazzino\r\nRetro"), CString("Riga uno\r\nriga due")});
  db.ExecuteSQL(
      "INSERT INTO VOCI_DOCUMENTO (ID, ID_DOCUMENTO, TIPO, ID_ARTICOLO, DESCRIZIONE, ID_UNITA_MISURA, QUANTITA, "
      "PREZZO, PREZZO_NETTO, QUANTITA_EVASA, IMPORTO, SCONTO_1, SCONTO_2, CODICE_IVA, ALIQUOTA_IVA) VALUES (901, 90, "
      "'A', 'ABCDEFGHIJKLMNOP', 'Descrizione lunga oltre sessanta caratteri per vedere il taglio a destra', 'PZ', "
      "2, 10.5, -1.5, 12345678.9, 21, 5, 2.5, '04', 4)");
  db.ExecuteSQL("INSERT INTO VOCI_DOCUMENTO (ID, ID_DOCUMENTO, TIPO, DESCRIZIONE) VALUES (902, 90, 'B', "
                "'Nota: consegnare al mattino')");
  ASSERT_EQ(Run(out_.Path()), 1);
  EXPECT_EQ(ReadFileBytes(out_.File("00000123.ord")), Golden("ordini-edge", "00000123.ord"));
  EXPECT_EQ(Column("SELECT ID_STATO_ORDINE FROM DOCUMENTO WHERE ID = 90"), std::vector<std::string>{"6"});
}

// --- the error paths ---------------------------------------------------------------------------
TEST_P(SolvarOrderExport, AFileThatCannotBeCreatedKeepsTheOrderInState5AndTheRunGoesOn) {
  EXPECT_EQ(Run("/nonexistent/folder"), 1) << "the orders were gone through";
  EXPECT_EQ(Logged(" - Esportazione ordine A/5 (anno 2026) - file 07000005.ord... ERRORE!"), 1);
  EXPECT_EQ(Logged(W("Si è verificato un errore durante l'esportazione.")), 3);
  EXPECT_EQ(States(), kBefore);
}

// A full disk shows when the header reaches it: the file goes, the same order is tried again
// (here the name no longer leads to the full device, so the second attempt writes it whole).
TEST_P(SolvarOrderExport, AHeaderThatCannotBeWrittenRemovesTheFileAndTriesTheSameOrderAgain) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
  std::filesystem::create_symlink("/dev/full", out_.File("07000005.ord"));
  EXPECT_EQ(Run(out_.Path()), 1);
  EXPECT_EQ(Logged(" - Esportazione ordine A/5 (anno 2026) - file 07000005.ord... ERRORE!"), 1);
  EXPECT_EQ(Logged(W("Si è verificato un errore durante l'esportazione")), 1);
  EXPECT_EQ(Logged(" - Esportazione ordine A/5 (anno 2026) - file 07000005.ord... OK!"), 1);
  EXPECT_EQ(ReadFileBytes(out_.File("07000005.ord")), Golden("ordini", "07000005.ord"));
  EXPECT_EQ(States(), kAfter);
}

// The lines cannot be read: no file with a header alone stays behind, and the run ends there.
TEST_P(SolvarOrderExport, ADatabaseErrorOnTheLinesLeavesNoFileAndEndsTheRun) {
  db_->Db().ExecuteSQL("DROP TABLE VOCI_DOCUMENTO");
  EXPECT_EQ(Run(out_.Path()), 0);
  EXPECT_TRUE(std::filesystem::is_empty(out_.Path()));
  EXPECT_TRUE(window_.HasLine("Esportazione ordini fallita."));
  EXPECT_EQ(Logged(" - Esportazione ordine A/5 (anno 2026) - file 07000005.ord in corso..."), 1) << "no second order";
  EXPECT_EQ(States(), kBefore);
}

TEST_P(SolvarOrderExport, ANoToTheQuestionAfterAFailedOrderEndsTheRun) {
  AnsweringUI ui(false);
  ScopedHostUI scope(ui);
  EXPECT_EQ(Run("/nonexistent/folder", nullptr, nullptr, true), 0);
  ASSERT_EQ(ui.questions.size(), 1u);
  EXPECT_NE(ui.questions[0].find(W("\nSi è verificato un errore durante l'esportazione.\n\nContinuare con l'ordine "
                                   "successivo?")),
            std::string::npos)
      << ui.questions[0];
  EXPECT_TRUE(window_.HasLine(" - Esportazione ordini interrotta dall'utente"));
  EXPECT_TRUE(window_.HasLine("Esportazione ordini fallita."));
  EXPECT_EQ(States(), kBefore);
}

TEST_P(SolvarOrderExport, AStopBeforeTheFirstOrderFailsTheRunAndChangesNothing) {
  CEvent stop;
  stop.SetEvent();
  EXPECT_EQ(Run(out_.Path(), &stop), 0);
  EXPECT_TRUE(window_.HasLine("Operazione interrotta dall'utente."));
  EXPECT_TRUE(window_.HasLine("Esportazione ordini fallita."));
  EXPECT_TRUE(std::filesystem::is_empty(out_.Path()));
  EXPECT_EQ(States(), kBefore);
}

INSTANTIATE_TEST_SUITE_P(Drivers, SolvarOrderExport, testing::ValuesIn(AllDbKinds()), DbKindName);

}  // namespace
