// Regression cases of the driver engine against hostile or broken input: drivers and data files
// that would blow up the XML library, values that would reach a statement unquoted, names that
// would leave the output folder, files that are no files, substitutions that would never end.
#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "platform/event.h"
#include "tests/xmlengine/engine_fixture.h"
#include "xmlengine/data_file_stream.h"

namespace tarvo::test {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

bool AnyLineHas(const std::vector<std::string>& lines, const std::string& part) {
  return std::any_of(lines.begin(), lines.end(), [&](const std::string& l) { return l.find(part) != std::string::npos; });
}

std::string Nested(int depth) {
  std::string text;
  for (int i = 0; i < depth; ++i) text += "<e>";
  for (int i = 0; i < depth; ++i) text += "</e>";
  return text;
}

const std::string kLaughs =
    "<?xml version=\"1.0\"?>\n<!DOCTYPE exchangedriver [\n <!ENTITY a \"aaaaaaaaaa\">\n"
    " <!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;\">\n <!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;\">\n"
    " <!ENTITY d \"&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;\">\n <!ENTITY e \"&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;\">\n"
    " <!ENTITY f \"&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;\">\n <!ENTITY g \"&f;&f;&f;&f;&f;&f;&f;&f;&f;&f;\">\n]>\n";

// --- drivers --------------------------------------------------------------------------------------

struct HostileDriver {
  const char* name;
  std::string text;
  const char* line;  // a line the run must show
};

class HostileDrivers : public testing::TestWithParam<HostileDriver> {};

TEST_P(HostileDrivers, EndQuicklyWithTheReadersErrorLine) {
  EngineRun run;
  auto start = std::chrono::steady_clock::now();
  run.env.Prepare(run.engine, GetParam().text);
  EXPECT_EQ(run.engine.Run(), 0);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  auto lines = run.LinesWith(TMS_ERROR);
  EXPECT_TRUE(AnyLineHas(lines, GetParam().line)) << testing::PrintToString(lines);
  EXPECT_FALSE(AnyLineHas(run.Lines(), "root:x:0:0")) << "a local file reached the log";
}

INSTANTIATE_TEST_SUITE_P(
    Drivers, HostileDrivers,
    testing::Values(
        HostileDriver{"BillionLaughs", kLaughs + "<exchangedriver><cd directory=\"&g;\"/></exchangedriver>",
                      "entity expansions"},
        HostileDriver{"ExternalEntityReadsNothing",
                      "<?xml version=\"1.0\"?>\n<!DOCTYPE exchangedriver [<!ENTITY p SYSTEM \"file:///etc/passwd\">]>\n"
                      "<exchangedriver><cd directory=\"&p;\"/></exchangedriver>",
                      "Errore nel file "},
        HostileDriver{"DeepNesting", "<exchangedriver>" + Nested(200000) + "</exchangedriver>",
                      "elementi annidati oltre 1000 livelli"}),
    [](const testing::TestParamInfo<HostileDriver>& i) { return std::string(i.param.name); });

TEST(HostileDriver, ExternalDtdAndSchemaAreNeverFetched) {
  TempDir served;
  WriteBytes(served.File("d.dtd"), "<!ELEMENT exchangedriver ANY>");
  EngineRun run;
  run.env.Prepare(run.engine, "<?xml version=\"1.0\"?>\n<!DOCTYPE exchangedriver SYSTEM \"file://" + served.File("d.dtd") +
                                  "\">\n<exchangedriver/>");
  run.engine.Run();
  // Read as empty: the element stays undeclared.
  EXPECT_TRUE(AnyLineHas(run.LinesWith(TMS_ERROR), "exchangedriver")) << testing::PrintToString(run.Lines());
}

TEST(HostileDriver, PlaceholderThatNeverEndsEndsTheRunNamingIt) {
  EngineEnvironment env;
  EXPECT_EQ(env.RunSteps("<cd directory=\"@srcfolder\"/>", "", "",
                         [](CTarvoExchangeXML& engine) { engine.SetInDir("IN@2026"); }),
            0);
  EXPECT_THAT(env.LinesWith(TMS_ERROR),
              Contains("- ERRORE: la sostituzione del parametro @srcfolder non termina: il suo valore lo richiama "
                       "senza fine."));
}

TEST(HostileDriver, TableNameWithFoldersIsRefused) {
  DriverRun run;
  std::filesystem::create_directories(run.Work("deep"));
  for (const char* name : {"x/../../escaped", "..", "a\\b"}) {
    EXPECT_EQ(run.Run(std::string("<query action=\"export\" format=\"xml\" tablename=\"") + name +
                      "\"><sql>SELECT 1</sql></query>"),
              0)
        << name;
    EXPECT_THAT(run.LinesWith(TMS_ERROR), Contains(W("- ERRORE: il nome di tabella \"") + name +
                                                   W("\" non può dare il nome al file dei dati.")));
  }
  EXPECT_FALSE(std::filesystem::exists(run.env.Root() + "/escaped.xml"));
}

// The log file is written line by line as the run goes (a kill loses nothing logged) and is not
// inherited by the programs a command step starts.
TEST(HostileDriver, LogLinesAreInTheFileAtOnceAndCommandsDoNotInheritIt) {
  DriverRun run;
  const std::string logPath = run.Work("run.log");
  CStdioFile log(logPath, CStdioFile::Mode::kAppend);
  run.engine.SetLogFile(&log);
  run.engine.Log("prima riga", TMS_INFO);
  EXPECT_EQ(ReadBytes(logPath), "prima riga\n");
  EXPECT_EQ(run.Run("<command exefile=\"/bin/sh\" args=\"-c &quot;ls -l /proc/self/fd/&quot;\"/>"), 1);
  EXPECT_TRUE(AnyLineHas(run.Lines(), " -> "));  // the child listed its open files
  EXPECT_FALSE(AnyLineHas(run.Lines(), "run.log"));
  EXPECT_THAT(ReadBytes(logPath), HasSubstr("Trasferimento dati completato.\n"));
  run.engine.SetLogFile(nullptr);
}

TEST(HostileDriver, StopEndsACommandThatRunsOn) {
  DriverRun run;
  CEvent stop;
  run.engine.SetEventStop(stop);
  std::thread stopper([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    stop.SetEvent();
  });
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(run.Run("<command exefile=\"/bin/sh\" args=\"-c &quot;sleep 30; echo never&quot;\"/>"), 0);
  stopper.join();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  EXPECT_THAT(run.LinesWith(TMS_ERROR), Contains("Operazione interrotta dall'utente."));
}

// --- data files -----------------------------------------------------------------------------------

class HostileDataFiles : public DbTest {
 protected:
  void SetUp() override {
    DbTest::SetUp();
    if (IsSkipped() || HasFailure()) return;
    target_ = &NewDatabase();
    target_->Execute("CREATE TABLE NUM (ID INTEGER, CODICE VARCHAR(10), PREZZO NUMERIC(10,2))");
    target_->Execute("INSERT INTO NUM VALUES (1, 'CAS001', 1)");
    target_->Execute("INSERT INTO NUM VALUES (3, 'CAS003', 3)");
  }
  // Imports `bytes` as a data file of `format` into the target database.
  int Import(const std::string& format, const std::string& bytes, const std::string& table = "NUM",
             const std::string& fields = "") {
    WriteBytes(env_.Work("data.in"), bytes);
    return ImportPath(format, env_.Work("data.in"), table, fields);
  }
  int ImportPath(const std::string& format, const std::string& path, const std::string& table = "NUM",
                 const std::string& fields = "") {
    return env_.RunSteps("<table action=\"import\" format=\"" + format + "\" name=\"" + table +
                             "\" primarykey=\"ID\" filename=\"" + path + "\">" + fields + "</table>",
                         target_->Config(), target_->Config());
  }
  std::vector<std::string> Table() { return Rows(target_->Db(), "SELECT ID, CODICE, PREZZO FROM NUM ORDER BY ID"); }
  ScratchDatabase* target_ = nullptr;
  EngineEnvironment env_;
};

std::string Record(const std::string& columns) {
  return "<exchangedata><table name=\"NUM\" primarykey=\"ID\"><record>" + columns + "</record></table></exchangedata>";
}

TEST_P(HostileDataFiles, ValueThatIsNoNumberIsRefusedWithTheRowsFailureLine) {
  const std::vector<std::string> before = Table();
  struct Case {
    const char* columns;
    const char* error;
  } cases[] = {
      {"<column name=\"ID\" type=\"integer\">'x' OR ID = 3</column><column name=\"CODICE\">RUBATO</column>",
       "--- valore \"'x' OR ID = 3\" non valido per la colonna ID di tipo integer"},
      {"<column name=\"ID\" type=\"integer\">3</column><column name=\"PREZZO\" type=\"number\">1; DROP</column>",
       "--- valore \"1; DROP\" non valido per la colonna PREZZO di tipo number"},
      {"<column name=\"ID\" type=\"date\">1 OR 1=1</column>",
       "--- valore \"1 OR 1=1\" non valido per la colonna ID di tipo date"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Import("xml", Record(c.columns)), 1) << c.columns;  // a failed row is skipped
    auto lines = env_.LinesWith(TMS_ERROR);
    EXPECT_THAT(lines, Contains("--- Errore durante il trasferimento dati:")) << c.columns;
    EXPECT_THAT(lines, Contains(c.error));
  }
  EXPECT_EQ(Table(), before);
  // Numbers in every form SQL writes them still pass.
  EXPECT_EQ(Import("xml", Record("<column name=\"ID\" type=\"integer\">-3</column>"
                                 "<column name=\"PREZZO\" type=\"number\">2.5e1</column>")),
            1);
  EXPECT_EQ(Rows(target_->Db(), "SELECT ID FROM NUM WHERE PREZZO = 25"), std::vector<std::string>{"-3"});
}

TEST_P(HostileDataFiles, EmptyExecuteFailsWithTheStepsLine) {
  EXPECT_EQ(Import("xml", "<exchangedata><execute/></exchangedata>"), 0);
  EXPECT_THAT(env_.LinesWith(TMS_ERROR),
              Contains("-- Errore durante l'esecuzione locale della query: -1 istruzione SQL vuota"));
}

TEST_P(HostileDataFiles, DeepNestingAndEntitiesEndWithTheFilesErrorLine) {
  for (const std::string& bytes :
       {"<exchangedata>" + Nested(5000) + "</exchangedata>",
        kLaughs + "<exchangedata><execute>&g;</execute></exchangedata>"}) {
    EXPECT_EQ(Import("xml", bytes), 0);
    EXPECT_TRUE(AnyLineHas(env_.LinesWith(TMS_ERROR), "Errore nel file "));
  }
}

TEST_P(HostileDataFiles, FolderOrEndlessLineAsFixedWidthFileIsAnError) {
  const std::string fields = "<fields><field name=\"ID\" start=\"0\" length=\"2\"/></fields>";
  EXPECT_EQ(ImportPath("txt", env_.Work(), "NUM", fields), 0);
  EXPECT_THAT(env_.LinesWith(TMS_ERROR), Contains(HasSubstr("ERRORE file ")));
  EXPECT_EQ(Import("txt", std::string(CStdioFile::kMaxLineLength + 1, '7'), "NUM", fields), 0);
  EXPECT_TRUE(AnyLineHas(env_.LinesWith(TMS_ERROR), W("più lunga di 1048576 byte")));
  EXPECT_EQ(Table().size(), 2u);
}

INSTANTIATE_TEST_SUITE_P(Drivers, HostileDataFiles, testing::ValuesIn(AllDbKinds()), DbKindName);

// --- written files --------------------------------------------------------------------------------

class WrittenText : public DbTest {};

// Files written in text mode: a line feed inside a value becomes CR LF like every other; a time
// of day without a format is the time, not today's date.
TEST_P(WrittenText, LineFeedInsideAValueIsWrittenAsCrLfAndTimeIsTheTimeOfDay) {
  ScratchDatabase& db = NewDatabase();
  db.Execute("CREATE TABLE T (NOTE VARCHAR(20), ORA TIME)");
  db.Execute("INSERT INTO T VALUES ('uno\ndue', '04:05:06')");
  EngineEnvironment env;
  ASSERT_EQ(env.RunSteps("<cd directory=\"@destfolder\"/>"
                         "<table action=\"export\" format=\"csv\" name=\"T\" columns=\"NOTE, ORA\" filename=\"t.csv\"/>"
                         "<table action=\"export\" format=\"txt\" name=\"T\" columns=\"NOTE, ORA\" filename=\"t.txt\">"
                         "<fields><field name=\"NOTE\" length=\"8\" padding=\"right\"/>"
                         "<field name=\"ORA\" length=\"8\"/></fields></table>",
                         db.Config()),
            1)
      << testing::PrintToString(env.Lines());
  EXPECT_EQ(ReadBytes(env.Work("t.csv")), "uno\r\ndue,04:05:06\r\n");
  EXPECT_EQ(ReadBytes(env.Work("t.txt")), "uno\r\ndue 04:05:06\r\n");
}

INSTANTIATE_TEST_SUITE_P(Drivers, WrittenText, testing::ValuesIn(AllDbKinds()), DbKindName);

TEST(DataFileStream, TwoExportsIntoOneFileEachWriteTheirOwnTemporaryFile) {
  TempDir dir;
  const std::string path = dir.File("same.xml");
  CDataFileStream first(path), second(path);
  ASSERT_TRUE(first.IsOpen() && second.IsOpen());
  for (CDataFileStream* s : {&first, &second}) {
    s->BeginTable("T", "ID");
    s->BeginRecord(1);
    s->Column("ID", "integer", false, s == &first ? "1" : "2");
    s->EndRecord();
  }
  first.Commit();
  const std::string firstBytes = ReadBytes(path);
  second.Commit();
  EXPECT_THAT(firstBytes, HasSubstr(">1</column>"));
  EXPECT_THAT(ReadBytes(path), HasSubstr(">2</column>"));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.Path()), {}), 1);  // no temporary left
}

}  // namespace
}  // namespace tarvo::test
