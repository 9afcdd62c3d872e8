// Fixture of the database exchange tests: a source (out) and a destination (in) company database
// on a route of drivers, a recording window and a stop event; helpers to run a procedure between
// them and to read tables back as comparable text. The current user set by a test is reset after
// it.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "framework/tarvo_import.h"
#include "platform/settings.h"
#include "support/recording_window.h"
#include "support/test_db.h"

namespace tarvo::test {

struct Route {
  DbKind source, destination;
};

inline std::string RouteName(const testing::TestParamInfo<Route>& info) {
  auto name = [](DbKind k) { return k == DbKind::kSQLite ? std::string("SQLite") : std::string("PostgreSQL"); };
  return name(info.param.source) + "To" + name(info.param.destination);
}

// Every driver as source and as destination.
inline auto Routes() {
  return testing::Values(Route{DbKind::kSQLite, DbKind::kSQLite}, Route{DbKind::kSQLite, DbKind::kPostgreSQL},
                         Route{DbKind::kPostgreSQL, DbKind::kSQLite});
}

// Rows of a query as text, numbers normalised so that both drivers print them alike.
inline std::vector<std::string> Rows(CDatabase& db, const std::string& sql) {
  std::vector<std::string> rows;
  CODBCRecordset rs(&db);
  rs.Open(sql);
  for (; !rs.IsEOF(); rs.MoveNext()) {
    std::string row;
    for (int i = 0; i < rs.GetFieldCount(); ++i) {
      CDBField& f = rs.Field(i);
      if (f.IsNull()) row += "<null>";
      else if (IsSqlRealType(f.GetSQLType()) || IsSqlIntegerType(f.GetSQLType())) row += StrFormat("%.6g", f.AsDouble());
      else row += f.AsString();
      row += "|";
    }
    rows.push_back(row);
  }
  return rows;
}

class TwoDatabaseTest : public testing::TestWithParam<Route> {
 protected:
  void SetUp() override {
    source_ = std::make_unique<ScratchDatabase>(GetParam().source);
    destination_ = std::make_unique<ScratchDatabase>(GetParam().destination);
    std::string why;
    for (ScratchDatabase* db : {source_.get(), destination_.get()}) {
      if (!db->Available(&why)) {
        if (std::getenv("CI")) FAIL() << why;
        GTEST_SKIP() << why;
      }
    }
    source_->LoadSchema("company.sql");
    destination_->LoadSchema("company.sql");
  }
  void TearDown() override { CUserAdministrator::SetCurrentUser(0, 0, 0); }

  ScratchDatabase& Source() { return *source_; }
  ScratchDatabase& Destination() { return *destination_; }

  // Runs `p` from Source() into Destination() (or between the given configurations) and waits
  // for its end; the lines land in window_ unless another window is given.
  int RunProcedure(CTarvoImport& p, RecordingWindow* window = nullptr, const std::string& src = "",
                   const std::string& dest = "") {
    if (!window) window = &window_;
    p.SetSrcConfig(src.empty() ? Source().Config() : src);
    p.SetDestConfig(dest.empty() ? Destination().Config() : dest);
    p.SetParentWnd(window);
    p.SetEventStop(stop_);
    p.SetVerbose(false);
    int result = p.Run();
    window->Drain();  // Run posts everything before it returns
    return result;
  }

  // Makes `db` refuse inserts into `table` whose `column` equals `value` (a quoted literal),
  // with the error text "rifiutato".
  static void RefuseInsert(ScratchDatabase& db, const std::string& table, const std::string& column,
                           const std::string& value) {
    if (db.Kind() == DbKind::kSQLite) {
      db.Execute("CREATE TRIGGER REFUSE_" + table + " BEFORE INSERT ON " + table + " WHEN NEW." + column + " = " +
                 value + " BEGIN SELECT RAISE(ABORT, 'rifiutato'); END");
    } else {
      db.Db().ExecuteScript("CREATE FUNCTION REFUSE_" + table + "() RETURNS trigger AS $$ BEGIN IF NEW." + column +
                            " = " + value + " THEN RAISE EXCEPTION 'rifiutato'; END IF; RETURN NEW; END $$ "
                            "LANGUAGE plpgsql;"
                            "CREATE TRIGGER REFUSE_" + table + " BEFORE INSERT ON " + table +
                            " FOR EACH ROW EXECUTE FUNCTION REFUSE_" + table + "();");
    }
  }

  RecordingWindow window_;
  CEvent stop_;
  std::unique_ptr<ScratchDatabase> source_, destination_;
};

}  // namespace tarvo::test
