// The Solvar document imports: invoices (".FAT", procedure 12) and order states (".tra",
// procedure 6) loaded from the sample files under tests/data/solvar into the demo company.
#include <algorithm>
#include <filesystem>

#include "partners/solvar/export_solvar_ordini.h"
#include "partners/solvar/import_solvar_fatture.h"
#include "partners/solvar/import_solvar_stato_ordini.h"
#include "partners/solvar/solvar_document_files.h"
#include "platform/files.h"
#include "platform/host_ui.h"
#include "platform/settings.h"
#include "support/answering_ui.h"
#include "solvar_import_fixture.h"

using namespace tarvo;
using namespace tarvo::test;

namespace {

class SolvarDocumentImport : public SolvarImport {
 protected:
  void SetUp() override {
    SolvarImport::SetUp();
    if (IsSkipped() || HasFailure()) return;
    LoadDemo();
    CConfigAdministrator::SetKey("precisione/prezzi", "2");
    CConfigAdministrator::SetKey("precisione/totali", "2");
  }
  void TearDown() override {
    CConfigAdministrator::Clear();
    SolvarImport::TearDown();
  }

  // Copies the sample files of `set` into the work folder, where the runs rename them.
  void CopySamples(const std::string& set) {
    for (const auto& e : std::filesystem::directory_iterator(Data(set)))
      std::filesystem::copy_file(e.path(), work_.File(e.path().filename().string()));
  }
  std::string Sample(const std::string& set, const std::string& name) { return ReadFileBytes(Data(set) + "/" + name); }
  void Put(const std::string& name, const std::string& bytes) { WriteFileBytes(work_.File(name), bytes); }
  bool Exists(const std::string& name) { return FileExists(work_.File(name)); }

  int RunFatture(CEvent* stop = nullptr) {
    CTarvoImportSolvarFatture p;
    if (stop) p.SetEventStop(*stop);
    return Run(p, work_.Path());
  }
  int RunStatoOrdini() {
    CTarvoImportSolvarStatoOrdini p;
    return Run(p, work_.Path());
  }
  // "taxable|VAT|total" of a document, in cents.
  CString Totals(const std::string& where) {
    return Cell("SELECT CAST(ROUND(TOTALE_IMPONIBILE * 100) AS INTEGER) || '|' || CAST(ROUND(TOTALE_IVA * 100) AS "
                "INTEGER) || '|' || CAST(ROUND(TOTALE_DOCUMENTO * 100) AS INTEGER) FROM DOCUMENTO WHERE " +
                where);
  }
  std::string Path(const std::string& name) { return work_.Path() + "\\" + name; }

  TempDir work_;
};

// --- invoices ------------------------------------------------------------------------------------

TEST_P(SolvarDocumentImport, InvoicesAreLoadedWithTheirCustomerLinesAndTotalsAndRenamed) {
  CopySamples("fatture");
  ASSERT_EQ(RunFatture(), 1);
  EXPECT_TRUE(Logged("Avvio importazione fatture..."));
  EXPECT_TRUE(Logged("Importazione fatture terminata con successo."));
  EXPECT_TRUE(Exists("000006.FA0") && Exists("000007.FA0") && !Exists("000006.FAT") && !Exists("000007.FAT"));

  // Invoice 6: the demo's Cartoleria dell'Orso, found by its VAT number; its code normalised.
  const std::string inv6 = "ID_CAUSALE = 101 AND NUMERO = 6 AND ANNO = 2026";
  EXPECT_EQ(Cell("SELECT CLI_FAT_ID FROM DOCUMENTO WHERE " + inv6), "5");
  EXPECT_EQ(Cell("SELECT CLI_FAT_LOCALITA FROM DOCUMENTO WHERE " + inv6), "10121 - Torino (TO)");
  EXPECT_EQ(Cell("SELECT ID_AGENTE_SEDE_SOCIETA FROM DOCUMENTO WHERE " + inv6), "7");
  EXPECT_EQ(Cell("SELECT DATA_DOCUMENTO FROM DOCUMENTO WHERE " + inv6).substr(0, 10), "2026-11-20");
  EXPECT_EQ(Cell("SELECT CODICE_CLIENTE FROM AZIENDA WHERE ID = 5"), "105");
  EXPECT_TRUE(Logged(" - Cliente trovato Cartoleria dell'Orso S.a.s. - P.IVA: 08901230014 - C.F.: 08901230014."));
  const std::string lines6 = "FROM VOCI_DOCUMENTO WHERE ID_DOCUMENTO = (SELECT ID FROM DOCUMENTO WHERE " + inv6 + ")";
  EXPECT_EQ(Cell("SELECT COUNT(*) " + lines6), "4");
  EXPECT_EQ(Cell("SELECT DESCRIZIONE " + lines6 + " AND ID_ARTICOLO = 'CAR005'"), " ARTICOLO CAR005");
  const std::string transport = lines6 + " AND DESCRIZIONE = 'Trasporto incluso'";  // a short "ZZZ" line
  EXPECT_EQ(Cell("SELECT TIPO || '|' || COALESCE(ID_ARTICOLO, '-') " + transport), "B|-");
  EXPECT_EQ(Cell("SELECT ALIQUOTA_IVA " + transport), "0");
  EXPECT_EQ(Cell("SELECT DESCRIZIONE " + lines6 + " AND ID_ARTICOLO = 'CAR002'"), W("Risma carta A4 80 g/m² 500 fg"));
  // 80 + 95.06 + 32 at 22%: 207.06, VAT 45.5532.
  EXPECT_EQ(Totals(inv6), "20706|4555|25261");

  // Invoice 7: a new customer, a new zone of the known province BS and its branch.
  const std::string inv7 = "ID_CAUSALE = 101 AND NUMERO = 7 AND ANNO = 2026";
  const CString customer = Cell("SELECT CLI_FAT_ID FROM DOCUMENTO WHERE " + inv7);
  EXPECT_EQ(Cell("SELECT RAGIONESOCIALE || '|' || PARTITAIVA || '|' || CODICE_CLIENTE || '|' || "
                 "CAST(F_CLIENTE AS VARCHAR(2)) FROM AZIENDA WHERE ID = " + customer),
            "Pasticceria Dolce Vita S.r.l.|03456780987|000110|1");
  EXPECT_EQ(Cell("SELECT S.INDIRIZZO || '|' || Z.CAP || '|' || Z.NOMEZONAPOSTALE || '|' || Z.SIGLAPROVINCIA FROM SEDE S "
                 "JOIN ZONA_POSTALE Z ON Z.ID = S.IDZONAPOSTALE WHERE S.IDAZIENDA = " + customer),
            "Via Vittorio Emanuele 12|25019|Sirmione|BS");
  const std::string lines7 = "FROM VOCI_DOCUMENTO WHERE ID_DOCUMENTO = (SELECT ID FROM DOCUMENTO WHERE " + inv7 + ")";
  EXPECT_EQ(Cell("SELECT QUANTITA " + lines7 + " AND ID_ARTICOLO = 'ALI009'"), "12");  // "0000012,50"
  EXPECT_EQ(Cell("SELECT SCONTO_TESTATA " + lines7 + " AND ID_ARTICOLO = 'ALI009'"), "2");
  EXPECT_EQ(Cell("SELECT DESCRIZIONE FROM UNITA_MISURA WHERE ID = 'SC'"), "SC");  // a unit the file brought
  // 4%: 11.88 + 57.60 = 69.48, VAT 2.78; 10%: 23.50, VAT 2.35; 22%: 68.70, VAT 15.11.
  EXPECT_EQ(Totals(inv7), "16168|2024|18192");

  // Copied back under its first name with a line less: updated in place, its lines replaced, and
  // renamed past the name the first load took.
  std::string again = Sample("fatture", "000006.FAT");
  again.erase(again.find("CAR005"), again.find("ZZZ") - again.find("CAR005"));
  Put("000006.FAT", again);
  ASSERT_EQ(RunFatture(), 1);
  EXPECT_TRUE(Logged(" - Fattura trovata: aggiornamento fattura"));
  EXPECT_EQ(Cell("SELECT COUNT(*) FROM DOCUMENTO WHERE " + inv6), "1");
  EXPECT_EQ(Cell("SELECT COUNT(*) " + lines6), "3");
  EXPECT_EQ(Totals(inv6), "17506|3851|21357");
  EXPECT_TRUE(Exists("000006.FA1") && Exists("000006.FA0") && !Exists("000006.FAT"));
  // Nothing left to load: a third run loads nothing.
  ASSERT_EQ(RunFatture(), 1);
  EXPECT_FALSE(Logged(" - Aggiornamento cliente"));
}

// A new customer's branch follows the partner's rule as it stands: a known province with a known
// zone gets no branch, an unknown province (MB is no province of the demo) with a known zone does.
TEST_P(SolvarDocumentImport, ANewCustomersBranchDependsOnItsProvinceAndZoneAsThePartnerDecided) {
  struct Case {
    const char* number;
    const char* vat;
    const char* place;  // locality (25), postal code, province
    bool branch;
  };
  const Case cases[] = {
      {"000008", "11111111111", "Torino                   10121TO", false},
      {"000009", "22222222222", "Monza                    20900MB", true},
  };
  const std::string sample = Sample("fatture", "000007.FAT");
  for (const Case& c : cases) {
    std::string file = sample;
    file.replace(110, 32, c.place);
    file.replace(142, 27, std::string(c.vat) + std::string(16, ' '));
    file.replace(169, 6, c.number);
    Put(std::string(c.number) + ".FAT", file);
  }
  const CString zones = Cell("SELECT COUNT(*) FROM ZONA_POSTALE");
  ASSERT_EQ(RunFatture(), 1);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.number);
    EXPECT_EQ(Cell(std::string("SELECT COUNT(*) FROM SEDE S JOIN AZIENDA A ON A.ID = S.IDAZIENDA WHERE A.PARTITAIVA = '") +
                   c.vat + "' AND S.IDZONAPOSTALE " + (c.branch ? "= 10" : "IS NOT NULL")),
              c.branch ? "1" : "0");
  }
  EXPECT_TRUE(Logged(" - Provincia errata: sede saltata"));
  EXPECT_EQ(Cell("SELECT COUNT(*) FROM ZONA_POSTALE"), zones);  // no zone added
}

TEST_P(SolvarDocumentImport, AFailedInvoiceIsRolledBackAndTheNextOneDecidesTheResult) {
  CopySamples("fatture");
  std::filesystem::remove(work_.File("000007.FAT"));
  // Invoice 1 of the demo, sent again with a price that is no number on its second line.
  std::string bad = Sample("fatture", "000006.FAT");
  bad.replace(169, 6, "000001");
  bad.replace(bad.find("0000004,90"), 10, "00000x4,90");
  Put("000001.FAT", bad);
  Put("000002.FAT", "");                                 // no first line
  std::filesystem::create_directory(work_.File("000003.FAT"));  // cannot be read
  const CString demoLines = Cell("SELECT COUNT(*) FROM VOCI_DOCUMENTO WHERE ID_DOCUMENTO = 20");

  ASSERT_EQ(RunFatture(), 1);
  std::vector<std::string> texts = Window().Texts();
  auto at = std::find_if(texts.begin(), texts.end(), [](const std::string& t) { return t.rfind("ERRORE database: ", 0) == 0; });
  ASSERT_NE(at, texts.end());
  EXPECT_EQ(Cell("SELECT COUNT(*) FROM VOCI_DOCUMENTO WHERE ID_DOCUMENTO = 20"), demoLines);  // rolled back
  EXPECT_EQ(Cell("SELECT CLI_FAT_ID FROM DOCUMENTO WHERE ID = 20"), "5");
  EXPECT_TRUE(Logged("Fattura 2 - file " + Path("000002.FAT") + " errata: file ignorato!"));
  EXPECT_TRUE(Logged(" - Importazione fattura 3 - file " + Path("000003.FAT") + "... ERRORE!"));
  EXPECT_TRUE(Logged("Si è verificato un errore durante l'importazione."));
  EXPECT_TRUE(Logged(" - Importazione fattura 6 - file " + Path("000006.FAT") + "... OK!"));
  EXPECT_TRUE(Logged("Importazione fatture terminata con successo."));
  EXPECT_TRUE(Exists("000001.FAT") && Exists("000002.FAT") && Exists("000006.FA0"));

  // Interactive: the question after the unreadable file, answered No, ends the run there.
  std::filesystem::rename(work_.File("000006.FA0"), work_.File("000006.FAT"));
  AnsweringUI ui(false);
  ScopedHostUI scope(ui);
  CTarvoImportSolvarFatture p;
  p.SetVerbose(true);
  window_ = std::make_unique<RecordingWindow>();
  p.SetParentWnd(window_.get());
  p.SetDestConfig(target_->Config());
  p.SetInDir(work_.Path());
  EXPECT_EQ(p.Run(), 0);
  ASSERT_EQ(ui.questions.size(), 1u);
  EXPECT_NE(ui.questions[0].find(W("Si è verificato un errore durante l'importazione.\n\nContinuare con la fattura successiva?")),
            CString::npos);
  EXPECT_TRUE(window_->WaitFinished());
  EXPECT_TRUE(Logged(" - Importazione fatture interrotta dall'utente"));
  EXPECT_TRUE(Logged("Importazione fatture fallita."));
  EXPECT_TRUE(Exists("000006.FAT"));

  // A stop before the first file.
  CEvent stop;
  stop.SetEvent();
  EXPECT_EQ(RunFatture(&stop), 0);
  const std::vector<std::string> stopped = Window().Texts();
  EXPECT_EQ(std::count(stopped.begin(), stopped.end(), "Operazione interrotta dall'utente."), 1);
  EXPECT_TRUE(Exists("000006.FAT"));
}

// --- order states --------------------------------------------------------------------------------

TEST_P(SolvarDocumentImport, OrderStatesUpdateTheOrdersTheyNameAndReplaceTheirLines) {
  CopySamples("stato_ordini");
  const CString orders = Cell("SELECT COUNT(*) FROM DOCUMENTO WHERE ID_CAUSALE = 15");
  ASSERT_EQ(RunStatoOrdini(), 1);
  EXPECT_TRUE(Logged("Importazione stato ordini termita con successo."));
  EXPECT_TRUE(Logged(" - Importazione stato ordine 07/000005 - file " + Path("07000005.tra") + "... OK!"));
  EXPECT_TRUE(Exists("07000005.tr0") && Exists("03000004.tr0"));
  EXPECT_EQ(Cell("SELECT COUNT(*) FROM DOCUMENTO WHERE ID_CAUSALE = 15"), orders);

  // A/5 of agent 7, status "A": state 3, the partner's number, its four lines again.
  EXPECT_EQ(Cell("SELECT SERIE || '|' || CAST(ID_STATO_ORDINE AS VARCHAR(3)) || '|' || NUMERO_DOCUMENTO || '|' || "
                 "CLI_FAT_LOCALITA FROM DOCUMENTO WHERE ID = 5"),
            "A|3|456|10121 - Torino TO");
  EXPECT_EQ(Cell("SELECT COUNT(*) FROM VOCI_DOCUMENTO WHERE ID_DOCUMENTO = 5"), "4");
  // The quantity keeps its implied decimals ("000005000"); prices and amounts get theirs back.
  EXPECT_EQ(Cell("SELECT QUANTITA FROM VOCI_DOCUMENTO WHERE ID_DOCUMENTO = 5 AND ID_ARTICOLO = 'CAR001'"), "5000");
  EXPECT_EQ(Cell("SELECT PREZZO_NETTO FROM VOCI_DOCUMENTO WHERE ID_DOCUMENTO = 5 AND ID_ARTICOLO = 'CAR002'"), "4.75");
  EXPECT_EQ(Cell("SELECT IMPORTO FROM VOCI_DOCUMENTO WHERE ID_DOCUMENTO = 5 AND ID_ARTICOLO = 'CAR002'"), "95.06");
  EXPECT_EQ(Cell("SELECT SCONTO_1 FROM VOCI_DOCUMENTO WHERE ID_DOCUMENTO = 5 AND ID_ARTICOLO = 'CAR002'"), "3");
  EXPECT_EQ(Totals("ID = 5"), "25506|5611|31117");
  // AG/4 of agent 3, status "E": state 4; a line without article is an "R" line without VAT.
  EXPECT_EQ(Cell("SELECT ID_STATO_ORDINE FROM DOCUMENTO WHERE ID = 33"), "4");
  EXPECT_EQ(Cell("SELECT TIPO || '|' || COALESCE(CODICE_IVA, '-') || '|' || DESCRIZIONE FROM VOCI_DOCUMENTO "
                 "WHERE ID_DOCUMENTO = 33 AND ID_ARTICOLO IS NULL"),
            "R|-|Consegna al mattino");
  EXPECT_EQ(Totals("ID = 33"), "3200|704|3904");
}

TEST_P(SolvarDocumentImport, UnknownOrdersAreCreatedInSeriesZAndFoundAgainOnTheNextLoad) {
  // A/5 sent back under two other names: agent 5 (looked up in series Z) with the status "x",
  // and agent 7 with order 123 and the status "P", for a customer the database does not know.
  std::string z = Sample("stato_ordini", "07000005.tra");
  z[1129] = 'x';
  std::string p = Sample("stato_ordini", "07000005.tra");
  p.replace(0, 27, std::string("Legatoria Nuova").append(12, ' '));
  p.replace(142, 27, "11122233344RSSMRA80A01L219X");
  p[1129] = 'P';
  for (int run = 0; run < 2; ++run) {
    Put("05000005.tra", z);
    Put("07000123.tra", p);
    ASSERT_EQ(RunStatoOrdini(), 1);
  }
  EXPECT_EQ(Cell("SELECT COUNT(*) FROM DOCUMENTO WHERE SERIE = 'Z'"), "2");
  EXPECT_EQ(Cell("SELECT CAST(NUMERO AS VARCHAR(9)) || '|' || CAST(ID_STATO_ORDINE AS VARCHAR(3)) || '|' || "
                 "CAST(ID_AGENTE_SEDE_SOCIETA AS VARCHAR(3)) FROM DOCUMENTO WHERE SERIE = 'Z' AND NUMERO = 5"),
            "5|-1|7");
  EXPECT_EQ(Cell("SELECT ID_STATO_ORDINE FROM DOCUMENTO WHERE SERIE = 'Z' AND NUMERO = 123"), "8");
  // The new order's second date: day and month of the file, year of the order date.
  EXPECT_EQ(Cell("SELECT DATA_CONSEGNA FROM DOCUMENTO WHERE SERIE = 'Z' AND NUMERO = 123").substr(0, 10), "2026-11-10");
  EXPECT_EQ(Cell("SELECT COUNT(*) FROM AZIENDA WHERE PARTITAIVA = '11122233344'"), "1");
  EXPECT_EQ(Cell("SELECT COUNT(*) FROM SEDE S JOIN AZIENDA A ON A.ID = S.IDAZIENDA WHERE A.PARTITAIVA = '11122233344' "
                 "AND S.IDZONAPOSTALE = 4"),
            "1");  // the demo's zone 10121 Torino
  EXPECT_TRUE(Exists("05000005.tr1") && Exists("07000123.tr1"));
  EXPECT_EQ(Cell("SELECT ID_STATO_ORDINE FROM DOCUMENTO WHERE ID = 5"), "5");  // A/5 itself untouched
}

TEST_P(SolvarDocumentImport, BadOrderFilesLeaveTheirOrderAsItWasAndFailTheRun) {
  std::string sample = Sample("stato_ordini", "07000005.tra");
  std::string anonymous = sample;
  anonymous.replace(142, 27, std::string(27, ' '));
  Put("07000005.tra", anonymous);
  std::string badLine = Sample("stato_ordini", "03000004.tra");
  badLine.replace(badLine.find("CAR001") + 22, 9, "0000x0160");
  Put("03000004.tra", badLine);
  std::string badDate = sample;
  badDate.replace(360, 6, "319926");
  Put("07000008.tra", badDate);

  EXPECT_EQ(RunStatoOrdini(), 0);
  EXPECT_TRUE(Logged(" -- Impossibile importare l'ordine: PARTITAIVA e CODICEFISCALE vuoti"));
  EXPECT_TRUE(Logged(" - ERRORE db nell'inserimento di una voce"));
  EXPECT_TRUE(Logged(" - CODICE ARTICOLO: CAR001"));
  EXPECT_TRUE(Logged("ERRORE durante l'inserimento della testata del documento"));
  EXPECT_TRUE(Logged("Si è verificato un errore durante l'importazione."));
  EXPECT_TRUE(Logged("Importazione stato ordini terminata con errori."));
  EXPECT_EQ(Cell("SELECT ID_STATO_ORDINE FROM DOCUMENTO WHERE ID = 33"), "5");
  EXPECT_EQ(Cell("SELECT COUNT(*) FROM VOCI_DOCUMENTO WHERE ID_DOCUMENTO = 33"), "1");
  EXPECT_EQ(Cell("SELECT ID_STATO_ORDINE FROM DOCUMENTO WHERE ID = 8"), "6");
  EXPECT_TRUE(Exists("07000005.tra") && Exists("03000004.tra") && Exists("07000008.tra"));
}

// The whole cycle with the partner: the order export writes A/5 of agent 7 and moves it to state
// 6, the partner sends the same file back as ".tra" with "E", and the state import puts state 4
// on the order without losing a line or changing an amount.
TEST_P(SolvarDocumentImport, AnExportedOrderSentBackWithAStatusLetterTakesItsNewState) {
  const std::string lines = "SELECT COUNT(*) || '|' || CAST(ROUND(SUM(IMPORTO) * 100) AS INTEGER) FROM VOCI_DOCUMENTO "
                            "WHERE ID_DOCUMENTO = 5";
  const CString before = Cell(lines);
  RecordingWindow window;
  CTarvoExportSolvarOrdini out;
  out.SetParentWnd(&window);
  out.SetVerbose(false);
  out.SetSrcConfig(target_->Config());
  out.SetOutDir(work_.Path());
  ASSERT_EQ(out.Run(), 1);
  window.WaitFinished();
  ASSERT_EQ(Cell("SELECT ID_STATO_ORDINE FROM DOCUMENTO WHERE ID = 5"), "6");

  std::string sent = ReadFileBytes(work_.File("07000005.ord"));
  ASSERT_GT(sent.size(), 1129u);
  sent[1129] = 'E';
  for (const char* name : {"00000006.ord", "03000004.ord", "07000005.ord"}) std::filesystem::remove(work_.File(name));
  Put("07000005.tra", sent);
  ASSERT_EQ(RunStatoOrdini(), 1);
  EXPECT_EQ(Cell("SELECT ID_STATO_ORDINE FROM DOCUMENTO WHERE ID = 5"), "4");
  EXPECT_EQ(Cell(lines), before);
  EXPECT_EQ(Cell("SELECT COUNT(*) FROM DOCUMENTO WHERE ID_CAUSALE = 15 AND SERIE = 'Z'"), "0");
  EXPECT_TRUE(Exists("07000005.tr0"));
}

INSTANTIATE_TEST_SUITE_P(Drivers, SolvarDocumentImport, testing::ValuesIn(AllDbKinds()), DbKindName);

}  // namespace
