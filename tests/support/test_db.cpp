#include "support/test_db.h"

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace tarvo::test {

std::string DbKindName(const testing::TestParamInfo<DbKind>& info) {
  return info.param == DbKind::kSQLite ? "SQLite" : "PostgreSQL";
}

TempDir::TempDir() {
  std::string tmpl = (std::filesystem::temp_directory_path() / "tarvo-test.XXXXXX").string();
  std::vector<char> buf(tmpl.begin(), tmpl.end());
  buf.push_back('\0');
  if (!::mkdtemp(buf.data())) throw std::runtime_error("mkdtemp failed");
  path_ = buf.data();
}

TempDir::~TempDir() {
  std::error_code ec;
  std::filesystem::remove_all(path_, ec);
}

std::string SchemaDir() { return std::string(TARVO_SOURCE_DIR) + "/schema"; }

std::string ReadText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + path);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

namespace {
std::atomic<int> g_counter{0};
}

ScratchDatabase::ScratchDatabase(DbKind kind) : kind_(kind) {
  if (kind == DbKind::kSQLite) {
    dir_ = std::make_unique<TempDir>();
    config_ = dir_->File("company.db");
    return;
  }
  const char* pg = std::getenv("TARVO_TEST_PG");
  if (!pg || !*pg) {
    skip_reason_ = "PostgreSQL test cluster not running (TARVO_TEST_PG unset; scripts/test.sh starts one)";
    return;
  }
  schema_ = "t_" + std::to_string(::getpid()) + "_" + std::to_string(++g_counter);
  CDatabase admin;
  admin.OpenEx(pg);
  admin.ExecuteSQL("CREATE SCHEMA " + schema_);
  config_ = std::string(pg) + ";ConnSettings=SET search_path TO " + schema_;
}

ScratchDatabase::~ScratchDatabase() {
  db_.reset();
  if (!schema_.empty()) {
    try {
      CDatabase admin;
      admin.OpenEx(std::getenv("TARVO_TEST_PG"));
      admin.ExecuteSQL("DROP SCHEMA " + schema_ + " CASCADE");
    } catch (...) {
    }
  }
}

bool ScratchDatabase::Available(std::string* why) const {
  if (why) *why = skip_reason_;
  return skip_reason_.empty();
}

void ScratchDatabase::LoadSchema(const std::string& name) {
  std::string dialect = kind_ == DbKind::kSQLite ? "sqlite" : "postgres";
  std::string path = SchemaDir() + "/" + dialect + "/" + name;
  if (!std::filesystem::exists(path)) path = SchemaDir() + "/" + name;
  Db().ExecuteScript(tarvo::Utf8ToCp1252(ReadText(path)));
}

void ScratchDatabase::Execute(const std::string& sql) { Db().ExecuteSQL(sql); }

CDatabase& ScratchDatabase::Db() {
  if (!db_) {
    db_ = std::make_unique<CDatabase>();
    db_->OpenEx(config_);
  }
  return *db_;
}

void DbTest::SetUp() {
  ScratchDatabase probe(GetParam());
  std::string why;
  if (!probe.Available(&why)) {
    if (std::getenv("CI")) FAIL() << why;
    GTEST_SKIP() << why;
  }
}

ScratchDatabase& DbTest::NewDatabase() {
  dbs_.push_back(std::make_unique<ScratchDatabase>(GetParam()));
  return *dbs_.back();
}

}  // namespace tarvo::test
