#include "partners/solvar/import_solvar_provvigioni.h"

#include "platform/files.h"
#include "platform/settings.h"
#include "solvar_import_fixture.h"

using namespace tarvo;
using namespace tarvo::test;

namespace {

class SolvarCommissionImport : public SolvarImport {
 protected:
  void SetUp() override {
    SolvarImport::SetUp();
    if (IsSkipped() || HasFailure()) return;
    LoadDemo();
  }
  int RunOn(const std::string& folder) {
    CTarvoImportSolvarProvvigioni p;
    return Run(p, folder);
  }
};

// Demo schedule: seven entries, the first "PROVVIGIONE FATTURA n° 1 DEL 2026".
TEST_P(SolvarCommissionImport, RecordsOneEntryPerInvoiceAndALoadTwiceUpdatesTheSameEntries) {
  for (int run = 0; run < 2; ++run) {
    ASSERT_EQ(RunOn(Data("provvigioni")), 1);
    EXPECT_EQ(Count("SCADENZARIO"), 9);
  }
  auto entry = [&](const char* description, const char* columns) {
    return Cell(std::string("SELECT ") + columns + " FROM SCADENZARIO WHERE DESCRIZIONE = '" + W(description) + "'");
  };
  const char* const cols = "CAST(ID_AZIENDA AS VARCHAR(9)) || '|' || CAST(ID_COLLABORATORE AS VARCHAR(9)) || '|' || "
                           "CAST(F_SALDATO AS VARCHAR(9)) || '|' || CAST(F_PROVVIGIONE AS VARCHAR(9)) || '|' || "
                           "CAST(ID_SOCIETA AS VARCHAR(9))";
  // Invoice 123 twice in the file: the second line wins. Its date field 150307 reads day 15,
  // month 30, year 2007: month 30 rolls over to June 2009.
  EXPECT_EQ(entry("PROVVIGIONE FATTURA n° 123 DEL 2007", cols), "1|3|0|1|1");
  EXPECT_EQ(entry("PROVVIGIONE FATTURA n° 123 DEL 2007", "IMPORTO"), "55");
  EXPECT_EQ(entry("PROVVIGIONE FATTURA n° 123 DEL 2007", "IMPORTO_PAGATO"), "0");
  EXPECT_EQ(entry("PROVVIGIONE FATTURA n° 123 DEL 2007", "DATA_SCADENZA").substr(0, 19), "2009-06-15 00:00:00");
  // Found by its tax code; "s" counts as settled.
  EXPECT_EQ(entry("PROVVIGIONE FATTURA n° 124 DEL 2005", cols), "2|7|1|1|1");
  EXPECT_EQ(entry("PROVVIGIONE FATTURA n° 124 DEL 2005", "DATA_SCADENZA").substr(0, 10), "2005-12-01");
  // The demo's entry of invoice 1 of 2026 (the year's second digit comes from the next field).
  EXPECT_EQ(Cell("SELECT IMPORTO FROM SCADENZARIO WHERE ID = 1"), "9.15");
  EXPECT_EQ(Cell("SELECT ID_COLLABORATORE FROM SCADENZARIO WHERE ID = 1"), "7");
  EXPECT_TRUE(Logged(" - Agente codice 0 non presente: linea ignorata."));
  EXPECT_TRUE(Logged(" - Cliente non trovato: linea ignorata (Ditta Sconosciuta - PIVA 11111111111 - COD FIS )."));
  EXPECT_TRUE(Logged(" - Lettura file Provvigioni terminata con successo"));
}

TEST_P(SolvarCommissionImport, AFailureRollsTheWholeFileBack) {
  TempDir copy;
  std::string bytes = ReadFileBytes(Data("provvigioni") + "/provv.txt");
  bytes.replace(bytes.rfind("55,00"), 5, "5x,00");  // the last commission is no number
  WriteFileBytes(copy.File("provv.txt"), bytes);
  EXPECT_EQ(RunOn(copy.Path()), 0);
  EXPECT_TRUE(Logged("Importazione dati fallita."));
  EXPECT_EQ(Count("SCADENZARIO"), 7);
  EXPECT_EQ(Cell("SELECT IMPORTO FROM SCADENZARIO WHERE ID = 1"), "8.71");

  TempDir empty;
  EXPECT_EQ(RunOn(empty.Path()), 0);
  std::vector<std::string> texts = Window().Texts();
  auto failed = std::find(texts.begin(), texts.end(), " - Lettura file Articoli fallita.");
  ASSERT_NE(failed, texts.end());
  EXPECT_EQ(failed[1].rfind(" - Errore file: ", 0), 0u) << failed[1];
  EXPECT_EQ(failed[2], "Importazione dati fallita.");
}

INSTANTIATE_TEST_SUITE_P(Drivers, SolvarCommissionImport, testing::ValuesIn(AllDbKinds()), DbKindName);

}  // namespace
