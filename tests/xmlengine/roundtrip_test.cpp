// The sample drivers end to end: the article export on a database with the demo data, then the
// matching import into an empty database gives the same rows, on every pair of drivers.
#include <gmock/gmock.h>

#include "tests/xmlengine/engine_fixture.h"

namespace tarvo::test {
namespace {

const char* const kTables[][2] = {{"IVA", "CODICE"},       {"UNITA_MISURA", "ID"}, {"CATEGORIA", "ID"},
                                  {"FAMIGLIA", "ID"},      {"GRUPPO", "ID"},       {"ARTICOLO", "ID"}};

std::string SampleDriver(const std::string& name) {
  return ReadText(std::string(TARVO_SOURCE_DIR) + "/xmlengine/drivers/" + name);
}

int RunSample(EngineEnvironment& env, const std::string& driver, const std::string& src, const std::string& dest) {
  CTarvoExchangeXML engine;
  env.Prepare(engine, SampleDriver(driver), driver);
  engine.SetSrcConfig(src);
  engine.SetDestConfig(dest);
  return engine.Run();
}

void ExpectSameRows(CDatabase& a, CDatabase& b) {
  for (const auto& t : kTables) {
    std::string sql = std::string("SELECT * FROM ") + t[0] + " ORDER BY " + t[1];
    auto expected = Rows(a, sql);
    EXPECT_FALSE(expected.empty()) << t[0];
    EXPECT_EQ(Rows(b, sql), expected) << t[0];
  }
}

struct Pair {
  DbKind from, to;
};

class ArticleRoundTrip : public testing::TestWithParam<Pair> {
 protected:
  void SetUp() override {
    for (DbKind k : {GetParam().from, GetParam().to}) {
      std::string why;
      if (!ScratchDatabase(k).Available(&why)) {
        if (std::getenv("CI")) FAIL() << why;
        GTEST_SKIP() << why;
      }
    }
  }
};

TEST_P(ArticleRoundTrip, ExportThenImportGivesTheSameRows) {
  ScratchDatabase source(GetParam().from), target(GetParam().to);
  source.LoadSchema("company.sql");
  source.LoadSchema("demo/demo.sql");
  target.LoadSchema("company.sql");
  EngineEnvironment env;
  ASSERT_EQ(RunSample(env, "articoli_export.xml", source.Config(), ""), 1) << testing::PrintToString(env.Lines());
  for (const char* f : {"001_IVA.xml", "006_ARTICOLO.xml", "articoli.csv", "articoli.txt"})
    EXPECT_TRUE(std::filesystem::exists(env.Work(f))) << f;
  ASSERT_EQ(RunSample(env, "articoli_import.xml", "", target.Config()), 1) << testing::PrintToString(env.Lines());
  ExpectSameRows(source.Db(), target.Db());

  // A second import finds every row by its key and updates it.
  size_t before = env.Lines().size();
  ASSERT_EQ(RunSample(env, "articoli_import.xml", "", target.Config()), 1);
  auto lines = env.Lines();
  auto updates = std::count_if(lines.begin() + static_cast<long>(before), lines.end(), [](const std::string& l) {
    return l.find("(aggiornamento)") != std::string::npos;
  });
  auto inserts = std::count_if(lines.begin() + static_cast<long>(before), lines.end(), [](const std::string& l) {
    return l.find("(inserimento)") != std::string::npos;
  });
  EXPECT_EQ(inserts, 0);
  EXPECT_EQ(updates, 61);
  ExpectSameRows(source.Db(), target.Db());
}

TEST_P(ArticleRoundTrip, FixedWidthListUpdatesTheArticles) {
  ScratchDatabase source(GetParam().from), target(GetParam().to);
  source.LoadSchema("company.sql");
  source.LoadSchema("demo/demo.sql");
  target.LoadSchema("company.sql");
  EngineEnvironment env;
  ASSERT_EQ(RunSample(env, "articoli_export.xml", source.Config(), ""), 1);
  ASSERT_EQ(RunSample(env, "articoli_txt_import.xml", "", target.Config()), 1) << testing::PrintToString(env.Lines());
  const std::string sql = "SELECT ID, DESCRIZIONE, ID_UNITA_MISURA, CODICE_IVA, PREZZO, CONFEZIONE FROM ARTICOLO ORDER BY ID";
  EXPECT_EQ(Rows(target.Db(), sql), Rows(source.Db(), sql));
}

INSTANTIATE_TEST_SUITE_P(Drivers, ArticleRoundTrip,
                         testing::Values(Pair{DbKind::kSQLite, DbKind::kSQLite}, Pair{DbKind::kSQLite, DbKind::kPostgreSQL},
                                         Pair{DbKind::kPostgreSQL, DbKind::kSQLite}),
                         [](const testing::TestParamInfo<Pair>& i) {
                           auto n = [](DbKind k) { return k == DbKind::kSQLite ? std::string("SQLite") : std::string("PostgreSQL"); };
                           return n(i.param.from) + "To" + n(i.param.to);
                         });

}  // namespace
}  // namespace tarvo::test
