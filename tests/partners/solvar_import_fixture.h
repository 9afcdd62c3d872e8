// The fixture of the Solvar import tests: an empty company database (SQLite or PostgreSQL) as
// the procedure's in database, the sample files under tests/data/solvar, and the cells of the
// database as text.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "framework/tarvo_import.h"
#include "platform/records/record_set.h"
#include "platform/settings.h"
#include "support/recording_window.h"
#include "support/test_db.h"

namespace tarvo::test {

class SolvarImport : public DbTest {
 protected:
  void SetUp() override {
    DbTest::SetUp();
    if (IsSkipped() || HasFailure()) return;
    NewTarget();
  }
  // A fresh, empty company database as the target of the next runs.
  void NewTarget() {
    target_ = &NewDatabase();
    target_->LoadSchema("company.sql");
  }

  // The demo company in the target, the demo agent (3, company 1, site 1) logged in.
  void LoadDemo() {
    target_->LoadSchema("demo/demo.sql");
    CUserAdministrator::SetCurrentUser(3, 1, 1);
  }

  static std::string Data(const std::string& set) { return std::string(TARVO_TEST_DATA_DIR) + "/solvar/" + set; }

  // Runs `p` on the target with the files of `folder`, without questions; its result.
  int Run(CTarvoImport& p, const std::string& folder) {
    window_ = std::make_unique<RecordingWindow>();
    p.SetParentWnd(window_.get());
    p.SetDestConfig(target_->Config());
    p.SetInDir(folder);
    p.SetVerbose(false);
    int result = p.Run();
    EXPECT_TRUE(window_->WaitFinished());
    EXPECT_EQ(window_->Result(), result == 1 ? 1 : 0);
    return result;
  }

  // The first cell of a query: "<null>", "<no row>", numbers in their shortest form ("12.5").
  CString Cell(const std::string& sql) {
    CODBCRecordset rs(&target_->Db());
    rs.Open(sql);
    if (rs.IsEOF()) return "<no row>";
    CDBField& f = rs.Field(0);
    if (f.IsNull()) return "<null>";
    return IsSqlRealType(f.GetSQLType()) ? FormatNumber(f.AsDouble()) : f.AsString();
  }
  long Count(const std::string& table) { return std::stol(Cell("SELECT COUNT(*) FROM " + table)); }

  ScratchDatabase* target_ = nullptr;
  // The window of the last run.
  RecordingWindow& Window() { return *window_; }
  bool Logged(const std::string& utf8) { return window_->HasLine(W(utf8)); }

  std::unique_ptr<RecordingWindow> window_;
};

}  // namespace tarvo::test
