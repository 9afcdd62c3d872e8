// The driver interpreter: finding and reading the driver, the run's result and end lines, the
// dispatcher, and the steps checkparam, cd, parser and param.
#include <gmock/gmock.h>

#include "framework/exchange_factory.h"
#include "tests/xmlengine/engine_fixture.h"

namespace tarvo::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

// --- Starting a run ----------------------------------------------------------------------------
struct StartCase {
  const char* name;
  const char* exchangeParam;
  std::vector<std::string> lines;
};

class DriverNotRunnable : public testing::TestWithParam<StartCase> {};

TEST_P(DriverNotRunnable, EndsWithMinusOneAndItsTwoLines) {
  EngineRun run;
  run.engine.SetExchangeParam(GetParam().exchangeParam);
  EXPECT_EQ(run.engine.Run(), -1);
  EXPECT_EQ(run.Lines(), GetParam().lines);
  EXPECT_EQ(run.env.window.Result(), 0);
  EXPECT_EQ(run.env.window.FinishedCount(), 1);
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
TEST(DriverFile, NotWellFormedOrEmptyEndsWithZeroAndOneErrorNamingThePlace) {
  for (const char* text : {"<?xml version=\"1.0\"?>\n<exchangedriver>\n  <cd directory=\"x\">\n</exchangedriver>\n", ""}) {
    EngineRun run;
    run.env.Prepare(run.engine, text);
    EXPECT_EQ(run.engine.Run(), 0);
    auto errors = run.LinesWith(TMS_ERROR);
    ASSERT_EQ(errors.size(), 1u) << text;
    if (*text) {
      EXPECT_THAT(errors[0], HasSubstr("driver.xml, riga 4, colonna"));
    }
    EXPECT_FALSE(run.HasLine("Trasferimento dati completato."));
    EXPECT_EQ(run.env.window.Result(), 0);
  }
}

// Element names are case sensitive; param only counts inside parser.
TEST(DriverFile, RootOfAnyNameIsAcceptedAndUnknownElementsAreSkipped) {
  EngineRun run;
  run.env.Prepare(run.engine, "<exchangdriverr><!-- note --><whatever a=\"1\"/>text<ftpupload server=\"x\"/>"
                              "<ftpdownload/><CheckParam srcdsn=\"yes\"/><param name=\"p\"/><fields/></exchangdriverr>");
  EXPECT_EQ(run.engine.Run(), 1);
  EXPECT_EQ(run.Lines(), (std::vector<std::string>{"Avvio trasferimento dati ...", "Trasferimento dati completato."}));
  EXPECT_EQ(run.env.window.Result(), 1);
  EXPECT_TRUE(run.env.ui.shownParams.empty());
}

// --- checkparam --------------------------------------------------------------------------------
TEST(CheckParam, MissingParametersAreListedAndStopTheDriver) {
  EngineRun run;
  run.env.Prepare(run.engine, EngineEnvironment::Driver("<checkparam srcdsn=\"yes\" srcfolder=\"yes\" httpurl=\"yes\" "
                                                        "ftpfolder=\"yes\"/><cd directory=\"/\"/>"));
  run.engine.SetInDir("");
  EXPECT_EQ(run.engine.Run(), 0);
  const std::string sep(68, '-');
  EXPECT_EQ(run.Lines(),
            (std::vector<std::string>{
                "Avvio trasferimento dati ...", sep, "+ Controllo parametri procedura.",
                "- ATENZIONE: parametro configurazione dababase sorgente non fornito ma necessario.",
                "- ATENZIONE: parametro cartella sorgente non fornito ma necessario.",
                "- ATENZIONE: parametro URL per connessione HTTP non fornito ma necessario.",
                "- ATENZIONE: parametro cartella per connessione FTP non fornito ma necessario.",
                "- Impossibile procedere con il trasferimento dati.", sep}));
}

TEST(CheckParam, GivenParametersCredentialsAndCapitalisedValuesPass) {
  EngineRun run;
  run.engine.SetDestConfig("x.db");
  run.engine.SetHttpServer("http://h");
  run.engine.SetFtpUID("u");
  EXPECT_EQ(run.Run("<checkparam srcdsnpassword=\"yes\" destdsnusername=\"yes\" srcdsn=\"YES\" httpurl=\"Yes\"/>"
                    "<checkparam destdsn=\"yes\" httpserver=\"yes\" ftpusername=\"yes\"/>"),
            1);
  EXPECT_TRUE(run.LinesWith(TMS_ERROR).empty());
}

// --- cd ----------------------------------------------------------------------------------------
TEST(ChangeFolder, FailureIsLoggedAndTheNextStepStillRunsAnEmptyOneDoesNothing) {
  EngineRun run;
  EXPECT_EQ(run.Run("<cd directory=\"/no/such/folder\"/><cd directory=\"@nothing\"/><cd directory=\"@destfolder\"/>"), 1);
  EXPECT_EQ(run.Lines(), (std::vector<std::string>{"Avvio trasferimento dati ...",
                                                    "- Impossibile cambiare la directory di lavoro in  [/no/such/folder].",
                                                    "- Nuova cartella di lavoro [" + run.Work() + "].",
                                                    "Trasferimento dati completato."}));
}

TEST(ChangeFolder, StartFolderIsRestoredAfterSuccessAndFailure) {
  const CString start = tarvo::GetCurrentDirectory();
  for (const char* last : {"<ftpupload/>", "<checkparam ftpserver=\"yes\"/>"}) {
    DriverRun run;
    run.Run(last);
    EXPECT_EQ(tarvo::GetCurrentDirectory(), start) << last;
  }
}

// --- parser and param --------------------------------------------------------------------------
TEST(ParameterDialog, ValuesChosenByTheUserBecomeFilterParameters) {
  EngineRun run;
  run.engine.SetDescrizione("Esportazione di prova");
  run.env.ui.edits["dir"] = run.env.Root();
  EXPECT_EQ(run.Run("<parser><param type=\"string\" name=\"dir\" label=\"Cartella\" mandatory=\"yes\" "
                    "value=\"@destfolder\"/><other/><param name=\"dir2\" value=\"a\"/></parser><cd directory=\"@dir\"/>"),
            1);
  EXPECT_EQ(run.env.ui.dialogTitle, "Esportazione di prova");
  EXPECT_EQ(run.env.ui.shownParams, (std::vector<CString>{"dir=" + run.Work(), "dir2=a"}));
  EXPECT_TRUE(run.HasLine("- Nuova cartella di lavoro [" + run.env.Root() + "]."));
}

TEST(ParameterDialog, CancelStopsTheRunWithoutAnErrorLine) {
  EngineRun run;
  run.env.ui.answerOk = false;
  EXPECT_EQ(run.Run("<parser><param name=\"a\"/></parser><cd directory=\"/\"/>"), 0);
  EXPECT_EQ(run.Lines(), std::vector<std::string>{"Avvio trasferimento dati ..."});
  EXPECT_TRUE(run.LinesWith(TMS_ERROR).empty());
  EXPECT_EQ(run.env.window.Result(), 0);
}

// --- the run as a script -----------------------------------------------------------------------
TEST(Dispatcher, FirstFailingStepEndsTheRun) {
  ScratchDatabase db(DbKind::kSQLite);
  DriverRun run;
  run.engine.SetSrcConfig(db.Config());
  EXPECT_EQ(run.Run("<table action=\"export\" format=\"xml\" name=\"NO_SUCH_TABLE\" columns=\"*\"/><cd directory=\"/\"/>"), 0);
  auto lines = run.Lines();
  EXPECT_THAT(lines, Contains("- Avvio trasferimento tabella NO_SUCH_TABLE"));
  EXPECT_THAT(lines, Not(Contains("- Nuova cartella di lavoro [/].")));
  EXPECT_THAT(lines, Not(Contains("Trasferimento dati completato.")));
  EXPECT_FALSE(std::filesystem::exists(run.Work("001_NO_SUCH_TABLE.xml")));
}

TEST(Dispatcher, DataStepsCountAndRecordTheirFilesAcrossRuns) {
  EngineRun run;
  ASSERT_EQ(run.Run("<table action=\"export\" format=\"pdf\" name=\"T\" filename=\"a.pdf\"/>"
                    "<table action=\"delete\" name=\"T\" filename=\"b\"/>"
                    "<query action=\"export\" format=\"none\" tablename=\"Q\"/>"
                    "<query action=\"other\" tablename=\"Q\" filename=\"c\"/>"),
            1);
  EXPECT_EQ(run.engine.GetFileCounter(), 4);
  // An unknown table action records nothing; a query records its name whatever it did.
  EXPECT_EQ(run.engine.GetProducedFiles(), (std::vector<CString>{"a.pdf", "", "c"}));
  ASSERT_EQ(run.engine.Run(), 1);
  EXPECT_EQ(run.engine.GetFileCounter(), 8);
  EXPECT_EQ(run.engine.GetProducedFiles().size(), 6u);
}

TEST(Factory, DriverTypesGiveTheEngine) {
  std::unique_ptr<CTarvoImport> procedure(CreateDriverProcedure());
  EXPECT_NE(dynamic_cast<CTarvoExchangeXML*>(procedure.get()), nullptr);
}

}  // namespace
}  // namespace tarvo::test
