// Export steps: the XML data file, CSV and fixed-width files, byte for byte against fixtures, and
// the field value formatting the three writers share.
#include <gmock/gmock.h>

#include <xercesc/dom/DOM.hpp>

#include "platform/event.h"
#include "tests/xmlengine/engine_fixture.h"
#include "xmlengine/data_file_stream.h"
#include "xmlengine/dom_support.h"

namespace tarvo::test {
namespace {

using testing::Contains;
using testing::Not;

// A small table holding what the writers must get right: quotes, markup characters, commas,
// accented and Windows-only characters, NULLs, dates and timestamps.
void CreateSample(ScratchDatabase& db) {
  db.Execute("CREATE TABLE PROVA (CODICE VARCHAR(10) NOT NULL PRIMARY KEY, DESCRIZIONE VARCHAR(60), "
             "QTA INTEGER, GIORNO DATE, MOMENTO TIMESTAMP)");
  db.Db().ExecuteSQL(W("INSERT INTO PROVA VALUES ('A1', 'Caffè \"Moka\" & tè <1kg>', 3, '2026-03-01', "
                       "'2026-03-01 10:20:30')"));
  db.Execute("INSERT INTO PROVA VALUES ('B2', NULL, NULL, NULL, NULL)");
  db.Db().ExecuteSQL(W("INSERT INTO PROVA VALUES ('C,3', 'Prezzo in € e virgola, qui', 42, '2025-12-31', "
                       "'2025-12-31 23:59:59')"));
}

class ExportFiles : public DbTest {
 protected:
  void SetUp() override {
    DbTest::SetUp();
    if (IsSkipped() || HasFailure()) return;
    source_ = &NewDatabase();
    CreateSample(*source_);
  }
  int RunDriver(const std::string& steps, const std::function<void(CTarvoExchangeXML&)>& configure = {}) {
    return env_.RunSteps("<cd directory=\"@destfolder\"/>" + steps, source_->Config(), "", configure);
  }
  ScratchDatabase* source_ = nullptr;
  EngineEnvironment env_;
};

struct WrittenFile {
  const char* step;
  const char* file;     // as written in the work folder
  const char* fixture;  // the expected bytes
  std::vector<std::string> lines, absentLines;
};

TEST_P(ExportFiles, WrittenFilesMatchTheirFixtures) {
  const WrittenFile cases[] = {
      // The name keeps the driver's spelling; inside the file names are in capitals.
      {"<table action=\"export\" format=\"xml\" name=\"prova\" columns=\"*\" orderby=\"CODICE\" primarykey=\"codice\"/>",
       "001_prova.xml", "prova.xml",
       {W("-- Trasferimento record n° 3"), "-- Trasferiti 3 records", "- Creazione file dei dati 001_prova.xml in corso"}, {}},
      {"<table action=\"export\" format=\"xml\" name=\"PROVA\" columns=\"CODICE, QTA, GIORNO, MOMENTO\" orderby=\"CODICE\" "
       "filename=\"fields.xml\"><fields><field name=\"QTA\" constvalue=\"@exp_id_societa\" length=\"0\"/>"
       "<field name=\"GIORNO\"/><field name=\"MOMENTO\"/>"
       "<field name=\"CODICE\" length=\"4\" padding=\"left\" strpadding=\"_\"/></fields></table>",
       "fields.xml", "prova_fields.xml", {}, {}},
      {"<table action=\"export\" format=\"txt\" name=\"PROVA\" columns=\"*\" orderby=\"CODICE\" filename=\"p.txt\">"
       "<fields><field name=\"CODICE\" length=\"6\" padding=\"right\" strpadding=\".\"/>"
       "<field name=\"DESCRIZIONE\" length=\"12\" padding=\"right\"/>"
       "<field name=\"QTA\" length=\"5\" padding=\"left\" strpadding=\"0\"/>"
       "<field name=\"GIORNO\" length=\"6\" format=\"%d%m%y\"/></fields></table>",
       "p.txt", "prova.txt", {"-- Trasferiti 3 records"}, {W("-- Trasferimento record n° 1")}},
      {"<table action=\"export\" format=\"xml\" name=\"PROVA\" columns=\"*\" where=\"1 = 0\" primarykey=\"CODICE\"/>",
       "001_PROVA.xml", "empty.xml", {"-- Trasferiti 0 records"}, {}},
  };
  CUserAdministrator::SetCurrentUser(0, 7, 0);
  for (const WrittenFile& c : cases) {
    SCOPED_TRACE(c.file);
    const long before = static_cast<long>(env_.Lines().size());
    EXPECT_EQ(RunDriver(c.step), 1);
    EXPECT_EQ(ReadBytes(env_.Work(c.file)), ReadBytes(DataFile(c.fixture)));
    auto all = env_.Lines();
    const std::vector<std::string> lines(all.begin() + before, all.end());
    for (const std::string& line : c.lines) EXPECT_THAT(lines, Contains(line));
    for (const std::string& line : c.absentLines) EXPECT_THAT(lines, Not(Contains(line)));
  }
  CUserAdministrator::SetCurrentUser(0, 0, 0);
}

TEST_P(ExportFiles, CsvMatchesFixtureAndAppendAddsRowsWithoutHeader) {
  const std::string step =
      "<table action=\"export\" format=\"csv\" name=\"PROVA\" columns=\"*\" orderby=\"CODICE\" filename=\"p.csv\" "
      "fileappend=\"yes\"/>";
  ASSERT_EQ(RunDriver(step), 1);
  const std::string once = ReadBytes(DataFile("prova.csv"));
  EXPECT_EQ(ReadBytes(env_.Work("p.csv")), once);
  ASSERT_EQ(RunDriver(step), 1);
  EXPECT_EQ(ReadBytes(env_.Work("p.csv")), once + once);
  // Without append the file starts again.
  ASSERT_EQ(RunDriver("<table action=\"export\" format=\"csv\" name=\"PROVA\" columns=\"*\" orderby=\"CODICE\" "
                      "filename=\"p.csv\"/>"),
            1);
  EXPECT_EQ(ReadBytes(env_.Work("p.csv")), once);
}

TEST_P(ExportFiles, GeneratedNamesCountEveryDataStepAndEndInXml) {
  ASSERT_EQ(RunDriver("<table action=\"export\" format=\"pdf\" name=\"PROVA\" columns=\"*\" filename=\"none.pdf\"/>"
                      "<table action=\"export\" format=\"csv\" name=\"PROVA\" columns=\"*\"/>"
                      "<query action=\"export\" format=\"txt\" tablename=\"Q\"><sql>SELECT CODICE FROM PROVA</sql></query>"),
            1);
  EXPECT_FALSE(std::filesystem::exists(env_.Work("none.pdf")));
  EXPECT_TRUE(std::filesystem::exists(env_.Work("002_PROVA.xml")));
  EXPECT_TRUE(std::filesystem::exists(env_.Work("003_Q.xml")));
}

// Placeholders are substituted in where and file name; a query's lines are joined into one.
TEST_P(ExportFiles, StatementTextIsSubstitutedAndJoined) {
  ASSERT_EQ(RunDriver("<table action=\"export\" format=\"csv\" name=\"PROVA\" columns=\"CODICE\" "
                      "where=\"CODICE = '@code'\" filename=\"@code.csv\"/><query action=\"export\" format=\"csv\" "
                      "tablename=\"Q\" filename=\"q.csv\"><sql>\n  SELECT CODICE\r\n  FROM PROVA\n  WHERE QTA = 42\n</sql></query>",
                      [](CTarvoExchangeXML& engine) { engine.SetFilterParam("code", "B2"); }),
            1);
  EXPECT_EQ(ReadBytes(env_.Work("B2.csv")), "B2\r\n");
  EXPECT_EQ(ReadBytes(env_.Work("q.csv")), "C,3\r\n");
}

TEST_P(ExportFiles, QueryInCdataHasNoSql) {
  int result = RunDriver("<query action=\"export\" format=\"csv\" tablename=\"Q\" filename=\"q.csv\">"
                         "<sql><![CDATA[SELECT CODICE FROM PROVA]]></sql></query>");
  // The empty statement is the driver's to judge: SQLite refuses it, psqlODBC runs it with no result.
  EXPECT_EQ(result, GetParam() == DbKind::kPostgreSQL ? 1 : 0);
  EXPECT_EQ(ReadBytes(env_.Work("q.csv")), "");
}

TEST_P(ExportFiles, StopRequestWritesNoXmlFile) {
  CEvent stop;
  stop.SetEvent();
  EXPECT_EQ(RunDriver("<table action=\"export\" format=\"xml\" name=\"PROVA\" columns=\"*\"/>",
                      [&stop](CTarvoExchangeXML& engine) { engine.SetEventStop(stop); }),
            0);
  EXPECT_TRUE(env_.HasLine("Operazione interrotta dall'utente."));
  EXPECT_FALSE(std::filesystem::exists(env_.Work("001_PROVA.xml")));
}

TEST_P(ExportFiles, NumberFormatAppliesToNumericColumns) {
  source_->Execute("CREATE TABLE IMPORTI (X NUMERIC(10,2))");
  source_->Execute("INSERT INTO IMPORTI VALUES (12.5)");
  ASSERT_EQ(RunDriver("<table action=\"export\" format=\"txt\" name=\"IMPORTI\" columns=\"X\" filename=\"n.txt\">"
                      "<fields><field name=\"X\" format=\"%08.2f\"/></fields></table>"),
            1);
  // The SQLite driver reports NUMERIC columns as double, to which a format does not apply.
  EXPECT_EQ(ReadBytes(env_.Work("n.txt")), GetParam() == DbKind::kPostgreSQL ? "00012.50\r\n" : "12.5\r\n");
  // A format that is not one number conversion is not applied.
  ASSERT_EQ(RunDriver("<table action=\"export\" format=\"txt\" name=\"IMPORTI\" columns=\"X\" filename=\"s.txt\">"
                      "<fields><field name=\"X\" format=\"%s %n %f\"/></fields></table>"),
            1);
  EXPECT_EQ(ReadBytes(env_.Work("s.txt")), "12.5\r\n");
}

INSTANTIATE_TEST_SUITE_P(Drivers, ExportFiles, testing::ValuesIn(AllDbKinds()), DbKindName);

// --- The streamed data file against the library's serializer ---------------------------------
TEST(DataFileStream, WritesWhatTheSerializerWritesForAnyText) {
  EngineEnvironment env;
  const std::vector<std::pair<std::string, std::string>> columns = {
      {"PLAIN", "ALI001"},     {"MARKUP", "a&<>\"'\tb]]>"},          {"LINES", "x\ny\r\nz\r"},
      {"LATIN", "\x7f\x81\x8d\xa0\xe8\xff"}, {"WINDOWS", "\x80\x99\x8c\x9f"}, {"BLANKS", "  lead and trail  "},
      {"EMPTY", ""},           {"N\"A<&>\t\n\r\x80", "name with markup"}};
  const std::string table = "T&<>\"'\t\n\r\x80\xe8", key = "K\"1";

  TestEngine engine;
  xercesc::DOMDocument* document = engine.CreateDataDocument();
  ASSERT_NE(document, nullptr);
  using tarvo::xml::XStr;
  auto element = [&](xercesc::DOMElement* parent, const char* tag,
                     std::initializer_list<std::pair<const char*, std::string>> attributes) {
    xercesc::DOMElement* e = document->createElement(XStr(tag).c_str());
    for (const auto& [name, value] : attributes) e->setAttribute(XStr(name).c_str(), XStr(value).c_str());
    parent->appendChild(e);
    return e;
  };
  xercesc::DOMElement* t = element(document->getDocumentElement(), "table", {{"name", table}, {"primarykey", key}});
  CDataFileStream stream(env.Work("streamed.xml"));
  stream.BeginTable(table, key);
  for (int number = 1; number <= 2; ++number) {
    xercesc::DOMElement* r = element(t, "record", {{"number", std::to_string(number)}});
    stream.BeginRecord(number);
    for (const auto& [name, text] : columns) {
      bool isNull = text.empty();
      xercesc::DOMElement* c =
          element(r, "column", {{"name", name}, {"type", "string"}, {"isnull", isNull ? "yes" : "no"}});
      if (!isNull) c->appendChild(document->createTextNode(XStr(text).c_str()));
      stream.Column(stream.EscapeAttribute(name), "string", isNull, text);
    }
    stream.EndRecord();
  }
  ASSERT_TRUE(engine.WriteDataFile(env.Work("serialized.xml"), document));
  document->release();
  ASSERT_TRUE(stream.IsValid());
  stream.Commit();
  EXPECT_EQ(ReadBytes(env.Work("streamed.xml")), ReadBytes(env.Work("serialized.xml")));
  EXPECT_FALSE(std::filesystem::exists(env.Work("streamed.xml.part")));
}

// A text the format cannot hold, or a folder that does not exist: the library's message, no file.
TEST(DataFileStream, WriteFailuresGiveTheLibrarysMessageAndLeaveNoFile) {
  ScratchDatabase db(DbKind::kSQLite);
  db.Execute("CREATE TABLE C (T VARCHAR(10))");
  db.Execute("INSERT INTO C VALUES ('a' || char(1) || 'b')");
  const std::pair<const char*, const char*> cases[] = {
      {"<cd directory=\"@destfolder\"/><table action=\"export\" format=\"xml\" name=\"C\" columns=\"T\"/>",
       "An error occured during parsing+   Message: invalid or illegal XML character"},
      {"<table action=\"export\" format=\"xml\" name=\"C\" columns=\"T\" filename=\"/no/such/dir/c.xml\"/>",
       "An error occured during parsing+   Message: unable to open file '/no/such/dir/c.xml'"}};
  for (const auto& [steps, message] : cases) {
    EngineEnvironment env;
    EXPECT_EQ(env.RunSteps(steps, db.Config()), 0) << message;
    EXPECT_TRUE(env.HasLine(message));
    EXPECT_TRUE(env.HasLine("-- Trasferiti 1 records")) << message;
    EXPECT_TRUE(std::filesystem::is_empty(env.Work())) << message;
  }
}

// --- Unwritable files ----------------------------------------------------------------------------
TEST(UnwritableFile, FixedWidthShowsABoxEvenWhenNotVerboseCsvFailsSilently) {
  ScratchDatabase db(DbKind::kSQLite);
  CreateSample(db);
  for (const char* format : {"txt", "csv"}) {
    EngineEnvironment env;
    EXPECT_EQ(env.RunSteps(std::string("<table action=\"export\" format=\"") + format +
                               "\" name=\"PROVA\" columns=\"*\" filename=\"/no/such/dir/p\"/>",
                           db.Config()),
              0)
        << format;
    EXPECT_EQ(env.ui.boxes.size(), std::string(format) == "txt" ? 1u : 0u) << format;
    EXPECT_EQ(env.Lines(), std::vector<std::string>{"Avvio trasferimento dati ..."}) << format;
  }
}

// --- Type names ------------------------------------------------------------------------------
TEST(ColumnType, OdbcTypesMapToTheDataFileNames) {
  const std::pair<int, const char*> cases[] = {
      {-7, "integer"}, {-6, "integer"}, {-5, "integer"}, {4, "integer"}, {5, "integer"}, {2, "number"},
      {3, "number"},   {6, "float"},    {7, "double"},   {8, "double"},   {9, "date"},    {91, "date"},
      {10, "time"},    {92, "time"},    {11, "datetime"}, {93, "datetime"}, {1, "string"}, {12, "string"},
      {-1, "string"},  {-9, "string"},  {-2, "string"},  {0, "string"},   {1234, "string"}};
  for (const auto& [type, name] : cases) EXPECT_EQ(CTarvoExchangeXML::GetColumnType(type), name) << type;
}

// --- Field value formatting ------------------------------------------------------------------
struct FormatCase {
  const char* name;
  const char* expression;  // a SQLite expression giving the value
  CTarvoExchangeXML::CField field;
  const char* expected;
};

CTarvoExchangeXML::CField Def(int length, int alignment, const char* pad = "", const char* constant = "",
                              bool nullPadding = false, const char* format = "") {
  CTarvoExchangeXML::CField f;
  f.m_nLength = length;
  f.m_nAlignment = alignment;
  f.m_strPadding = pad;
  f.m_strConstValue = constant;
  f.m_bNullPadding = nullPadding;
  f.m_strFormat = format;
  return f;
}

class FieldFormatting : public testing::TestWithParam<FormatCase> {};

TEST_P(FieldFormatting, GivesTheExpectedText) {
  static ScratchDatabase db(DbKind::kSQLite);
  static const bool kFilled = [] {
    db.Execute("CREATE TABLE V (N INTEGER, T VARCHAR(20), D DATE, S TIMESTAMP)");
    db.Execute("INSERT INTO V VALUES (42, 'ABC', '2026-03-01', '2026-03-01 10:20:30')");
    return true;
  }();
  ASSERT_TRUE(kFilled);
  CODBCRecordset rs(&db.Db());
  rs.Open(std::string("SELECT ") + GetParam().expression + " FROM V");
  EXPECT_EQ(CTarvoExchangeXML::FormatFieldValue(GetParam().field, rs.Field(0)), GetParam().expected);
}

using F = CTarvoExchangeXML::CField;
INSTANTIATE_TEST_SUITE_P(
    Cases, FieldFormatting,
    testing::Values(FormatCase{"PadRightWithZeros", "N", Def(5, F::kRight, "0"), "42000"},
                    FormatCase{"NoAlignmentStaysShort", "N", Def(5, F::kNone, "0"), "42"},
                    FormatCase{"OnlyFirstPaddingCharacterCounts", "T", Def(5, F::kLeft, "xy"), "xxABC"},
                    FormatCase{"BlankWhenNoPaddingText", "T", Def(5, F::kLeft), "  ABC"},
                    FormatCase{"NullWithoutLengthIsEmpty", "NULL", Def(0, F::kLeft), ""},
                    FormatCase{"NullWithConstantGivesBlanks", "NULL", Def(3, F::kNone, "", "K"), "   "},
                    FormatCase{"NullPaddingWritesTheConstant", "NULL", Def(3, F::kLeft, "", "K", true), "  K"},
                    FormatCase{"NullPaddingPadsTheEmptyText", "NULL", Def(3, F::kLeft, "0", "", true), "000"},
                    FormatCase{"TimestampFormat", "S", Def(0, F::kNone, "", "", false, "%H.%M"), "10.20"},
                    FormatCase{"FormatIgnoredForIntegers", "N", Def(0, F::kNone, "", "", false, "%08.2f"), "42"},
                    FormatCase{"FormatIgnoredForText", "T", Def(0, F::kNone, "", "", false, "%Y"), "ABC"},
                    FormatCase{"FormatThenCut", "D", Def(4, F::kNone, "", "", false, "%Y%m%d"), "2026"}),
    [](const testing::TestParamInfo<FormatCase>& i) { return std::string(i.param.name); });

}  // namespace
}  // namespace tarvo::test
