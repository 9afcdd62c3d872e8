// The Pellor article import (16) against pyftpdlib on loopback with the sample package of
// scripts/make_pellor_sample.py, and the combined article import (17) on its own, on SQLite and
// PostgreSQL over the demo company.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <utime.h>

#include <filesystem>
#include <set>

#include "partners/pellor/import_pellor_articoli.h"
#include "partners/pellor/import_solvar_pellor_articoli.h"
#include "platform/files.h"
#include "platform/zip_archive.h"
#include "support/ftp_server.h"
#include "support/recording_window.h"
#include "support/subprocess.h"
#include "pellor_fixture.h"

using namespace tarvo;
using namespace tarvo::test;

namespace {

std::set<std::string> FilesIn(const std::string& folder) {
  std::set<std::string> names;
  for (const auto& e : std::filesystem::directory_iterator(folder)) names.insert(e.path().filename().string());
  return names;
}

bool Has(const std::vector<std::string>& lines, const std::string& text) {
  return std::find(lines.begin(), lines.end(), text) != lines.end();
}

class PellorImport : public PellorDemoCompany {
 protected:
  void SetUp() override {
    PellorDemoCompany::SetUp();
    if (IsSkipped() || HasFailure()) return;
    ProcessResult made = RunProcess(
        {"/usr/bin/python3", std::string(TARVO_SOURCE_DIR) + "/scripts/make_pellor_sample.py", package_.Path()});
    ASSERT_EQ(made.exit_code, 0) << made.err;
  }

  // Procedure 16 on the loopback server's folder `remote`, unpacking into `out`.
  static void Configure(CTarvoImportPellorArticoli& p, const FtpServer& server, const char* remote,
                        const std::string& out) {
    p.SetFtpServer(server.Address());
    p.SetFtpUID("foto");
    p.SetFtpPWD("segreta");
    p.SetInDir(remote);
    p.SetOutDir(out);
  }

  // The articles, categories and stock rows, in one text per table, to compare before and after.
  std::vector<std::string> Snapshot() {
    return {Join(Column("SELECT ID || ':' || COALESCE(DESCRIZIONE, '') FROM ARTICOLO ORDER BY ID")),
            Join(Column("SELECT ID FROM CATEGORIA ORDER BY ID")),
            Join(Column("SELECT ID_ARTICOLO FROM MOVIMENTO_ARTICOLO_DEPOSITO ORDER BY 1"))};
  }
  static std::string Join(const std::vector<std::string>& values) {
    std::string text;
    for (const std::string& v : values) text += v + ",";
    return text;
  }

  template <class Procedure>
  int Run(Procedure& p, std::vector<std::string>& lines) {
    RecordingWindow window;
    p.SetParentWnd(&window);
    p.SetVerbose(false);
    p.SetEventStop(stop_);
    p.SetDestConfig(db_->Config());
    int result = p.Run();
    EXPECT_TRUE(window.WaitFinished());
    EXPECT_EQ(window.Result(), result);
    lines = window.Texts();
    return result;
  }

  void Unpack() {
    CUnzipper zip;
    ASSERT_TRUE(zip.OpenZip(package_.File("archivi.zip")));
    ASSERT_TRUE(zip.Unzip(unpacked_.Path(), true));
  }

  TempDir package_, unpacked_;
  CEvent stop_;
};

TEST_P(PellorImport, FetchesThePackageMirrorsThePhotosAndReplacesTheArticleMaster) {
  FtpServer server;
  std::string why;
  if (!server.Running(&why)) GTEST_SKIP() << why;
  std::filesystem::copy(package_.Path(), server.RootFile("pellor"));
  TempDir out;
  WriteFileBytes(out.File("OLD999.jpg"), "unlisted");
  // Listed as newer but of the same size: counts as current and stays as it is.
  WriteFileBytes(out.File("PEL002.jpg"), std::string(std::filesystem::file_size(package_.File("PEL002.jpg")), 'x'));
  struct utimbuf old {1000000000, 1000000000};
  ::utime(out.File("PEL002.jpg").c_str(), &old);

  CTarvoImportPellorArticoli p;
  Configure(p, server, "\\pellor", out.Path());
  std::vector<std::string> lines;
  ASSERT_EQ(Run(p, lines), 1) << testing::PrintToString(lines);

  EXPECT_TRUE(Has(lines, " - 2 foto articolo da scaricare.")) << testing::PrintToString(lines);
  EXPECT_EQ(FilesIn(out.Path()), (std::set<std::string>{"ALI001.jpg", "PEL001.jpg", "PEL002.jpg", "archivi.zip",
                                                         "articoli.txt", "disponib.txt", "fotoinfo.txt",
                                                         "settori.txt"}));
  EXPECT_EQ(ReadFileBytes(out.File("PEL001.jpg")), ReadFileBytes(package_.File("PEL001.jpg")));
  EXPECT_EQ(ReadFileBytes(out.File("PEL002.jpg"))[0], 'x');
  std::tm stamp{};
  stamp.tm_year = 126, stamp.tm_mon = 2, stamp.tm_mday = 16, stamp.tm_hour = 10, stamp.tm_min = 15, stamp.tm_isdst = -1;
  struct stat st {};
  ::stat(out.File("PEL001.jpg").c_str(), &st);
  EXPECT_EQ(st.st_mtime, std::mktime(&stamp)) << "stamped with the listed time";

  // Articles used by documents stay (ALI001 updated from the file), unused ones not in the file go.
  std::vector<std::string> ids = Column("SELECT ID FROM ARTICOLO ORDER BY ID");
  std::vector<std::string> used = Column(
      "SELECT DISTINCT ID_ARTICOLO FROM VOCI_DOCUMENTO WHERE ID_ARTICOLO IS NOT NULL ORDER BY ID_ARTICOLO");
  std::set<std::string> expected(used.begin(), used.end());
  expected.insert({"ALI001", "PEL001", "PEL002", "PEL003"});
  EXPECT_EQ(std::set<std::string>(ids.begin(), ids.end()), expected);
  EXPECT_EQ(Column("SELECT CODICE_BARRE || '|' || DESCRIZIONE || '|' || DESCRIZIONE_BREVE || '|' || CODICE_IVA "
                       "|| '|' || ID_CATEGORIA || '|' || FOTO || '|' || CONFEZIONE FROM ARTICOLO WHERE ID = 'ALI001'"),
            std::vector<std::string>{"0000000ALI001|Spaghetti di semola 500 g (Pellor)|Art. ALI001|20|001|ALI001.jpg|24"});
  EXPECT_EQ(Column("SELECT PREZZO FROM ARTICOLO WHERE ID = 'PEL001'").at(0).substr(0, 3), "6.5");
  EXPECT_EQ(Column("SELECT CONFEZIONE FROM ARTICOLO WHERE ID = 'PEL002'"), std::vector<std::string>{"1"});
  EXPECT_EQ(Column("SELECT ID || ':' || DESCRIZIONE || ':' || F_PUBBLICA FROM CATEGORIA ORDER BY ID"),
            (std::vector<std::string>{"001:Alimentari:1", "002:Categoria 002:1", "007:~ Fuori catalogo:1"}));
  EXPECT_EQ(Column("SELECT ID_ARTICOLO FROM MOVIMENTO_ARTICOLO_DEPOSITO ORDER BY ID_ARTICOLO"),
            (std::vector<std::string>{"ALI001", "PEL001"}));
  EXPECT_EQ(Column("SELECT GIACENZA FROM MOVIMENTO_ARTICOLO_DEPOSITO WHERE ID_ARTICOLO = 'ALI001'").at(0).substr(0, 3),
            "120");
  EXPECT_TRUE(Has(lines, W("      diponibilità articolo ZZZ999 non aggiornata")));
}

TEST_P(PellorImport, TheLastPartialPhotoRecordEndsTheList) {
  struct Probe : CTarvoImportPellorArticoli {
    using CTarvoImportPellorArticoli::GetFotoInfoFromFile;
    using CTarvoImportPellorArticoli::m_mapFotoInfo;
  } p;
  TempDir out;
  WriteFileBytes(out.File("fotoinfo.txt"), "ABC12320070315093000000012345\r\nDEF45620070315");
  p.SetOutDir(out.Path());
  ASSERT_TRUE(p.GetFotoInfoFromFile());
  ASSERT_EQ(p.m_mapFotoInfo.size(), 1u);
  std::tm when{};
  when.tm_year = 107, when.tm_mon = 2, when.tm_mday = 15, when.tm_hour = 9, when.tm_min = 30, when.tm_isdst = -1;
  EXPECT_EQ(p.m_mapFotoInfo["ABC123"].modified, std::mktime(&when));
  EXPECT_EQ(p.m_mapFotoInfo["ABC123"].size, 12345);
}

// --- error paths: the combined import leaves the database exactly as it was ---

struct BrokenPackage {
  const char* name;
  const char* file;       // the file to replace ("" = none)
  std::string contents;   // its new contents; "-" removes it
  const char* line;       // a line the run must log
};

TEST_P(PellorImport, AnyFailureOrStopLeavesTheDatabaseAsItWas) {
  const std::string badCategory = std::string("PEL009") + std::string(245, ' ') + "099\r\n";
  const BrokenPackage cases[] = {
      {"missing categories", "settori.txt", "-", "Errore durante la lettura del file Categorie."},
      {"category beyond the table", "articoli.txt", badCategory, "Importazione dati ERRORE"},
      {"missing availability", "disponib.txt", "-", " - Lettura file ERRORE"},
      {"stop", "", "", "Importazione dati INTERROTTA dall'utente"},
  };
  Unpack();
  const std::vector<std::string> before = Snapshot();
  for (const BrokenPackage& c : cases) {
    SCOPED_TRACE(c.name);
    TempDir scratch;
    for (const auto& e : std::filesystem::directory_iterator(unpacked_.Path()))
      std::filesystem::copy(e.path(), scratch.File(e.path().filename().string()));
    if (*c.file) {
      if (c.contents == "-") std::filesystem::remove(scratch.File(c.file));
      else WriteFileBytes(scratch.File(c.file), c.contents);
    }
    if (!*c.file) stop_.SetEvent();
    CTarvoImportSolvarPellorArticoli p;
    p.SetInDir(scratch.Path());
    std::vector<std::string> lines;
    EXPECT_EQ(Run(p, lines), 0);
    stop_.ResetEvent();
    EXPECT_TRUE(Has(lines, c.line)) << testing::PrintToString(lines);
    EXPECT_EQ(Snapshot(), before);
  }
}

TEST_P(PellorImport, AnArchiveThatIsMissingOrClimbsOutIsRefusedAndNothingIsUpdated) {
  FtpServer server;
  std::string why;
  if (!server.Running(&why)) GTEST_SKIP() << why;
  ::mkdir(server.RootFile("pellor").c_str(), 0777);
  const std::vector<std::string> before = Snapshot();
  TempDir out;
  const std::string outside = std::filesystem::path(out.Path()).parent_path().string() + "/evil.txt";
  std::filesystem::remove(outside);
  for (bool present : {false, true}) {
    if (present) {
      // An archive whose only entry climbs out of the folder.
      CZipper zip;
      WriteFileBytes(package_.File("evil.txt"), "x");
      ASSERT_TRUE(zip.OpenZip(server.RootFile("pellor/archivi.zip")));
      ASSERT_TRUE(zip.AddFileToZip(package_.File("evil.txt"), true));
      ASSERT_TRUE(zip.CloseZip());
      std::string bytes = ReadFileBytes(server.RootFile("pellor/archivi.zip"));
      for (size_t at = bytes.find("evil.txt"); at != std::string::npos; at = bytes.find("evil.txt", at + 8))
        bytes.replace(at - 3, 11, "../evil.txt");
      WriteFileBytes(server.RootFile("pellor/archivi.zip"), bytes);
    }
    CTarvoImportPellorArticoli p;
    Configure(p, server, "pellor", out.Path());
    std::vector<std::string> lines;
    EXPECT_EQ(Run(p, lines), 0);
    EXPECT_TRUE(Has(lines, present ? " - Estrazione archivi da " + out.Path() + "\\archivi.zip ERRORE!"
                                   : " - Download file archivi.zip ERRORE!"))
        << testing::PrintToString(lines);
    EXPECT_TRUE(Has(lines, "Alcune operazioni potrebbero non essere state eseguite correttamente!"));
    EXPECT_FALSE(std::filesystem::exists(outside));
    EXPECT_EQ(Snapshot(), before);
  }
}

INSTANTIATE_TEST_SUITE_P(Drivers, PellorImport, testing::ValuesIn(AllDbKinds()), DbKindName);

}  // namespace
