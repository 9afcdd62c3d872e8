// The media catalogue (1001) on every driver: the demo company's four files against fixtures
// written by hand, the run's lines, and the parts' edge cases.
#include "publishing/export_media_catalogo.h"

#include <gmock/gmock.h>

#include "platform/files.h"
#include "support/recording_window.h"
#include "support/test_db.h"

using namespace tarvo;
using namespace tarvo::test;

namespace {

const char* const kFiles[] = {"categorie.xml", "famiglie.xml", "articoli.xml", "azienda.xml"};
const char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?>";

class MediaCatalogue : public DbTest {
 protected:
  void SetUp() override {
    DbTest::SetUp();
    if (IsSkipped() || HasFailure()) return;
    source_ = &NewDatabase();
    source_->LoadSchema("company.sql");
  }

  int Run(const CString& folder) {
    CTarvoExportMediaCatalogo p;
    p.SetParentWnd(&window_);
    p.SetSrcConfig(source_->Config());
    p.SetOutDir(folder);
    p.SetVerbose(false);
    p.SetEventStop(stop_);
    int result = p.Run();
    window_.WaitFinished();
    return result;
  }
  std::string Output(const std::string& name) { return ReadFileBytes(out_.File(name)); }

  ScratchDatabase* source_ = nullptr;
  TempDir out_;
  RecordingWindow window_;
  CEvent stop_;
};

TEST_P(MediaCatalogue, DemoCompanyGivesTheFourFilesAndThePartLines) {
  source_->LoadSchema("demo/demo.sql");
  ASSERT_EQ(1, Run(out_.Path()));
  EXPECT_EQ(1, window_.Result());
  for (const char* name : kFiles)
    EXPECT_EQ(ReadText(std::string(TARVO_TEST_DATA_DIR) + "/publishing/" + name), Output(name)) << name;

  std::vector<std::string> texts = window_.Texts();
  const std::string separator(33, '-');
  auto at = [&](const std::string& line) { return std::find(texts.begin(), texts.end(), line) - texts.begin(); };
  EXPECT_EQ(separator, texts[at("Inizio esportazione categorie.") - 1]);
  EXPECT_EQ(" - Esportazione categoria 01.", texts[at("Inizio esportazione categorie.") + 1]);
  EXPECT_EQ("Fine esportazione categorie.", texts[at("Inizio esportazione famiglie.") - 2]);
  EXPECT_EQ(" - Esportazione famiglia 21.", texts[at("Inizio esportazione famiglie.") + 1]);
  EXPECT_EQ("Esportazione articolo ALI001.", texts[at("Inizio esportazione articoli.") + 1]);
  EXPECT_EQ(W("Esportazione informazioni società"), texts[at(W("Inizio esportazione informazioni società.")) + 1]);
  EXPECT_EQ((std::vector<std::string>{W("Fine esportazione informazioni società."), separator,
                                      "Operazione completata con successo.", "Database sorgente chiuso."}),
            std::vector<std::string>(texts.end() - 4, texts.end()));
}

TEST_P(MediaCatalogue, EmptyTablesGiveEmptyRootsAndAHeadOfficeWithoutPostalCodeStartsWithTheDash) {
  CDatabase& db = source_->Db();
  db.ExecuteSQL("INSERT INTO SOCIETA (ID, RAGIONESOCIALE, PARTITAIVA) VALUES (1, 'Ditta & figli', '01234567890')");
  db.ExecuteSQL(W("INSERT INTO ZONA_POSTALE (ID, CAP, NOMEZONAPOSTALE, SIGLAPROVINCIA) VALUES (1, '', 'Forlì', 'FC')"));
  db.ExecuteSQL("INSERT INTO SEDE_SOCIETA (ID, IDSOCIETA, INDIRIZZO, IDZONAPOSTALE, F_SEDE_LEGALE) "
                "VALUES (1, 1, 'Via \"Roma\" 1', 1, 1)");
  ASSERT_EQ(1, Run(out_.Path()));
  EXPECT_EQ(std::string(kDeclaration) + "<categorie/>", Output("categorie.xml"));
  EXPECT_EQ(std::string(kDeclaration) + "<articoli/>", Output("articoli.xml"));
  EXPECT_EQ(std::string(kDeclaration) +
                "<aziende><azienda ragione_sociale=\"Ditta &amp; figli\" partita_iva=\"01234567890\" "
                "indirizzo=\"Via &quot;Roma&quot; 1\" citta=\" - Forl\xC3\xAC (FC)\"/></aziende>",
            Output("azienda.xml"));
}

TEST_P(MediaCatalogue, CompanyWithoutHeadOfficeRecordGivesTheEmptyRoot) {
  source_->Db().ExecuteSQL("INSERT INTO SOCIETA (ID, RAGIONESOCIALE) VALUES (1, 'Sola')");
  ASSERT_EQ(1, Run(out_.Path()));
  EXPECT_EQ(std::string(kDeclaration) + "<aziende/>", Output("azienda.xml"));
}

TEST_P(MediaCatalogue, WithoutOutputFolderTheFilesGoToTheCurrentFolder) {
  source_->LoadSchema("demo/demo.sql");
  const CString previous = GetCurrentDirectory();
  ASSERT_TRUE(SetCurrentDirectory(out_.Path()));
  int result = Run("");
  SetCurrentDirectory(previous);
  ASSERT_EQ(1, result);
  for (const char* name : kFiles) EXPECT_TRUE(FileExists(out_.File(name))) << name;
}

TEST_P(MediaCatalogue, StopRequestStillWritesFourFilesAndEndsWithOne) {
  source_->LoadSchema("demo/demo.sql");
  stop_.SetEvent();
  ASSERT_EQ(1, Run(out_.Path()));
  EXPECT_EQ(1, window_.Result());
  EXPECT_EQ(std::string(kDeclaration) + "<categorie/>", Output("categorie.xml"));
  EXPECT_EQ(std::string(kDeclaration) + "<famiglie/>", Output("famiglie.xml"));
  EXPECT_EQ(std::string(kDeclaration) + "<articoli/>", Output("articoli.xml"));
  EXPECT_EQ(std::string(kDeclaration) + "<aziende/>", Output("azienda.xml"));
  auto texts = window_.Texts();
  EXPECT_EQ(4, std::count(texts.begin(), texts.end(), "Operazione interrotta dall'utente."));
}

INSTANTIATE_TEST_SUITE_P(Drivers, MediaCatalogue, testing::ValuesIn(AllDbKinds()), DbKindName);

}  // namespace
