// Fixture of the record tests: a fresh company database (schema loaded) on each driver.
#pragma once

#include "support/test_db.h"

namespace tarvo::test {

class CompanyDbTest : public DbTest {
 protected:
  void SetUp() override {
    DbTest::SetUp();
    if (IsSkipped() || HasFailure()) return;
    scratch_ = &NewDatabase();
    scratch_->LoadSchema("company.sql");
    db_ = &scratch_->Db();
  }
  // The first column of the first row of `sql`.
  long long Scalar(const CString& sql) {
    CODBCRecordset rs(db_);
    rs.Open(sql);
    return rs.Field(0).AsInt64();
  }
  ScratchDatabase* scratch_ = nullptr;
  CDatabase* db_ = nullptr;
};

}  // namespace tarvo::test
