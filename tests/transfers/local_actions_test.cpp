// The driver's local actions: execute, localexecute, command, delfile and zipfile.
#include <filesystem>

#include "platform/zip_archive.h"
#include "tests/xmlengine/engine_fixture.h"

namespace tarvo::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

const std::string kSeparator(68, '-');

// --- execute -----------------------------------------------------------------------------------
TEST(Execute, StatementIsJoinedAcrossLinesAndWrittenToTheNextNumberedFile) {
  DriverRun run;
  run.engine.SetFilterParam("valore", "1");
  ASSERT_EQ(1, run.Run("<execute filename=\"primo.xml\">DELETE FROM T</execute>\n"
                       "<execute filename=\"secondo.xml\">DELETE FROM U</execute>\n"
                       "<execute>\n  UPDATE X\nSET F_ATTIVO=@valore  \n</execute>"));
  ASSERT_TRUE(FileExists(run.Work("003_EXECUTE.xml")));
  std::string data = ReadBytes(run.Work("003_EXECUTE.xml"));
  EXPECT_THAT(data, HasSubstr("<execute>UPDATE XSET F_ATTIVO=1</execute>"));
  EXPECT_THAT(data, HasSubstr("<exchangedata"));
  EXPECT_EQ((std::vector<CString>{"primo.xml", "secondo.xml", "003_EXECUTE.xml"}), run.engine.GetProducedFiles());
  auto lines = run.Lines();
  EXPECT_EQ(3, std::count(lines.begin(), lines.end(), "- Avvio trasferimento execute query"));
  EXPECT_EQ(3, std::count(lines.begin(), lines.end(), "- Fine trasferimento execute query"));
}

// --- localexecute (on both database kinds) -----------------------------------------------------
class LocalExecute : public DbTest {
 protected:
  void SetUp() override {
    DbTest::SetUp();
    if (IsSkipped()) return;
    source = &NewDatabase();
    destination = &NewDatabase();
    for (ScratchDatabase* db : {source, destination}) db->Execute("CREATE TABLE T (ID INTEGER, NOME VARCHAR(20))");
    run.engine.SetSrcConfig(source->Config());
    run.engine.SetDestConfig(destination->Config());
  }

  DriverRun run;
  ScratchDatabase* source = nullptr;
  ScratchDatabase* destination = nullptr;
};

TEST_P(LocalExecute, DestdbRunsOnTheDestinationAnythingElseOnTheSource) {
  run.engine.SetFilterParam("nome", "uno");
  ASSERT_EQ(1, run.Run("<localexecute targetdb=\"destdb\">INSERT INTO T VALUES (1,\n'@nome')</localexecute>\n"
                       "<localexecute targetdb=\"DESTDB\">INSERT INTO T VALUES (2, 'due')</localexecute>\n"
                       "<localexecute>INSERT INTO T VALUES (3, 'tre')</localexecute>"));
  EXPECT_THAT(Rows(destination->Db(), "SELECT ID, NOME FROM T ORDER BY ID"), ElementsAre("1|uno"));
  EXPECT_THAT(Rows(source->Db(), "SELECT ID, NOME FROM T ORDER BY ID"), ElementsAre("2|due", "3|tre"));
  EXPECT_TRUE(run.HasLine("- Avvio esecuzione locale query INSERT INTO T VALUES (1,'uno')"));
  EXPECT_TRUE(run.HasLine("- Fine esecuzione locale query INSERT INTO T VALUES (1,'uno')"));
}

TEST_P(LocalExecute, FailingStatementIsReportedAndStopsTheDriver) {
  EXPECT_EQ(0, run.Run("<localexecute>INSERT INTO NESSUNA VALUES (1)</localexecute>\n"
                       "<localexecute>INSERT INTO T VALUES (9, 'dopo')</localexecute>"));
  auto errors = run.LinesWith(TMS_ERROR);
  ASSERT_FALSE(errors.empty());
  EXPECT_THAT(errors[0], testing::StartsWith("-- Errore durante l'esecuzione locale della query: -1 "));
  EXPECT_THAT(errors[0], HasSubstr(GetParam() == DbKind::kSQLite ? "no such table" : "nessuna"));
  EXPECT_TRUE(run.HasLine("- Fine esecuzione locale query INSERT INTO NESSUNA VALUES (1)"));
  EXPECT_THAT(Rows(source->Db(), "SELECT COUNT(*) FROM T"), ElementsAre("0"));
}

TEST_P(LocalExecute, DatabaseThatCannotBeOpenedStopsTheDriver) {
  run.engine.SetDestConfig("DRIVER={Nessun driver};DATABASE=x");
  EXPECT_EQ(0, run.Run("<localexecute targetdb=\"destdb\">DELETE FROM T</localexecute>"));
  EXPECT_FALSE(run.HasLine("- Fine esecuzione locale query DELETE FROM T"));
}

INSTANTIATE_TEST_SUITE_P(Db, LocalExecute, testing::ValuesIn(AllDbKinds()), DbKindName);

// --- command -----------------------------------------------------------------------------------
TEST(Command, OutputIsLoggedLineByLineAndArgumentsAreNotInterpretedByAShell) {
  DriverRun run;
  run.engine.SetFilterParam("saluto", "ciao");
  ASSERT_EQ(1, run.Run("<command exefile=\"/bin/sh\" args=\"-c &quot;echo @saluto; echo errore &gt;&amp;2&quot;\"/>\n"
                       "<command exefile=\"echo\" args=\"uno;touch iniettato $(touch anche)\"/>"));
  auto lines = run.Lines();
  EXPECT_THAT(lines, Contains("- Esecuzione comando [\"/bin/sh\" -c \"echo ciao; echo errore >&2\"]."));
  EXPECT_THAT(lines, Contains("ciao"));
  EXPECT_THAT(lines, Contains("errore"));
  EXPECT_THAT(lines, Contains("uno;touch iniettato $(touch anche)"));
  EXPECT_FALSE(FileExists(run.Work("iniettato")));
  EXPECT_FALSE(FileExists(run.Work("anche")));
}

// --- delfile -----------------------------------------------------------------------------------
TEST(Delfile, WildcardDeletesTheFirstMatch) {
  DriverRun run;
  WriteBytes(run.Work("001_ARTICOLO.xml"), "x");
  ASSERT_EQ(1, run.Run("<delfile filename=\"@destfolder/*_ARTICOLO.xml\"/>"));
  EXPECT_FALSE(FileExists(run.Work("001_ARTICOLO.xml")));
  EXPECT_TRUE(run.HasLine("- File [" + std::filesystem::canonical(run.Work()).string() +
                          "/001_ARTICOLO.xml] eliminato."));
}

// --- zipfile -----------------------------------------------------------------------------------
std::vector<std::string> Unpack(const std::string& archive, const std::string& folder) {
  CUnzipper unzipper;
  EXPECT_TRUE(unzipper.OpenZip(archive));
  EXPECT_TRUE(unzipper.Unzip(folder, false));
  std::vector<std::string> names;
  for (const auto& e : std::filesystem::directory_iterator(folder)) names.push_back(e.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

TEST(Zipfile, CompressPacksTheProducedFilesWithoutFolders) {
  DriverRun run;
  std::filesystem::create_directories(run.Work("dati"));
  ASSERT_EQ(1, run.Run("<execute filename=\"dati/uno.xml\">A</execute>\n<execute>B</execute>\n"
                       "<zipfile action=\"compress\" filename=\"@destfolder/scambio.zip\"/>"));
  TempDir out;
  EXPECT_THAT(Unpack(run.Work("scambio.zip"), out.Path()), ElementsAre("002_EXECUTE.xml", "uno.xml"));
  auto lines = run.Lines();
  std::string archive = run.Work("scambio.zip");
  EXPECT_THAT(lines, Contains("+ Creazione archivio compresso [" + archive + "]."));
  EXPECT_THAT(lines, Contains("- Creazione archivio compresso " + archive + " in corso"));
  EXPECT_THAT(lines, Contains("- File dati/uno.xml aggiunto all'archivio"));
  EXPECT_THAT(lines, Contains("- File 002_EXECUTE.xml aggiunto all'archivio"));
  EXPECT_TRUE(run.LinesWith(TMS_ERROR).empty());
}

TEST(Zipfile, CompressBeforeAnyDataFileMakesAnEmptyArchive) {
  DriverRun run;
  ASSERT_EQ(1, run.Run("<zipfile action=\"compress\" filename=\"vuoto.zip\"/>"));
  CUnzipper unzipper;
  ASSERT_TRUE(unzipper.OpenZip(run.Work("vuoto.zip")));
  EXPECT_EQ(0, unzipper.GetFileCount());
}

TEST(Zipfile, ExtractUnpacksIntoTheCurrentFolderKeepingPaths) {
  DriverRun run;
  std::filesystem::copy_file(std::string(TARVO_TEST_DATA_DIR) + "/zip/nested_folders.zip", run.Work("in.zip"));
  ASSERT_EQ(1, run.Run("<zipfile action=\"extract\" filename=\"in.zip\"/>"));
  EXPECT_TRUE(FileExists(run.Work("dati/sub/001_ARTICOLO.xml")));
  EXPECT_THAT(run.Lines(), Contains("- Estrazione archivio compresso completata"));
}

TEST(Zipfile, MissingDataFileEndsThePackingButNotTheDriver) {
  DriverRun run;
  ASSERT_EQ(1, run.Run("<execute filename=\"a.xml\">A</execute>\n<execute filename=\"b.xml\">B</execute>\n"
                       "<execute filename=\"c.xml\">C</execute>\n<delfile filename=\"b.xml\"/>\n"
                       "<zipfile action=\"compress\" filename=\"x.zip\"/>"));
  EXPECT_THAT(run.LinesWith(TMS_ERROR),
              ElementsAre("- Creazione archivio fallita: impossibile aggiungere il file di dati b.xml"));
  TempDir out;
  EXPECT_THAT(Unpack(run.Work("x.zip"), out.Path()), ElementsAre("a.xml"));
}

TEST(Zipfile, ExtractRefusesEntriesLeavingTheFolderAndStopsTheDriver) {
  DriverRun run;
  std::filesystem::create_directories(run.Work("in"));
  std::filesystem::copy_file(std::string(TARVO_TEST_DATA_DIR) + "/zip/dotdot_path.zip", run.Work("in/x.zip"));
  EXPECT_EQ(0, run.Run("<cd directory=\"in\"/>\n<zipfile action=\"extract\" filename=\"x.zip\"/>\n"
                       "<execute filename=\"dopo.xml\">X</execute>"));
  EXPECT_THAT(run.LinesWith(TMS_ERROR), ElementsAre("- Estrazione archivio fallita!"));
  EXPECT_TRUE(FileExists(run.Work("in/001_ARTICOLO.xml")));
  EXPECT_TRUE(FileExists(run.Work("in/dati/002_CLIENTE.xml")));
  EXPECT_FALSE(FileExists(run.Work("escaped.txt")));
  EXPECT_FALSE(FileExists(run.Work("in/dopo.xml")));
}

// --- Error paths: an action that fails either stops the driver or lets it go on ------------------
struct FailedAction {
  const char* name;
  const char* steps;
  int result;  // 0: the driver stops before the step that follows
  std::vector<std::string> errors;
};

class FailedActions : public testing::TestWithParam<FailedAction> {};

TEST_P(FailedActions, LogTheirErrorsAndStopOrGoOn) {
  DriverRun run;
  EXPECT_EQ(GetParam().result, run.Run(GetParam().steps + std::string("\n<execute filename=\"dopo.xml\">X</execute>")));
  EXPECT_EQ(GetParam().errors, run.LinesWith(TMS_ERROR));
  // The last of the two lines announcing the stop, the separator, is not an error.
  if (!GetParam().errors.empty() && GetParam().errors.back() == "- Impossibile procedere con il trasferimento dati.") {
    EXPECT_THAT(run.LinesWith(TMS_INFO), Contains(kSeparator));
  }
  EXPECT_EQ(GetParam().result == 1, FileExists(run.Work("dopo.xml")));
  EXPECT_FALSE(FileExists(run.Work("x.zip")));
}

INSTANTIATE_TEST_SUITE_P(
    Cases, FailedActions,
    testing::Values(
        FailedAction{"ExecuteFileThatCannotBeWritten", "<execute filename=\"manca/x.xml\">DELETE FROM T</execute>", 0,
                     {"An error occured during parsing+   Message: unable to open file 'manca/x.xml'"}},
        FailedAction{"CommandEndingWithAnErrorOrWithoutOutput", "<command exefile=\"false\"/>\n<command exefile=\"true\"/>", 1, {}},
        FailedAction{"CommandThatCannotStart", "<command exefile=\"/nessun/programma\" args=\"x\"/>", 0,
                     {"- Esecuzione comando fallita: ERRORE No such file or directory"}},
        FailedAction{"DelfileOfAMissingFileOrWithoutName", "<delfile filename=\"manca.xml\"/>\n<delfile/>", 1,
                     {"- Impossibile rimuovere il file [manca.xml]: ", "--No such file or directory"}},
        FailedAction{"ZipfileWithAnUnknownAction", "<zipfile action=\"Compress\" filename=\"x.zip\"/>", 1, {}},
        FailedAction{"CompressWithoutName", "<zipfile action=\"compress\"/>", 0,
                     {W("- Il nome dell'archivio compresso non è stato specificato."),
                      "- Impossibile procedere con il trasferimento dati."}},
        FailedAction{"CompressIntoAMissingFolder", "<zipfile action=\"compress\" filename=\"manca/x.zip\"/>", 0,
                     {"- Creazione archivio fallita: impossibile creare l'archivio",
                      "- Impossibile creare l'archivio compresso.", "- Impossibile procedere con il trasferimento dati."}},
        FailedAction{"ExtractOfAMissingArchive", "<zipfile action=\"extract\" filename=\"manca.zip\"/>", 0,
                     {"- Estrazione archivio fallita!"}}),
    [](const testing::TestParamInfo<FailedAction>& i) { return std::string(i.param.name); });

}  // namespace
}  // namespace tarvo::test
