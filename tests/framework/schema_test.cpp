#include <gtest/gtest.h>

#include "support/test_db.h"

using namespace tarvo::test;

class SchemaTest : public DbTest {};

TEST_P(SchemaTest, CompanySchemaAndDemoLoadThroughTheOdbcLayer) {
  ScratchDatabase& db = NewDatabase();
  db.LoadSchema("esportazione.sql");
  db.LoadSchema("company.sql");
  db.LoadSchema("demo/demo.sql");
  CODBCRecordset rs(&db.Db());
  rs.Open("SELECT COUNT(*) FROM ARTICOLO");
  EXPECT_GT(rs[0].AsLong(), 20);
  rs.Open("SELECT DESCRIZIONE FROM ARTICOLO WHERE DESCRIZIONE LIKE '%\xE8%'");  // an accented row ("è")
  EXPECT_FALSE(rs.IsEOF());
}

INSTANTIATE_TEST_SUITE_P(Drivers, SchemaTest, testing::ValuesIn(AllDbKinds()), DbKindName);
