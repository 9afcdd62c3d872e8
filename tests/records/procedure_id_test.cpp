#include "platform/records/procedure_id.h"

#include <gtest/gtest.h>

#include <fstream>
#include <set>

#include "company_db_test.h"
#include "support/children.h"
#include "support/test_db.h"

using namespace tarvo;
using namespace tarvo::test;

class ProcedureIdTest : public CompanyDbTest {};

TEST_P(ProcedureIdTest, GeneratorsHandOutIncreasingKeysAboveExistingRowsWithinTheCallersTransaction) {
  CProcedureId id(db_);
  ASSERT_TRUE(id.Open("GET_ID_AZIENDA"));
  EXPECT_FALSE(id.IsEOF());
  const long first = id.m_ID;
  id.Close();
  EXPECT_EQ(id.GetNewId("GET_ID_AZIENDA"), first + 1);
  EXPECT_EQ(id.GetNewId("GET_ID_AZIENDA"), first + 2);
  for (const char* name : {"GET_ID_SEDE", "GET_ID_ZONA_POSTALE", "GET_ID_DOCUMENTO", "GET_ID_VOCI_DOCUMENTO",
                           "GET_ID_SCADENZARIO", "GET_ID_CC_USER"}) {
    long a = id.GetNewId(name);
    EXPECT_EQ(id.GetNewId(name), a + 1) << name;
  }
  db_->ExecuteSQL("INSERT INTO AZIENDA (ID, RAGIONESOCIALE) VALUES (900000, 'Alta')");
  EXPECT_GT(id.GetNewId("GET_ID_AZIENDA"), 900000) << "keys stay above rows inserted with explicit ids";
  db_->BeginTrans();
  const long a = id.GetNewId("GET_ID_SEDE");
  EXPECT_TRUE(db_->InTransaction());  // the caller's transaction is neither ended nor replaced
  db_->CommitTrans();
  EXPECT_EQ(id.GetNewId("GET_ID_SEDE"), a + 1);
}

TEST_P(ProcedureIdTest, UnknownOrMalformedNamesAreRefused) {
  CProcedureId id(db_);
  EXPECT_THROW(id.Open("GET_ID_NESSUNO"), CException);  // SQLite: no generator; PostgreSQL: no function
  EXPECT_FALSE(id.IsOpen());
  try {
    id.Open("GET_ID_AZIENDA(); DROP TABLE AZIENDA; --");
    FAIL() << "no exception";
  } catch (const CException& e) {
    EXPECT_EQ(e.Kind(), ErrorKind::kInput);
  }
}

INSTANTIATE_TEST_SUITE_P(Drivers, ProcedureIdTest, testing::ValuesIn(AllDbKinds()), DbKindName);

// Two processes drawing keys from the same SQLite file at the same time.
TEST(ProcedureIdSqlite, TwoProcessesNeverReceiveTheSameKey) {
  ScratchDatabase scratch(DbKind::kSQLite);
  scratch.LoadSchema("company.sql");
  TempDir dir;
  constexpr int kDraws = 300;
  EXPECT_TRUE(RunInChildren(2, [&](int child) {
    CDatabase db;
    db.OpenEx(scratch.Config());
    CProcedureId id(&db);
    std::ofstream out(dir.File("ids" + std::to_string(child)));
    for (int i = 0; i < kDraws; ++i) out << id.GetNewId("GET_ID_DOCUMENTO") << "\n";
  }));
  std::set<long> seen;
  size_t total = 0;
  for (int child = 0; child < 2; ++child) {
    std::ifstream in(dir.File("ids" + std::to_string(child)));
    for (long v; in >> v; ++total) seen.insert(v);
  }
  EXPECT_EQ(total, 2u * kDraws);
  EXPECT_EQ(seen.size(), total);
  EXPECT_EQ(*seen.rbegin() - *seen.begin() + 1, 2 * kDraws);  // no gaps either
}
