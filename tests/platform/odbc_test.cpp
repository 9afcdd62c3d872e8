#include "platform/odbc.h"

#include <gtest/gtest.h>

#include "support/test_db.h"

using namespace tarvo;
using namespace tarvo::test;

class OdbcTest : public DbTest {
 protected:
  void SetUp() override {
    DbTest::SetUp();
    if (IsSkipped() || HasFailure()) return;
    db_ = &NewDatabase();
    db_->Execute(
        "CREATE TABLE T (ID INTEGER NOT NULL PRIMARY KEY, NOME VARCHAR(40), PREZZO DOUBLE PRECISION, "
        "DATA TIMESTAMP, TESTO TEXT)");
  }
  ScratchDatabase* db_ = nullptr;
};

TEST_P(OdbcTest, TypedValuesNullsAndLongTextRoundTripThroughParameters) {
  CDatabase& db = db_->Db();
  CString big(10000, 'a');
  big += W("ù");
  db.ExecuteSQL("INSERT INTO T (ID, NOME, PREZZO, DATA, TESTO) VALUES (?, ?, ?, ?, ?)",
                {1LL, W("Caffè è più buono"), 12.5, CDBTimestamp{2026, 5, 31, 10, 20, 30}, big});
  db.ExecuteSQL("INSERT INTO T (ID, NOME, PREZZO, DATA) VALUES (?, ?, ?, ?)",
                {2LL, std::monostate{}, std::monostate{}, std::monostate{}});
  CODBCRecordset rs(&db);
  ASSERT_TRUE(rs.Open("SELECT ID, NOME, PREZZO, DATA, TESTO FROM T ORDER BY ID"));
  ASSERT_FALSE(rs.IsEOF());
  EXPECT_EQ(rs["id"].AsLong(), 1);  // PostgreSQL reports names in lower case: lookups ignore case
  EXPECT_EQ(rs["NOME"].AsString(), W("Caffè è più buono"));
  EXPECT_TRUE(IsSqlTextType(rs["NOME"].GetSQLType()));
  EXPECT_DOUBLE_EQ(rs["PREZZO"].AsDouble(), 12.5);
  EXPECT_EQ(rs["DATA"].AsDate(), (CDBTimestamp{2026, 5, 31, 10, 20, 30}));
  EXPECT_TRUE(IsSqlDateType(rs["DATA"].GetSQLType()));
  EXPECT_EQ(rs[4].AsString(), big) << "long text is read whole";
  rs.MoveNext();
  ASSERT_FALSE(rs.IsEOF());
  EXPECT_TRUE(rs["NOME"].IsNull());
  EXPECT_TRUE(rs["PREZZO"].IsNull());
  EXPECT_EQ(rs["NOME"].AsString(), "");
  rs.MoveNext();
  EXPECT_TRUE(rs.IsEOF());
}

TEST_P(OdbcTest, RollbackDiscardsCommitKeepsAndARecordsetReopensWithNewParameters) {
  CDatabase& db = db_->Db();
  ASSERT_TRUE(db.BeginTrans());
  db.ExecuteSQL("INSERT INTO T (ID) VALUES (1)");
  ASSERT_TRUE(db.Rollback());
  ASSERT_TRUE(db.BeginTrans());
  for (long long i = 2; i <= 3; ++i) db.ExecuteSQL("INSERT INTO T (ID) VALUES (?)", {i});
  ASSERT_TRUE(db.CommitTrans());
  CODBCRecordset rs(&db);
  for (long long i = 1; i <= 3; ++i) {
    rs.Open("SELECT ID FROM T WHERE ID = ?", {i});
    ASSERT_EQ(rs.IsEOF(), i == 1) << i;
    if (i > 1) { EXPECT_EQ(rs[0].AsInt64(), i); }
  }
}

TEST_P(OdbcTest, DriverErrorsCarrySqlStateAndText) {
  CDatabase& db = db_->Db();
  db.ExecuteSQL("INSERT INTO T (ID) VALUES (1)");
  try {
    db.ExecuteSQL("INSERT INTO T (ID) VALUES (1)");
    FAIL() << "duplicate key accepted";
  } catch (const CDBException& e) {
    EXPECT_FALSE(e.m_strError.empty());
    EXPECT_EQ(e.m_strSqlState.size(), 5u);
  }
  EXPECT_THROW(db.ExecuteSQL("SELECT * FROM NO_SUCH_TABLE"), CDBException);
}

TEST_P(OdbcTest, RepeatedStatementsWriteAtEveryRunAndReportTheirErrors) {
  CDatabase& db = db_->Db();
  CODBCStatement insert(&db), update(&db), lookup(&db);
  insert.PrepareRepeated("INSERT INTO T (ID, NOME) VALUES (?, ?)");
  update.PrepareRepeated("  update T SET NOME = ? WHERE ID = ?");
  lookup.PrepareRepeated("SELECT NOME FROM T WHERE ID = ?");
  for (long long i = 1; i <= 3; ++i) insert.Execute({i, CString("n") + std::to_string(i)});
  update.Execute({W("più"), 2LL});
  update.Execute({std::monostate{}, 3LL});
  try {
    insert.Execute({1LL, CString("doppio")});
    FAIL() << "duplicate key accepted";
  } catch (const CDBException& e) {
    EXPECT_FALSE(e.m_strError.empty());
  }
  insert.Execute({4LL, CString("dopo l'errore")});
  EXPECT_EQ(lookup.QueryFirstValue({2LL}), W("più"));
  EXPECT_EQ(lookup.QueryFirstValue({3LL}), CString());  // NULL
  EXPECT_EQ(lookup.QueryFirstValue({9LL}), std::nullopt);
  EXPECT_EQ(lookup.QueryFirstValue({4LL}), "dopo l'errore");
}

INSTANTIATE_TEST_SUITE_P(Drivers, OdbcTest, testing::ValuesIn(AllDbKinds()), DbKindName);

TEST(OdbcConnection, UnreachableServerThrowsWithTheDriversText) {
  CDatabase db;
  try {
    db.OpenEx("DRIVER={PostgreSQL ANSI};Server=127.0.0.1;Port=1;Database=x;UID=x;PWD=x");
    FAIL();
  } catch (const CDBException& e) {
    EXPECT_FALSE(e.m_strError.empty());
  }
  EXPECT_FALSE(db.IsOpen());
}

// Row-by-row procedures write whole pages to the log at every commit: a new file gets small pages,
// and an existing one keeps what it has.
TEST(OdbcConnection, NewSqliteFileGetsSmallPagesAndWriteAheadLog) {
  TempDir dir;
  auto pragma = [](CDatabase& db, const char* name) {
    CODBCRecordset rs(&db);
    rs.Open(CString("PRAGMA ") + name);
    return rs[0].AsString();
  };
  CDatabase fresh;
  fresh.OpenEx(dir.File("nuovo.db"));
  fresh.ExecuteSQL("CREATE TABLE X (N INTEGER)");
  EXPECT_EQ(pragma(fresh, "page_size"), "1024");
  EXPECT_EQ(pragma(fresh, "journal_mode"), "wal");
  {
    CDatabase other;
    other.OpenEx("DRIVER=SQLite3;Database=" + dir.File("vecchio.db"));
    other.ExecuteSQL("PRAGMA page_size = 4096");
    other.ExecuteSQL("CREATE TABLE X (N INTEGER)");
  }
  CDatabase existing;
  existing.OpenEx(dir.File("vecchio.db"));
  EXPECT_EQ(pragma(existing, "page_size"), "4096");
  EXPECT_EQ(pragma(existing, "journal_mode"), "wal");
}

TEST(SqlScript, SplitsOnSemicolonsOutsideQuotesCommentsAndFunctionOrTriggerBodies) {
  auto parts = SplitSqlScript(
      "-- a comment; with semicolon\nCREATE TABLE A (X INT);\nINSERT INTO A VALUES ('a;b''c');\n"
      "CREATE FUNCTION F() RETURNS INT AS $$ BEGIN RETURN 1; END; $$ LANGUAGE plpgsql;;");
  ASSERT_EQ(parts.size(), 3u);
  EXPECT_EQ(parts[1], "INSERT INTO A VALUES ('a;b''c')");
  EXPECT_NE(parts[2].find("RETURN 1; END;"), CString::npos);
  parts = SplitSqlScript(  // a SQLite trigger body ends at its END, a PostgreSQL one at its statement
      "CREATE TRIGGER T AFTER INSERT ON A\nBEGIN\n  UPDATE B SET N = N + 1;\n  DELETE FROM C;\nEND;\n"
      "CREATE TRIGGER P AFTER INSERT ON A FOR EACH ROW EXECUTE FUNCTION F();\nSELECT 1;");
  ASSERT_EQ(parts.size(), 3u);
  EXPECT_TRUE(parts[0].ends_with("DELETE FROM C;\nEND"));
  EXPECT_EQ(parts[2], "SELECT 1");
}
