// The sample drivers end to end: the article export on a database with the demo data, then the
// matching import into an empty database gives the same rows, on every pair of drivers.
#include <gmock/gmock.h>

#include "tests/xmlengine/engine_fixture.h"

namespace tarvo::test {
namespace {

struct Pair {
  DbKind from, to;
};

// The demo articles exported by the sample driver from `source`, and an empty `target`.
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
    source_.LoadSchema("company.sql");
    source_.LoadSchema("demo/demo.sql");
    target_.LoadSchema("company.sql");
    ASSERT_EQ(RunSample("articoli_export.xml", source_.Config(), ""), 1) << testing::PrintToString(env_.Lines());
  }
  int RunSample(const std::string& driver, const std::string& src, const std::string& dest) {
    CTarvoExchangeXML engine;
    env_.Prepare(engine, SampleDriver(driver), driver);
    engine.SetSrcConfig(src);
    engine.SetDestConfig(dest);
    return engine.Run();
  }
  // How many of the lines since `from` contain `text`.
  long Count(const std::vector<std::string>& lines, size_t from, const char* text) {
    return std::count_if(lines.begin() + static_cast<long>(from), lines.end(),
                         [&](const std::string& l) { return l.find(text) != std::string::npos; });
  }
  ScratchDatabase source_{GetParam().from}, target_{GetParam().to};
  EngineEnvironment env_;
};

TEST_P(ArticleRoundTrip, ExportThenImportGivesTheSameRows) {
  for (const char* f : {"001_IVA.xml", "006_ARTICOLO.xml", "articoli.csv", "articoli.txt"})
    EXPECT_TRUE(std::filesystem::exists(env_.Work(f))) << f;
  ASSERT_EQ(RunSample("articoli_import.xml", "", target_.Config()), 1) << testing::PrintToString(env_.Lines());
  ExpectSameArticles(source_.Db(), target_.Db());

  // A second import finds every row by its key and updates it.
  size_t before = env_.Lines().size();
  ASSERT_EQ(RunSample("articoli_import.xml", "", target_.Config()), 1);
  auto lines = env_.Lines();
  EXPECT_EQ(Count(lines, before, "(inserimento)"), 0);
  EXPECT_EQ(Count(lines, before, "(aggiornamento)"), 61);
  ExpectSameArticles(source_.Db(), target_.Db());
}

TEST_P(ArticleRoundTrip, FixedWidthListUpdatesTheArticles) {
  ASSERT_EQ(RunSample("articoli_txt_import.xml", "", target_.Config()), 1) << testing::PrintToString(env_.Lines());
  const std::string sql = "SELECT ID, DESCRIZIONE, ID_UNITA_MISURA, CODICE_IVA, PREZZO, CONFEZIONE FROM ARTICOLO ORDER BY ID";
  EXPECT_EQ(Rows(target_.Db(), sql), Rows(source_.Db(), sql));
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
