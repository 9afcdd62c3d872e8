// The fixture of the Pellor tests: the demo company (SQLite or PostgreSQL), the current user as
// agent 3 of company 1 and branch 1, and query results as text.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/settings.h"
#include "support/test_db.h"

namespace tarvo::test {

class PellorDemoCompany : public DbTest {
 protected:
  void SetUp() override {
    DbTest::SetUp();
    if (IsSkipped() || HasFailure()) return;
    db_ = &NewDatabase();
    db_->LoadSchema("company.sql");
    db_->LoadSchema("demo/demo.sql");
    CUserAdministrator::SetCurrentUser(3, 1, 1);
  }
  // The first column of every row of a query, as text.
  std::vector<std::string> Column(const std::string& sql) {
    std::vector<std::string> values;
    CODBCRecordset rs(&db_->Db());
    for (rs.Open(sql); !rs.IsEOF(); rs.MoveNext())
      values.push_back(rs.Field(0).IsNull() ? "<null>" : rs.Field(0).AsString());
    return values;
  }

  ScratchDatabase* db_ = nullptr;
};

}  // namespace tarvo::test
