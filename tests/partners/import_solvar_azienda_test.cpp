#include "partners/solvar/import_solvar_azienda.h"

#include <algorithm>
#include <filesystem>

#include "platform/files.h"
#include "solvar_import_fixture.h"

using namespace tarvo;
using namespace tarvo::test;

namespace {

// The customer files meet the demo company: customers 1 and 2 exist, the zone of Legnago is
// stored in capitals.
class SolvarCustomerImport : public SolvarImport {
 protected:
  void SetUp() override {
    SolvarImport::SetUp();
    if (IsSkipped() || HasFailure()) return;
    target_->LoadSchema("demo/demo.sql");
  }
  int RunOn(const std::string& folder) {
    CTarvoImportSolvarAzienda p;
    return Run(p, folder);
  }
  // Every row of the tables the import writes, as text: equal before and after a failed run.
  std::string Snapshot() {
    std::string all;
    for (const char* table : {"AZIENDA", "SEDE", "ZONA_POSTALE", "SCONTO", "FORMULA_PAGAMENTO", "AZIENDA_SCONTO", "CC_USER"}) {
      CODBCRecordset rs(&target_->Db());
      for (rs.Open(std::string("SELECT * FROM ") + table + " ORDER BY 1"); !rs.IsEOF(); rs.MoveNext())
        for (int i = 0; i < rs.GetFieldCount(); ++i) all += rs.Field(i).AsString() + (i + 1 < rs.GetFieldCount() ? "|" : "\n");
    }
    return all;
  }
  long Logged(const char* utf8) const {
    std::vector<std::string> texts = window_->Texts();
    return std::count(texts.begin(), texts.end(), W(utf8));
  }
  // A copy of the sample files, for damaging.
  std::string Copy() {
    copy_ = std::make_unique<TempDir>();
    for (const auto& entry : std::filesystem::directory_iterator(Data("clienti")))
      std::filesystem::copy(entry.path(), copy_->Path());
    return copy_->Path();
  }
  std::unique_ptr<TempDir> copy_;
};

TEST_P(SolvarCustomerImport, LoadsTheSampleFiles) {
  ASSERT_EQ(RunOn(Data("clienti")), 1);
  const std::pair<const char*, const char*> cells[] = {
      // discount classes and payment terms
      {"SELECT DESCRIZIONE FROM SCONTO WHERE ID = 'A'", "SCONTO A"},
      {"SELECT SCONTO_1 FROM SCONTO WHERE ID = 'N'", "12.5"},
      {"SELECT SCONTO_5 FROM SCONTO WHERE ID = 'N'", "2"},
      {"SELECT SCONTO_3 FROM SCONTO WHERE ID = 'N'", "0"},
      {"SELECT DESCRIZIONE FROM FORMULA_PAGAMENTO WHERE ID = 1", "RIMESSA DIRETTA[01]"},
      {"SELECT DESCRIZIONE FROM FORMULA_PAGAMENTO WHERE ID = 6", "RIBA 90 GG[06]"},
      {"SELECT COUNT(*) FROM FORMULA_PAGAMENTO", "6"},
      // customer 1: the lower-case locality found the zone stored in capitals; a new branch there
      {"SELECT ID_FORMULA_PAGAMENTO FROM AZIENDA WHERE ID = 1", "2"},
      {"SELECT INDIRIZZO FROM SEDE WHERE IDAZIENDA = 1 AND IDZONAPOSTALE = 13", "Via Roma 1"},
      {"SELECT F_SEDE_PRINCIPALE FROM SEDE WHERE IDAZIENDA = 1 AND IDZONAPOSTALE = 13", "1"},
      {"SELECT ID_SCONTO || '|' || CAST(ID_AGENTE AS VARCHAR(9)) FROM AZIENDA_SCONTO WHERE ID_AZIENDA = 1", "A|3"},
      {"SELECT PASSWORD || '|' || TIPO || '|' || STATO FROM CC_USER WHERE USERNAME = '000101'", "04567890159|AZI|A"},
      // customer 2, found by tax code: its VAT number is overwritten; a new zone in the file's spelling
      {"SELECT PARTITAIVA FROM AZIENDA WHERE ID = 2", "99999999999"},
      {"SELECT NOMEZONAPOSTALE || '|' || SIGLAPROVINCIA FROM ZONA_POSTALE WHERE CAP = '24122'", "Bergamo|BG"},
      // the new customer of an unknown province: no zone, no branch; its code is no number
      {"SELECT COUNT(*) FROM SEDE S JOIN AZIENDA A ON A.ID = S.IDAZIENDA WHERE A.CODICE_CLIENTE = 'ABC123'", "0"},
      {"SELECT ID_FORMULA_PAGAMENTO FROM AZIENDA WHERE CODICE_CLIENTE = 'ABC123'", "<null>"},
      {"SELECT COUNT(*) FROM AZIENDA_SCONTO C JOIN AZIENDA A ON A.ID = C.ID_AZIENDA "
       "WHERE A.CODICE_CLIENTE = 'ABC123' AND C.ID_SCONTO IS NULL AND C.ID_AGENTE IS NULL", "1"},
      {"SELECT COUNT(*) FROM CC_USER U JOIN AZIENDA A ON A.ID = U.IDREFERENCE "
       "WHERE U.USERNAME = '000000' AND A.CODICE_CLIENTE = 'ABC123' AND U.PASSWORD = '12345678901'", "1"},
      // the last customer: new, with a new zone and its branch
      {"SELECT COUNT(*) FROM SEDE S JOIN AZIENDA A ON A.ID = S.IDAZIENDA JOIN ZONA_POSTALE Z ON Z.ID = S.IDZONAPOSTALE "
       "WHERE A.CODICE_CLIENTE = '000111' AND Z.CAP = '80134' AND S.INDIRIZZO = 'Via Toledo 256'", "1"},
      {"SELECT COUNT(*) FROM AZIENDA", "11"},
      {"SELECT COUNT(*) FROM ZONA_POSTALE", "15"},
  };
  for (const auto& [sql, expected] : cells) EXPECT_EQ(Cell(sql), W(expected)) << sql;
  // Inconsistent lines are skipped with their reason.
  EXPECT_EQ(Logged(" - Dati non coerenti: la provincia è vuota - cliente scartato"), 1);
  EXPECT_EQ(Logged(" - Dati non coerenti: partita iva e codice fiscale vuoti - cliente scartato"), 1);
  EXPECT_EQ(Logged(" - Dati non coerenti: la ragione sociale è vuota - cliente scartato"), 1);
  EXPECT_EQ(Logged("Linea 3 ignorata: 07"), 1);
  // Once a customer was inserted, every later one reports an insertion, updates included.
  EXPECT_EQ(Logged(" - Aggiornamento dati cliente effettuato con successo."), 1);
  EXPECT_EQ(Logged(" - Inserimento nuovo cliente effettuato con successo."), 3);
  EXPECT_EQ(Logged("Importazione clienti termita con successo."), 1);
}

// A database error in the last customer (its branch's address made unique beforehand) rolls the
// whole import back, discount classes and payment terms included.
TEST_P(SolvarCustomerImport, AFailureInTheLastCustomerRollsBackTheWholeImport) {
  target_->Execute("CREATE UNIQUE INDEX UX_SEDE_INDIRIZZO ON SEDE (INDIRIZZO)");
  const std::string before = Snapshot();
  EXPECT_EQ(RunOn(Data("clienti")), 0);
  EXPECT_EQ(Logged(" - Cliente non trovato. Inserimento nuovo cliente..."), 2);
  EXPECT_EQ(Logged("Importazione clienti fallita."), 1);
  EXPECT_EQ(Snapshot(), before);
}

TEST_P(SolvarCustomerImport, MissingFiles) {
  const std::string before = Snapshot();
  std::string folder = Copy();
  std::filesystem::remove(folder + "/sconti.txt");
  EXPECT_EQ(RunOn(folder), 0);
  std::vector<std::string> texts = Window().Texts();
  auto failed = std::find(texts.begin(), texts.end(), " - Lettura file Sconti fallita.");
  ASSERT_NE(failed, texts.end());
  EXPECT_EQ(failed[1].rfind("- Errore file: ", 0), 0u) << failed[1];
  EXPECT_EQ(failed[2], " - Lettura file formula pagamento...");  // still read
  EXPECT_EQ(Logged(" - Lettura file forumla pagamento terminata con successo."), 1);
  EXPECT_EQ(Logged("Importazione clienti fallita."), 1);
  EXPECT_EQ(Snapshot(), before);

  std::filesystem::remove(folder + "/clienti.txt");
  EXPECT_EQ(RunOn(folder), 0);
  EXPECT_EQ(Window().Texts(), std::vector<std::string>{"Database destinazione aperto."});  // and nothing else
}

TEST_P(SolvarCustomerImport, AStopBeforeTheFirstCustomerKeepsNothing) {
  const std::string before = Snapshot();
  CEvent stop;
  stop.SetEvent();
  CTarvoImportSolvarAzienda p;
  p.SetEventStop(stop);
  EXPECT_EQ(Run(p, Data("clienti")), 0);  // not interactive: the stop in sconti.txt asks nothing
  EXPECT_EQ(Logged("Operazione interrotta dall'utente."), 4);  // sconti, pagam, then twice before a customer
  EXPECT_EQ(Logged(" - Lettura file forumla pagamento interrotta."), 1);
  EXPECT_EQ(Snapshot(), before);
}

INSTANTIATE_TEST_SUITE_P(Drivers, SolvarCustomerImport, testing::ValuesIn(AllDbKinds()), DbKindName);

}  // namespace
