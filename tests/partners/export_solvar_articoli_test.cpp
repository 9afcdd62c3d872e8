#include "partners/solvar/export_solvar_articoli.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <set>

#include "partners/solvar/solvar_files.h"
#include "platform/files.h"
#include "support/recording_window.h"
#include "support/test_db.h"

using namespace tarvo;
using namespace tarvo::test;

namespace {

const char* const kFiles[] = {"settori.txt", "famiglie.txt", "gruppi.txt", "aliquiva.txt", "articoli.txt", "albero.txt"};

std::string Fixture(const std::string& set, const std::string& name) {
  return ReadText(std::string(TARVO_TEST_DATA_DIR) + "/solvar/" + set + "/" + name);
}

// The records of a file, split at CR LF; a bare LF or a missing last CR LF fails the test.
std::vector<std::string> Records(const std::string& bytes) {
  std::vector<std::string> records;
  size_t start = 0, end;
  while ((end = bytes.find("\r\n", start)) != std::string::npos) {
    records.push_back(bytes.substr(start, end - start));
    EXPECT_EQ(records.back().find('\n'), std::string::npos) << "bare line feed in a record";
    start = end + 2;
  }
  EXPECT_EQ(start, bytes.size()) << "bytes after the last CR LF";
  return records;
}

class SolvarArticleExport : public DbTest {
 protected:
  void SetUp() override {
    DbTest::SetUp();
    if (IsSkipped() || HasFailure()) return;
    source_ = &NewDatabase();
    source_->LoadSchema("company.sql");
  }

  // Runs the export of the source (or of `src`) into `folder` ("" for the current folder).
  int Run(const CString& folder, const CString* parametro = nullptr, const CString& src = {}) {
    CTarvoExportSolvarArticoli p;
    p.SetParentWnd(&window_);
    p.SetSrcConfig(src.empty() ? source_->Config() : src);
    p.SetOutDir(folder);
    p.SetVerbose(false);
    if (parametro) p.SetFilterParam("parametro", *parametro);
    int result = p.Run();
    window_.WaitFinished();
    return result;
  }

  std::string Output(const std::string& name) { return ReadFileBytes(out_.File(name)); }

  ScratchDatabase* source_ = nullptr;
  TempDir out_;
  RecordingWindow window_;
};

}  // namespace

// --- the files ---------------------------------------------------------------------------------
// An empty "parametro" selects everything, as an absent one does; the tree still leaves out the
// family without a category (99).
TEST_P(SolvarArticleExport, DemoFilesMatchTheFixturesAndEveryRecordHasItsLength) {
  source_->LoadSchema("demo/demo.sql");
  const CString empty;
  ASSERT_EQ(Run(out_.Path(), &empty), 1);
  EXPECT_EQ(window_.Result(), 1);
  for (const char* name : kFiles) EXPECT_EQ(Output(name), Fixture("demo", name)) << name;

  const std::pair<const char*, std::set<size_t>> lengths[] = {
      {"settori.txt", {32}}, {"famiglie.txt", {32}}, {"gruppi.txt", {32}}, {"albero.txt", {8}},
      {"articoli.txt", {size_t(solvar::kArticoliRecordLength)}}, {"aliquiva.txt", {36, 37}}};
  for (const auto& [name, allowed] : lengths)
    for (const std::string& r : Records(Output(name))) EXPECT_TRUE(allowed.count(r.size())) << name << ": " << r;
}

TEST_P(SolvarArticleExport, LongValuesAreCutNumbersGrowAndTheLogShowsWholeValues) {
  CDatabase& db = source_->Db();
  db.ExecuteSQL("INSERT INTO CATEGORIA (ID, DESCRIZIONE) VALUES (?, ?)", {CString("0123"), W("Attività all'aperto e giardinaggio")});
  db.ExecuteSQL("INSERT INTO CATEGORIA (ID) VALUES ('02')");
  db.ExecuteSQL("INSERT INTO FAMIGLIA (ID, DESCRIZIONE, ID_CATEGORIA) VALUES ('21', 'Famiglia', '02')");
  db.ExecuteSQL("INSERT INTO FAMIGLIA (ID, DESCRIZIONE) VALUES ('99', 'Senza categoria')");
  db.ExecuteSQL("INSERT INTO IVA (CODICE, DESCRIZIONE, ALIQUOTA) VALUES ('21', 'Aliquota ventuno', 21)");
  db.ExecuteSQL("INSERT INTO IVA (CODICE, DESCRIZIONE, ALIQUOTA) VALUES ('4', 'Minima', 4)");
  db.ExecuteSQL(
      "INSERT INTO ARTICOLO (ID, DESCRIZIONE, PREZZO, CONFEZIONE, ID_UNITA_MISURA, CODICE_IVA, ID_CATEGORIA, F_ATTIVO, "
      "PREZZO_2, SCONTO_1, SCONTO_2, SCONTO_3, PROVVIGIONE) VALUES ('ABCDEFGHIJKLMNO', "
      "'Tosaerba elettrico a spinta con raccoglitore da 40 litri, la', -3.5, 3, 'PZ', '4', '0123', 0, "
      "1234567.125, 5, -2.5, 123.456, 22)");
  db.ExecuteSQL("INSERT INTO ARTICOLO (ID, DESCRIZIONE, PREZZO, ID_CATEGORIA, ID_FAMIGLIA, ID_GRUPPO, ID_CLASSE) "
                "VALUES ('B2', 'Breve', 12.5, '02', '21', 'NA', 'X')");
  ASSERT_EQ(Run(out_.Path()), 1);
  for (const char* name : kFiles) EXPECT_EQ(Output(name), Fixture("edge", name)) << name;
  EXPECT_TRUE(window_.HasLine(W(" -- Esportazione categoria 0123 Attività all'aperto e giardinaggio")));
  EXPECT_TRUE(window_.HasLine(" -- Esportazione articolo ABCDEFGHIJKLMNO"));
  EXPECT_TRUE(window_.HasLine(" -- Esportazione associazione 02 21"));
  EXPECT_TRUE(window_.HasLine(" - Scrittura file Gruppi terminata con successo.")) << "an empty table is no failure";
}

TEST_P(SolvarArticleExport, ParametroNarrowsEverythingButGroupsAndVatRates) {
  source_->LoadSchema("demo/demo.sql");
  const CString list = "'01','02'";
  ASSERT_EQ(Run(out_.Path(), &list), 1);
  auto codes = [&](const char* name, size_t from, size_t width) {
    std::set<std::string> seen;
    for (const std::string& r : Records(Output(name))) seen.insert(r.substr(from, width));
    return seen;
  };
  using Set = std::set<std::string>;
  EXPECT_EQ(codes("settori.txt", 0, 2), (Set{"01", "02"}));
  EXPECT_EQ(codes("famiglie.txt", 0, 2), (Set{"11", "12", "13", "21", "22", "23"}));
  EXPECT_EQ(codes("articoli.txt", 102, 2), (Set{"01", "02"}));
  EXPECT_EQ(codes("albero.txt", 0, 2), (Set{"01", "02"}));
  EXPECT_EQ(Output("gruppi.txt"), Fixture("demo", "gruppi.txt"));
  EXPECT_EQ(Output("aliquiva.txt"), Fixture("demo", "aliquiva.txt"));
}

TEST_P(SolvarArticleExport, WithoutAnOutputFolderTheFilesLandInTheCurrentFolder) {
  source_->Execute("INSERT INTO GRUPPO (ID, DESCRIZIONE) VALUES ('NA', 'Nazionale')");
  const CString previous = GetCurrentDirectory();
  ASSERT_TRUE(SetCurrentDirectory(out_.Path()));
  int result = Run("");
  SetCurrentDirectory(previous);
  ASSERT_EQ(result, 1);
  for (const char* name : kFiles) EXPECT_TRUE(FileExists(out_.File(name))) << name;
  EXPECT_EQ(Output("gruppi.txt"), "NANazionale                     \r\n");
  EXPECT_TRUE(window_.HasLine(" - (gruppi.txt)"));
}

// --- the log -----------------------------------------------------------------------------------
TEST_P(SolvarArticleExport, LogsEveryStepRowAndTheSummary) {
  source_->Execute("INSERT INTO GRUPPO (ID, DESCRIZIONE) VALUES ('NA', 'Nazionale')");
  source_->Execute("INSERT INTO ARTICOLO (ID, DESCRIZIONE) VALUES ('A1', 'Uno')");
  ASSERT_EQ(Run(out_.Path()), 1);
  const std::string dir = out_.Path();
  std::vector<std::string> expected = {
      "Database sorgente aperto.",
      "Inizio esportazione dati",
      " - Scrittura file Categorie ...",
      " - Scrittura file Categorie terminata con successo.",
      " - (" + dir + "\\settori.txt)",
      " - Scrittura file Famiglie ...",
      " - Scrittura file Famiglie terminata con successo.",
      " - (" + dir + "\\famiglie.txt)",
      " - Scrittura file Gruppi ...",
      " -- Esportazione gruppo NA Nazionale",
      " - Scrittura file Gruppi terminata con successo.",
      " - (" + dir + "\\gruppi.txt)",
      " - Scrittura file Aliquote ...",
      " - Scrittura file Aliquote terminata con successo.",
      " - (" + dir + "\\aliquiva.txt)",
      " - Scrittura file Articoli in corso ...",
      " -- Esportazione articolo A1",
      " - Scrittura file Articoli terminata con successo",
      " - (" + dir + "\\articoli.txt)",
      " - Scrittura file Albero ...",
      " - Scrittura file Albero terminata con successo.",
      " - (" + dir + "\\albero.txt)",
      "Importazione dati terminata con successo: 00h:00m:0?s.",  // a run takes under ten seconds
      "Operazione completata.",
      "Database sorgente chiuso.",
  };
  std::vector<std::string> texts = window_.Texts();
  for (std::string& t : texts) t = std::regex_replace(t, std::regex("(successo: 00h:00m:0)[0-9]s\\.$"), "$1?s.");
  EXPECT_EQ(texts, expected);
}

// --- failures ------------------------------------------------------------------------------------
TEST_P(SolvarArticleExport, AMissingOutputFolderFailsEveryFileButTheRunGoesOn) {
  ASSERT_EQ(Run(out_.File("missing")), 0);
  EXPECT_EQ(window_.Result(), 0);
  for (const char* file : {"Categorie", "Famiglie", "Gruppi", "Aliquote IVA", "Articoli", "Albero"})
    EXPECT_TRUE(window_.HasLine(std::string("Errore durante la scrittura del file ") + file + ".")) << file;
  EXPECT_TRUE(window_.HasLine(" - Scrittura file Articoli fallita."));
  EXPECT_TRUE(window_.HasLine("Operazione completata."));
  std::vector<std::string> texts = window_.Texts();
  auto failed = std::find(texts.begin(), texts.end(), " - Scrittura file Categorie fallita.");
  ASSERT_NE(failed, texts.end());
  EXPECT_EQ(failed[1].rfind("- Errore file: ", 0), 0u) << failed[1];
  EXPECT_EQ(std::count_if(texts.begin(), texts.end(),
                          [](const std::string& t) { return t.rfind("Importazione dati terminata con errori: ", 0) == 0; }),
            1);
}

TEST_P(SolvarArticleExport, ADatabaseErrorLosesOnlyItsOwnFile) {
  source_->LoadSchema("demo/demo.sql");
  source_->Execute("DROP TABLE GRUPPO");
  ASSERT_EQ(Run(out_.Path()), 0);
  std::vector<std::string> texts = window_.Texts();
  auto failed = std::find(texts.begin(), texts.end(), " - Scrittura file Gruppi fallita.");
  ASSERT_NE(failed, texts.end());
  EXPECT_EQ(failed[1].rfind("- Errore database: ", 0), 0u) << failed[1];
  EXPECT_EQ(failed[2], "Errore durante la scrittura del file Gruppi.");
  EXPECT_EQ(Output("gruppi.txt"), "") << "the file opened before the failure stays";
  for (const char* name : {"settori.txt", "famiglie.txt", "aliquiva.txt", "articoli.txt", "albero.txt"})
    EXPECT_EQ(Output(name), Fixture("demo", name)) << name;
}

TEST_P(SolvarArticleExport, AnUnreachableSourceWritesNoFile) {
  EXPECT_EQ(Run(out_.Path(), nullptr, "DRIVER={No Such Driver};DATABASE=x"), -1);
  EXPECT_EQ(window_.Result(), 0);
  EXPECT_TRUE(std::filesystem::is_empty(out_.Path()));
}

INSTANTIATE_TEST_SUITE_P(Drivers, SolvarArticleExport, testing::ValuesIn(AllDbKinds()), DbKindName);

TEST(SolvarElapsed, PrintsHoursWithinTheDayMinutesAndSeconds) {
  EXPECT_EQ(solvar::FormatElapsed(207), "00h:03m:27s");
  EXPECT_EQ(solvar::FormatElapsed(86400 + 3661), "01h:01m:01s");
}
