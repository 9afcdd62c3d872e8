// The driver interpreter: finding and reading the driver, the run's result and end lines, the
// dispatcher, and the steps checkparam, cd, parser and param.
#include <gmock/gmock.h>

#include "framework/exchange_factory.h"
#include "tests/xmlengine/engine_fixture.h"

namespace tarvo::test {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

class XercesEnvironment : public testing::Environment {
 public:
  void SetUp() override { CTarvoImport::Xerces_StartPlatform(); }
  void TearDown() override { CTarvoImport::Xerces_StopPlatform(); }
};
const auto* const kXerces = testing::AddGlobalTestEnvironment(new XercesEnvironment);

std::vector<std::string> ErrorLines(RecordingWindow& w) {
  w.Drain();
  std::vector<std::string> out;
  for (const auto& l : w.Lines())
    if (l.status == TMS_ERROR) out.push_back(l.text);
  return out;
}

// --- Starting a run ----------------------------------------------------------------------------
struct StartCase {
  const char* name;
  const char* exchangeParam;
  std::vector<std::string> lines;
};

class DriverNotRunnable : public testing::TestWithParam<StartCase> {};

TEST_P(DriverNotRunnable, EndsWithMinusOneAndItsTwoLines) {
  EngineEnvironment env;
  CTarvoExchangeXML engine;
  env.Prepare(engine, EngineEnvironment::Driver(""));
  engine.SetExchangeParam(GetParam().exchangeParam);
  EXPECT_EQ(engine.Run(), -1);
  EXPECT_EQ(env.Lines(), GetParam().lines);
  EXPECT_EQ(env.window.Result(), 0);
  EXPECT_EQ(env.window.FinishedCount(), 1);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, DriverNotRunnable,
    testing::Values(
        StartCase{"NoDrvfile", "OTHER=1", {"Impossibile eseguire il tasferimento dati:", "- ERRORE: driver non specificato"}},
        StartCase{"EmptyDrvfile", "DRVFILE=", {"Impossibile eseguire il tasferimento dati:", "- ERRORE: driver non specificato"}},
        StartCase{"DriverFileMissing",
                  "DRVFILE=missing.xml",
                  {"Impossibile eseguire il trasferimento dati.", "- ERRORE: driver \"missing.xml\" non trovato"}}),
    [](const testing::TestParamInfo<StartCase>& i) { return std::string(i.param.name); });

// --- Reading the driver ------------------------------------------------------------------------
TEST(DriverFile, NotWellFormedEndsWithZeroAndNamesThePlace) {
  EngineEnvironment env;
  CTarvoExchangeXML engine;
  env.Prepare(engine, "<?xml version=\"1.0\"?>\n<exchangedriver>\n  <cd directory=\"x\">\n</exchangedriver>\n");
  EXPECT_EQ(engine.Run(), 0);
  auto errors = ErrorLines(env.window);
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_THAT(errors[0], HasSubstr("driver.xml, riga 4, colonna"));
  EXPECT_FALSE(env.HasLine("Trasferimento dati completato."));
  EXPECT_EQ(env.window.Result(), 0);
}

TEST(DriverFile, EmptyFileIsNotADriver) {
  EngineEnvironment env;
  CTarvoExchangeXML engine;
  env.Prepare(engine, "");
  EXPECT_EQ(engine.Run(), 0);
  EXPECT_EQ(ErrorLines(env.window).size(), 1u);
}

TEST(DriverFile, RootOfAnyNameIsAcceptedAndUnknownElementsAreSkipped) {
  EngineEnvironment env;
  CTarvoExchangeXML engine;
  env.Prepare(engine, "<exchangdriverr><!-- note --><whatever a=\"1\"/>text<ftpupload server=\"x\"/>"
                      "<ftpdownload/></exchangdriverr>");
  EXPECT_EQ(engine.Run(), 1);
  EXPECT_EQ(env.Lines(), (std::vector<std::string>{"Avvio trasferimento dati ...", "Trasferimento dati completato."}));
  EXPECT_EQ(env.window.Result(), 1);
}

TEST(DriverFile, ElementNamesAreCaseSensitive) {
  EngineEnvironment env;
  CTarvoExchangeXML engine;
  env.Prepare(engine, EngineEnvironment::Driver("<CheckParam srcdsn=\"yes\"/>"));
  EXPECT_EQ(engine.Run(), 1);
}

// --- checkparam --------------------------------------------------------------------------------
TEST(CheckParam, MissingParametersAreListedAndStopTheDriver) {
  EngineEnvironment env;
  CTarvoExchangeXML engine;
  env.Prepare(engine, EngineEnvironment::Driver(
                          "<checkparam srcdsn=\"yes\" srcfolder=\"yes\" httpurl=\"yes\" ftpfolder=\"yes\"/>"
                          "<cd directory=\"/\"/>"));
  engine.SetInDir("");
  EXPECT_EQ(engine.Run(), 0);
  const std::string sep(68, '-');
  EXPECT_EQ(env.Lines(),
            (std::vector<std::string>{
                "Avvio trasferimento dati ...", sep, "+ Controllo parametri procedura.",
                "- ATENZIONE: parametro configurazione dababase sorgente non fornito ma necessario.",
                "- ATENZIONE: parametro cartella sorgente non fornito ma necessario.",
                "- ATENZIONE: parametro URL per connessione HTTP non fornito ma necessario.",
                "- ATENZIONE: parametro cartella per connessione FTP non fornito ma necessario.",
                "- Impossibile procedere con il trasferimento dati.", sep}));
}

TEST(CheckParam, CredentialsAndCapitalisedValuesRequireNothing) {
  EngineEnvironment env;
  CTarvoExchangeXML engine;
  env.Prepare(engine, EngineEnvironment::Driver(
                          "<checkparam srcdsnpassword=\"yes\" destdsnusername=\"yes\" destdsn=\"YES\" "
                          "httpserver=\"Yes\"/>"));
  EXPECT_EQ(engine.Run(), 1);
  EXPECT_TRUE(ErrorLines(env.window).empty());
}

TEST(CheckParam, GivenParametersPass) {
  EngineEnvironment env;
  CTarvoExchangeXML engine;
  env.Prepare(engine, EngineEnvironment::Driver("<checkparam destdsn=\"yes\" httpserver=\"yes\" ftpusername=\"yes\"/>"));
  engine.SetDestConfig("x.db");
  engine.SetHttpServer("http://h");
  engine.SetFtpUID("u");
  EXPECT_EQ(engine.Run(), 1);
  EXPECT_TRUE(ErrorLines(env.window).empty());
}

// --- cd ----------------------------------------------------------------------------------------
TEST(ChangeFolder, FailureIsLoggedAndTheNextStepStillRuns) {
  EngineEnvironment env;
  CTarvoExchangeXML engine;
  env.Prepare(engine, EngineEnvironment::Driver("<cd directory=\"/no/such/folder\"/><cd directory=\"@destfolder\"/>"));
  EXPECT_EQ(engine.Run(), 1);
  EXPECT_THAT(env.Lines(), Contains("- Impossibile cambiare la directory di lavoro in  [/no/such/folder]."));
  EXPECT_TRUE(env.HasLine("- Nuova cartella di lavoro [" + env.Work() + "]."));
}

TEST(ChangeFolder, StartFolderIsRestoredAfterSuccessAndFailure) {
  EngineEnvironment env;
  const CString start = tarvo::GetCurrentDirectory();
  for (const char* last : {"<ftpupload/>", "<checkparam ftpserver=\"yes\"/>"}) {
    CTarvoExchangeXML engine;
    env.Prepare(engine, EngineEnvironment::Driver(std::string("<cd directory=\"@destfolder\"/>") + last));
    engine.Run();
    EXPECT_EQ(tarvo::GetCurrentDirectory(), start) << last;
  }
}

TEST(ChangeFolder, EmptyDirectoryDoesNothing) {
  EngineEnvironment env;
  CTarvoExchangeXML engine;
  env.Prepare(engine, EngineEnvironment::Driver("<cd directory=\"@nothing\"/>"));
  EXPECT_EQ(engine.Run(), 1);
  EXPECT_EQ(env.Lines().size(), 2u);
}

// --- parser and param --------------------------------------------------------------------------
TEST(ParameterDialog, ValuesChosenByTheUserBecomeFilterParameters) {
  EngineEnvironment env;
  CTarvoExchangeXML engine;
  env.Prepare(engine, EngineEnvironment::Driver(
                          "<parser><param type=\"string\" name=\"dir\" label=\"Cartella\" mandatory=\"yes\" "
                          "value=\"@destfolder\"/><other/><param name=\"dir2\" value=\"a\"/></parser>"
                          "<cd directory=\"@dir\"/>"));
  engine.SetDescrizione("Esportazione di prova");
  env.ui.edits["dir"] = env.Root();
  EXPECT_EQ(engine.Run(), 1);
  EXPECT_EQ(env.ui.dialogTitle, "Esportazione di prova");
  EXPECT_EQ(env.ui.shownParams, (std::vector<CString>{"dir=" + env.Work(), "dir2=a"}));
  EXPECT_TRUE(env.HasLine("- Nuova cartella di lavoro [" + env.Root() + "]."));
}

TEST(ParameterDialog, CancelStopsTheRunWithoutAnErrorLine) {
  EngineEnvironment env;
  CTarvoExchangeXML engine;
  env.Prepare(engine, EngineEnvironment::Driver("<parser><param name=\"a\"/></parser><cd directory=\"/\"/>"));
  env.ui.answerOk = false;
  EXPECT_EQ(engine.Run(), 0);
  EXPECT_TRUE(ErrorLines(env.window).empty());
  EXPECT_EQ(env.Lines(), std::vector<std::string>{"Avvio trasferimento dati ..."});
  EXPECT_EQ(env.window.Result(), 0);
}

// --- the run as a script -----------------------------------------------------------------------
TEST(Dispatcher, FirstFailingStepEndsTheRun) {
  EngineEnvironment env;
  ScratchDatabase db(DbKind::kSQLite);
  CTarvoExchangeXML engine;
  env.Prepare(engine, EngineEnvironment::Driver(
                          "<cd directory=\"@destfolder\"/>"
                          "<table action=\"export\" format=\"xml\" name=\"NO_SUCH_TABLE\" columns=\"*\"/>"
                          "<cd directory=\"/\"/>"));
  engine.SetSrcConfig(db.Config());
  EXPECT_EQ(engine.Run(), 0);
  auto lines = env.Lines();
  EXPECT_THAT(lines, Contains("- Avvio trasferimento tabella NO_SUCH_TABLE"));
  EXPECT_THAT(lines, Not(Contains("- Nuova cartella di lavoro [/].")));
  EXPECT_THAT(lines, Not(Contains("Trasferimento dati completato.")));
  EXPECT_FALSE(std::filesystem::exists(env.Work("001_NO_SUCH_TABLE.xml")));
}

TEST(Dispatcher, DataStepsCountAndRecordTheirFilesAcrossRuns) {
  EngineEnvironment env;
  CTarvoExchangeXML engine;
  env.Prepare(engine, EngineEnvironment::Driver(
                          "<table action=\"export\" format=\"pdf\" name=\"T\" filename=\"a.pdf\"/>"
                          "<table action=\"delete\" name=\"T\" filename=\"b\"/>"
                          "<query action=\"export\" format=\"none\" tablename=\"Q\"/>"
                          "<query action=\"other\" tablename=\"Q\" filename=\"c\"/>"));
  ASSERT_EQ(engine.Run(), 1);
  EXPECT_EQ(engine.GetFileCounter(), 4);
  // An unknown table action records nothing; a query records its name whatever it did.
  EXPECT_EQ(engine.GetProducedFiles(), (std::vector<CString>{"a.pdf", "", "c"}));
  ASSERT_EQ(engine.Run(), 1);
  EXPECT_EQ(engine.GetFileCounter(), 8);
  EXPECT_EQ(engine.GetProducedFiles().size(), 6u);
}

TEST(Dispatcher, HandlersAreFoundByExactName) {
  EXPECT_NE(CTarvoExchangeXML::FindHandler("table"), nullptr);
  EXPECT_NE(CTarvoExchangeXML::FindHandler("httpdownload"), nullptr);
  EXPECT_EQ(CTarvoExchangeXML::FindHandler("param"), nullptr);  // only inside parser
  EXPECT_EQ(CTarvoExchangeXML::FindHandler("Table"), nullptr);
  EXPECT_EQ(CTarvoExchangeXML::FindHandler("fields"), nullptr);
}

TEST(Factory, DriverTypesGiveTheEngine) {
  std::unique_ptr<CTarvoImport> procedure(CreateDriverProcedure());
  EXPECT_NE(dynamic_cast<CTarvoExchangeXML*>(procedure.get()), nullptr);
}

}  // namespace
}  // namespace tarvo::test
