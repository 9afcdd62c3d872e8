// Test databases on every driver the system supports. A database behaviour is written once as a
// TEST_P over DbKind and runs on SQLite (always) and on PostgreSQL (the cluster named by the
// environment variable TARVO_TEST_PG, which scripts/test.sh starts; without it the PostgreSQL
// cases are skipped with a message, except under CI where they fail).
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/odbc.h"

namespace tarvo::test {

enum class DbKind { kSQLite, kPostgreSQL };
std::string DbKindName(const testing::TestParamInfo<DbKind>& info);
inline const std::vector<DbKind>& AllDbKinds() {
  static const std::vector<DbKind> kinds = {DbKind::kSQLite, DbKind::kPostgreSQL};
  return kinds;
}

// A temporary folder removed with its contents at destruction.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  const std::string& Path() const { return path_; }
  std::string File(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

// A fresh, empty database of one kind: a new SQLite file, or a new schema on the PostgreSQL test
// cluster (dropped at destruction). Config() is the configuration text a procedure takes.
class ScratchDatabase {
 public:
  explicit ScratchDatabase(DbKind kind);
  ~ScratchDatabase();
  // False (with the reason) when the kind cannot run here; the test should GTEST_SKIP.
  bool Available(std::string* why = nullptr) const;
  const std::string& Config() const { return config_; }
  DbKind Kind() const { return kind_; }
  // Runs one of the schema scripts of the repository ("esportazione.sql", "company.sql", or a
  // path below schema/ such as "demo/demo.sql") in this database's dialect.
  void LoadSchema(const std::string& name);
  void Execute(const std::string& sql);
  // A connection the test may use; opened on first call.
  CDatabase& Db();

 private:
  DbKind kind_;
  std::string config_;
  std::string schema_;
  std::string skip_reason_;
  std::unique_ptr<TempDir> dir_;
  std::unique_ptr<CDatabase> db_;
};

// Base for TEST_P suites over DbKind: skips (or fails under CI) when PostgreSQL is absent.
class DbTest : public testing::TestWithParam<DbKind> {
 protected:
  void SetUp() override;
  ScratchDatabase& NewDatabase();  // another fresh database of the same kind
  std::vector<std::unique_ptr<ScratchDatabase>> dbs_;
};

std::string SchemaDir();
std::string ReadText(const std::string& path);

}  // namespace tarvo::test
