// Import steps: XML data files and fixed-width files into the destination database, the key
// condition, insert-or-update, the per-record log and question, and the error paths.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "platform/event.h"
#include "tests/xmlengine/engine_fixture.h"

namespace tarvo::test {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::PrintToString;
using Record = CTarvoExchangeXML::CRecord;
using Column = CTarvoExchangeXML::CColumn;

// --- Key condition ---------------------------------------------------------------------------
struct KeyCase {
  const char* name;
  const char* keyText;
  std::vector<Column> columns;
  const char* expected;
};

Column Col(const char* name, const char* value, const char* type = "", bool isNull = false) {
  return Column{name, value, type, isNull, false};
}

class KeyCondition : public testing::TestWithParam<KeyCase> {};

TEST_P(KeyCondition, IsBuiltFromTheKeyDefinition) {
  Record r;
  r.m_strPrimaryKey = GetParam().keyText;
  for (const Column& c : GetParam().columns) r.push_back(c);
  EXPECT_EQ(CTarvoExchangeXML::BuildKeyCondition(r), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, KeyCondition,
    testing::Values(
        KeyCase{"UntypedKeyIsQuoted", "CODICE", {Col("CODICE", "A1")}, " ( ( CODICE = 'A1' ) ) "},
        KeyCase{"ColumnsInRecordOrder", "B,A", {Col("A", "1"), Col("B", "2")}, " ( ( A = '1' ) AND ( B = '2' ) ) "},
        KeyCase{"BlanksTabsAndLineEndsSeparate", "A\tB\nC D", {Col("D", "4"), Col("B", "2")},
                " ( ( D = '4' ) AND ( B = '2' ) ) "},
        KeyCase{"AlternativesAreJoinedWithOr", " A | B ", {Col("A", "1"), Col("B", "2")},
                " ( ( A = '1' ) )  OR  ( ( B = '2' ) ) "},
        KeyCase{"AlternativeWithoutColumnsIsLeftOut", "Z|B", {Col("B", "2")}, " ( ( B = '2' ) ) "},
        KeyCase{"WholeWordsOnly", "CODICE_ESTERNO", {Col("CODICE", "1"), Col("ESTERNO", "2")}, ""},
        KeyCase{"NullKeyEndsItsAlternative", "A,B,C", {Col("A", "1"), Col("B", "", "", true), Col("C", "3")},
                " ( ( A = '1' ) ) "}),
    [](const testing::TestParamInfo<KeyCase>& i) { return std::string(i.param.name); });

// --- XML data files --------------------------------------------------------------------------
class ImportFiles : public DbTest {
 protected:
  void SetUp() override {
    DbTest::SetUp();
    if (IsSkipped() || HasFailure()) return;
    source_ = &NewDatabase();
    target_ = &NewDatabase();
    target_->Execute("CREATE TABLE PROVA (CODICE VARCHAR(10) NOT NULL PRIMARY KEY, DESCRIZIONE VARCHAR(60), "
                     "QTA INTEGER, GIORNO DATE)");
    target_->Execute("CREATE TABLE NOTE (CODICE VARCHAR(10), TESTO VARCHAR(20))");
    target_->Execute("INSERT INTO PROVA VALUES ('A1', 'Esistente', 1, NULL)");
    source_->Execute("CREATE TABLE SEGNO (N INTEGER)");
    source_->Execute("INSERT INTO SEGNO VALUES (0)");
  }
  // Runs one import step of `format` over `fileBytes` (written into the work folder).
  int Import(const std::string& format, const std::string& fileBytes, const std::string& attributes = "",
             const std::string& fields = "") {
    WriteBytes(env_.Work("data.in"), fileBytes);
    return env_.RunSteps("<cd directory=\"@srcfolder\"/><table action=\"import\" format=\"" + format +
                             "\" filename=\"data.*\" " + attributes + ">" + fields + "</table><cd directory=\"/\"/>",
                         source_->Config(), target_->Config(), [this](CTarvoExchangeXML& engine) {
                           engine.SetVerbose(verbose_);
                           if (stop_) engine.SetEventStop(*stop_);
                         });
  }
  // Runs `steps` into the target database alone.
  int RunOnTarget(const std::string& steps) { return env_.RunSteps(steps, "", target_->Config()); }
  ScratchDatabase* source_ = nullptr;
  ScratchDatabase* target_ = nullptr;
  EngineEnvironment env_;
  bool verbose_ = false;
  CEvent* stop_ = nullptr;
};

// The file's execute element runs on the source database; its rows update by key or are inserted.
TEST_P(ImportFiles, RowsAreUpdatedByKeyOrInsertedAfterTheStatementOnTheSource) {
  ASSERT_EQ(Import("xml", ReadBytes(DataFile("import_prova.xml"))), 1) << PrintToString(env_.Lines());
  EXPECT_EQ(Rows(target_->Db(), "SELECT CODICE, DESCRIZIONE, QTA, GIORNO FROM PROVA ORDER BY CODICE"),
            (std::vector<std::string>{"A1|Esistente|7|<null>", W("N'1|Nuovo & caffè €|<null>|2026-05-04")}));
  // Without a key value every row is new.
  EXPECT_EQ(Rows(target_->Db(), "SELECT CODICE, TESTO FROM NOTE ORDER BY TESTO"),
            (std::vector<std::string>{"<null>|ancora <senza>", "<null>|senza chiave"}));
  auto lines = env_.Lines();
  EXPECT_THAT(lines, Contains(W("-- Trasferimento record n° 1 [ ( ( CODICE = 'A1' ) ) ]  (aggiornamento)")));
  EXPECT_THAT(lines, Contains(W("-- Trasferimento record n° 2 [ ( ( CODICE = 'N''1' ) ) ]  (inserimento)")));
  EXPECT_THAT(lines, Contains(W("-- Trasferimento record n° 2 [nessuna]  (inserimento)")));
  EXPECT_THAT(lines, Contains("-- Trasferiti 2 records"));
  EXPECT_THAT(lines, Contains("- Fine trasferimento tabella NOTE"));
  EXPECT_EQ(Rows(source_->Db(), "SELECT N FROM SEGNO"), std::vector<std::string>{"1"});
  EXPECT_THAT(lines, Contains("- Avvio esecuzione locale query UPDATE SEGNO    SET N = 1"));
  EXPECT_THAT(lines, Contains("- Fine esecuzione locale query UPDATE SEGNO    SET N = 1"));
}

TEST_P(ImportFiles, FailingExecuteStopsTheImport) {
  EXPECT_EQ(Import("xml", "<exchangedata><execute>UPDATE NO_SUCH SET N = 1</execute>"
                          "<table name=\"NOTE\"><record><column name=\"TESTO\">x</column></record></table>"
                          "</exchangedata>"),
            0);
  auto lines = env_.Lines();
  EXPECT_THAT(lines, Contains(HasSubstr("-- Errore durante l'esecuzione locale della query: -1 ")));
  EXPECT_THAT(lines, Contains("- Fine esecuzione locale query UPDATE NO_SUCH SET N = 1"));
  EXPECT_TRUE(Rows(target_->Db(), "SELECT * FROM NOTE").empty());
}

// The first row of a table learns its column types; later rows look their key up by parameters:
// both must find the same rows.
TEST_P(ImportFiles, LaterRowsFindTheirRowsLikeTheFirst) {
  target_->Execute("CREATE TABLE ALT (CODICE VARCHAR(10), ESTERNO VARCHAR(10), N INTEGER)");
  target_->Execute("INSERT INTO ALT VALUES ('A', 'e1', 1)");
  target_->Execute("INSERT INTO ALT VALUES ('B', 'e2', 2)");
  target_->Execute("INSERT INTO ALT VALUES ('C', 'e3', 3)");
  target_->Execute("CREATE TABLE NUM (N INTEGER, T VARCHAR(10))");
  target_->Execute("INSERT INTO NUM VALUES (1, 'a')");
  target_->Execute("INSERT INTO NUM VALUES (2, 'b')");
  auto alt = [](const std::string& codice, const std::string& esterno, int n) {
    return "<record>" +
           (codice.empty() ? std::string("<column name=\"CODICE\" isnull=\"yes\"/>")
                           : "<column name=\"CODICE\">" + codice + "</column>") +
           "<column name=\"ESTERNO\">" + esterno + "</column><column name=\"N\" type=\"integer\">" +
           std::to_string(n) + "</column></record>";
  };
  auto num = [](int n, const std::string& t) {
    return "<record><column name=\"N\" type=\"integer\">" + std::to_string(n) + "</column><column name=\"T\">" +
           t + "</column></record>";
  };
  ASSERT_EQ(Import("xml", "<exchangedata><table name=\"ALT\" primarykey=\"CODICE|ESTERNO\">" + alt("Z", "e2", 9) +
                              alt("A", "altro", 8) + alt("", "e3", 7) + alt("Q", "e9", 6) +
                              "</table><table name=\"NUM\" primarykey=\"N\">" + num(2, "x") + num(3, "y") +
                              num(1, "z") + "</table></exchangedata>"),
            1)
      << PrintToString(env_.Lines());
  EXPECT_EQ(Rows(target_->Db(), "SELECT CODICE, ESTERNO, N FROM ALT ORDER BY N"),
            (std::vector<std::string>{"Q|e9|6", "<null>|e3|7", "A|altro|8", "Z|e2|9"}));
  EXPECT_EQ(Rows(target_->Db(), "SELECT N, T FROM NUM ORDER BY N"), (std::vector<std::string>{"1|z", "2|x", "3|y"}));
  EXPECT_TRUE(env_.HasLine(W("-- Trasferimento record n° 3 [ ( ( ESTERNO = 'e3' ) ) ]  (aggiornamento)")));
  EXPECT_TRUE(env_.HasLine(W("-- Trasferimento record n° 3 [ ( ( N = 1 ) ) ]  (aggiornamento)")));
}

TEST_P(ImportFiles, ColumnsMayChangePlaceFromRecordToRecord) {
  ASSERT_EQ(Import("xml", "<exchangedata><table name=\"NOTE\">"
                          "<record><column name=\"CODICE\">a</column><column name=\"TESTO\">uno</column></record>"
                          "<record><column name=\"TESTO\">due</column><column name=\"CODICE\">b</column></record>"
                          "<record><column name=\"TESTO\">tre</column></record>"
                          "</table></exchangedata>"),
            1);
  EXPECT_EQ(Rows(target_->Db(), "SELECT CODICE, TESTO FROM NOTE ORDER BY TESTO"),
            (std::vector<std::string>{"b|due", "<null>|tre", "a|uno"}));
}

TEST_P(ImportFiles, FailingRowsAreLoggedAndSkippedWhenNotVerbose) {
  ASSERT_EQ(Import("xml", "<exchangedata><table name=\"PROVA\" primarykey=\"CODICE\">"
                          "<record><column name=\"CODICE\" isnull=\"yes\"/></record>"
                          "<record><column name=\"CODICE\">OK</column></record>"
                          "<record><column>no name</column></record>"
                          "</table></exchangedata>"),
            1);
  EXPECT_EQ(Rows(target_->Db(), "SELECT CODICE FROM PROVA ORDER BY CODICE"), (std::vector<std::string>{"A1", "OK"}));
  auto lines = env_.Lines();
  EXPECT_THAT(lines, Contains(W("-- Trasferimento record n° 1 [nessuna]  (inserimento) (errore)")));
  EXPECT_THAT(lines, Contains(W("-- Trasferimento record n° 3 [nessuna]  (inserimento) (errore)")));
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "--- Errore durante il trasferimento dati:"), 2);
  EXPECT_THAT(lines, Contains("-- Trasferiti 3 records"));
  EXPECT_TRUE(env_.ui.questions.empty());
}

// Three rows of which the second names a column the table does not have.
const char kSecondRowFails[] =
    "<exchangedata><table name=\"PROVA\" primarykey=\"CODICE\">"
    "<record><column name=\"CODICE\">X1</column></record>"
    "<record><column name=\"NOPE\">1</column></record>"
    "<record><column name=\"CODICE\">X3</column></record>"
    "</table></exchangedata>";

TEST_P(ImportFiles, VerboseRunAsksAndNoEndsTheImport) {
  verbose_ = true;
  env_.ui.answerYes = false;
  EXPECT_EQ(Import("xml", kSecondRowFails), 0);
  ASSERT_EQ(env_.ui.questions.size(), 1u);
  EXPECT_THAT(env_.ui.questions[0], HasSubstr("Errore durante il trasferimento dati:\n\n"));
  EXPECT_THAT(env_.ui.questions[0], HasSubstr("\n\nContinuare con i dati successivi?"));
  EXPECT_EQ(Rows(target_->Db(), "SELECT CODICE FROM PROVA ORDER BY CODICE"), (std::vector<std::string>{"A1", "X1"}));
  EXPECT_THAT(env_.Lines(), Not(Contains("-- Trasferiti 3 records")));
}

TEST_P(ImportFiles, StopKeepsTheRowsWrittenBeforeIt) {
  // The user answers the question of the failing second row with Yes and presses stop meanwhile.
  class StoppingUI : public ScriptedUI {
   public:
    bool AskYesNo(const CString& text, bool d) override {
      stop.SetEvent();
      return ScriptedUI::AskYesNo(text, d);
    }
    CEvent stop;
  } ui;
  SetHostUI(&ui);
  verbose_ = true;
  stop_ = &ui.stop;
  EXPECT_EQ(Import("xml", kSecondRowFails), 0);
  SetHostUI(nullptr);
  EXPECT_EQ(Rows(target_->Db(), "SELECT CODICE FROM PROVA ORDER BY CODICE"), (std::vector<std::string>{"A1", "X1"}));
  EXPECT_TRUE(env_.HasLine("Operazione interrotta dall'utente."));
}

// Bad data files end the step with their messages and never crash.
struct BadFile {
  const char* name;
  const char* bytes;
  const char* line;  // a line the run must show
  int result;
};

TEST_P(ImportFiles, MalformedDataFilesEndWithTheirMessages) {
  const BadFile cases[] = {
      {"NotWellFormed", "<exchangedata><table name=\"PROVA\"><record></table></exchangedata>", "Errore nel file ", 0},
      {"Empty", "", "Errore nel file ", 0},
      {"NotXml", "CODICE;DESCRIZIONE\r\nA;B\r\n", "Errore nel file ", 0},
      {"ColumnWithoutName", "<exchangedata><table name=\"NOTE\"><record><column>x</column></record></table></exchangedata>",
       "--- Errore durante il trasferimento dati:", 1},
      {"TableWithoutName", "<exchangedata><table><record><column name=\"A\">x</column></record></table></exchangedata>",
       "--- Errore durante il trasferimento dati:", 1},
      {"OtherRootAndElements", "<data><foo/><table name=\"NOTE\"><bar/></table></data>", "-- Trasferiti 0 records", 1},
  };
  for (const BadFile& c : cases) {
    EXPECT_EQ(Import("xml", c.bytes), c.result) << c.name;
    auto lines = env_.Lines();
    EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [&](const std::string& l) { return l.rfind(c.line, 0) == 0; }))
        << c.name;
  }
  EXPECT_TRUE(Rows(target_->Db(), "SELECT * FROM NOTE").empty());
}

TEST_P(ImportFiles, MissingDataFileFails) {
  EXPECT_EQ(RunOnTarget("<table action=\"import\" format=\"xml\" filename=\"/no/such.xml\"/>"
                        "<table action=\"import\" format=\"txt\" filename=\"/no/such.txt\"/>"),
            0);
  EXPECT_EQ(env_.Lines(), (std::vector<std::string>{"Avvio trasferimento dati ...",
                                                     "Errore durante la lettura del driver",
                                                     "   Dettagli: unable to open primary document entity '/no/such.xml'"}));
}

// --- Fixed-width files -----------------------------------------------------------------------
const char kFields[] =
    "<fields>"
    "<field name=\"CODICE\" start=\"0\" length=\"4\" padding=\"right\" strpadding=\".\"/>"
    "<field name=\"QTA\" start=\"4\" length=\"3\" padding=\"left\" strpadding=\"0\"/>"
    "<field name=\"DESCRIZIONE\" start=\"7\" length=\"10\" padding=\"right\"/>"
    "<field name=\"GIORNO\" start=\"-1\" length=\"5\"/>"
    "</fields>";

TEST_P(ImportFiles, FixedWidthLinesAreCutByTheDefinitions) {
  target_->Execute("CREATE TABLE FISSO (CODICE VARCHAR(10), DESCRIZIONE VARCHAR(20), GIORNO VARCHAR(20), QTA INTEGER)");
  const std::string windows = W("Caffè €") + "\x81";  // Windows-1252 and an undefined byte survive
  const std::string file = "A1..007Riga uno  \r\n"
                           "\r\n"
                           "B2..12\n"  // short: DESCRIZIONE gets nothing
                           "C3..010" + windows + "\r\n"
                           "D4..005  Quattro\r\n";
  ASSERT_EQ(Import("txt", file, "name=\"FISSO\" primarykey=\"CODICE\"", kFields), 1) << PrintToString(env_.Lines());
  // Every definition gives a column: one without a position repeats the text taken last (in name
  // order, DESCRIZIONE's).
  EXPECT_EQ(Rows(target_->Db(), "SELECT CODICE, DESCRIZIONE, GIORNO, QTA FROM FISSO ORDER BY CODICE"),
            (std::vector<std::string>{"A1|Riga uno|Riga uno|7", "B2|||12", "C3|" + windows + "|" + windows + "|10",
                                      "D4|  Quattro|  Quattro|5"}));
  // The same key again updates the row, with every column of the line.
  ASSERT_EQ(Import("txt", "A1..999\r\n", "name=\"FISSO\" primarykey=\"CODICE\"", kFields), 1);
  EXPECT_EQ(Rows(target_->Db(), "SELECT CODICE, DESCRIZIONE, GIORNO, QTA FROM FISSO WHERE CODICE = 'A1'"),
            std::vector<std::string>{"A1|||999"});
  auto lines = env_.Lines();
  // The empty second line keeps its number.
  EXPECT_THAT(lines, Contains(W("-- Trasferimento record n° 3 [ ( ( CODICE = 'B2' ) ) ]  (inserimento)")));
  EXPECT_THAT(lines, Contains(W("-- Trasferimento record n° 1 [ ( ( CODICE = 'A1' ) ) ]  (aggiornamento)")));
  EXPECT_THAT(lines, Not(Contains(HasSubstr("-- Trasferiti"))));
}

TEST_P(ImportFiles, FixedWidthMissingFileIsNamed) {
  EXPECT_EQ(RunOnTarget("<table action=\"import\" format=\"txt\" name=\"PROVA\" filename=\"/no/such.txt\"/>"), 0);
  EXPECT_THAT(env_.Lines(), Contains(HasSubstr("ERRORE file /no/such.txt: ")));
}

INSTANTIATE_TEST_SUITE_P(Drivers, ImportFiles, testing::ValuesIn(AllDbKinds()), DbKindName);

// --- A killed import ---------------------------------------------------------------------------
TEST(KilledImport, KeepsEveryCommittedRowWhole) {
  ScratchDatabase target(DbKind::kSQLite);
  target.Execute("CREATE TABLE GRANDE (CODICE VARCHAR(10) PRIMARY KEY, A VARCHAR(40), B INTEGER, C VARCHAR(40))");
  EngineEnvironment env;
  std::string data = "<exchangedata><table name=\"GRANDE\" primarykey=\"CODICE\">";
  const int rows = 200000;
  for (int i = 0; i < rows; ++i) {
    std::string n = std::to_string(i);
    data += "<record><column name=\"CODICE\">K" + n + "</column><column name=\"A\">a" + n +
            "</column><column name=\"B\" type=\"integer\">" + n + "</column><column name=\"C\">c" + n +
            "</column></record>";
  }
  data += "</table></exchangedata>";
  WriteBytes(env.Work("big.xml"), data);

  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    TestEngine engine;
    engine.SetVerbose(false);
    engine.SetDestConfig(target.Config());
    engine.CreateDOMParser();
    engine.Process_driverfile_ImportTableXML("", "", "", "", "", env.Work("big.xml"));
    _exit(0);
  }
  // Kill the import once it has written some rows.
  CDatabase db;
  db.OpenEx(target.Config());
  for (int i = 0; i < 600; ++i) {
    usleep(50000);
    if (std::stol(Rows(db, "SELECT COUNT(*) FROM GRANDE")[0]) > 500) break;
  }
  kill(child, SIGKILL);
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFSIGNALED(status)) << "the import ended before it was killed";

  long written = std::stol(Rows(db, "SELECT COUNT(*) FROM GRANDE")[0]);
  EXPECT_GT(written, 500);
  EXPECT_LT(written, rows);
  EXPECT_EQ(Rows(db, "PRAGMA integrity_check"), std::vector<std::string>{"ok"});
  // Rows are written in file order, each one whole.
  EXPECT_EQ(Rows(db, "SELECT COUNT(*) FROM GRANDE WHERE A = 'a' || B AND C = 'c' || B AND CODICE = 'K' || B "
                     "AND B < " + std::to_string(written)),
            std::vector<std::string>{std::to_string(written)});
}

}  // namespace
}  // namespace tarvo::test
