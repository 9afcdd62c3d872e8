// The copy of many rows into a database server: few statements per row, and a refused row in the
// middle of a batch reported as the row-by-row copy reports it.
#include "dbexchange/exchange_articoli.h"
#include "dbexchange/exchange_ordini.h"
#include "platform/settings.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <regex>

#include "platform/records/demo_generator.h"
#include "support/recording_window.h"
#include "support/test_db.h"

using namespace tarvo;
using namespace tarvo::test;

namespace {

long long Count(CDatabase& db, const CString& sql) {
  CODBCRecordset rs(&db);
  rs.Open(sql);
  return rs.Field(0).AsInt64();
}

// A generated company of `articles` articles in a new SQLite file.
std::unique_ptr<ScratchDatabase> GeneratedSource(long articles) {
  auto source = std::make_unique<ScratchDatabase>(DbKind::kSQLite);
  source->LoadSchema("company.sql");
  GenerateCompanyDatabase(source->Db(), GeneratorSize::ForArticles(articles));
  return source;
}

int RunExport(const std::string& source, const std::string& destination, RecordingWindow& window,
              CTarvoImport&& procedure = CTarvoExportWebArticoli()) {
  procedure.SetSrcConfig(source);
  procedure.SetDestConfig(destination);
  procedure.SetParentWnd(&window);
  procedure.SetVerbose(false);
  int result = procedure.Run();
  window.WaitFinished();
  return result;
}

// A database of its own on the test cluster, so that the server's statement counts are this
// test's alone.
class OwnPostgresDatabase {
 public:
  OwnPostgresDatabase() {
    const char* pg = std::getenv("TARVO_TEST_PG");
    if (!pg || !*pg) return;
    admin_.OpenEx(pg);
    admin_.ExecuteSQL("CREATE DATABASE " + name_);
    config_ = std::regex_replace(std::string(pg), std::regex("Database=[^;]*", std::regex::icase), "Database=" + name_);
    CDatabase db;
    db.OpenEx(config_);
    db.ExecuteScript(Utf8ToCp1252(ReadText(SchemaDir() + "/postgres/company.sql")));
  }
  ~OwnPostgresDatabase() {
    if (config_.empty()) return;
    try {
      admin_.ExecuteSQL("DROP DATABASE " + name_);
    } catch (const CDBException&) {
    }
  }
  const std::string& Config() const { return config_; }
  // Statements the server ran in this database since the last call.
  long long Statements() {
    long long n = Count(admin_, ("SELECT COALESCE(SUM(calls), 0) FROM pg_stat_statements WHERE dbid = "
                                 "(SELECT oid FROM pg_database WHERE datname = '" + name_ + "')").c_str());
    admin_.ExecuteSQL("SELECT pg_stat_statements_reset()");
    return n;
  }
  bool CanCount() {
    try {
      admin_.ExecuteSQL("CREATE EXTENSION IF NOT EXISTS pg_stat_statements");
      Statements();
      return true;
    } catch (const CDBException&) {
      return false;
    }
  }

 private:
  CDatabase admin_;
  std::string name_ = "tarvo_rt_" + std::to_string(::getpid());
  std::string config_;
};

}  // namespace

// A copy that went back to a lookup and a write per row would send some 4,000 statements here.
TEST(ArticleExchangeOnAServer, SendsAFewStatementsPerThousandRowsOnBothRuns) {
  OwnPostgresDatabase destination;
  if (destination.Config().empty()) GTEST_SKIP() << "TARVO_TEST_PG unset";
  if (!destination.CanCount()) GTEST_SKIP() << "pg_stat_statements is not loaded on the test cluster";
  auto source = GeneratedSource(2000);
  const long long rows = 2000 + 5 + 20 + 4 + 3 + 5;  // articles, categories, families, groups, VAT, units
  CDatabase check;
  check.OpenEx(destination.Config());
  for (const char* run : {"into empty tables", "over every row"}) {
    RecordingWindow window;
    ASSERT_EQ(RunExport(source->Config(), destination.Config(), window), 1) << run;
    long long statements = destination.Statements();
    EXPECT_LE(statements, rows / 20) << run;
    EXPECT_EQ(Count(check, "SELECT COUNT(*) FROM ARTICOLO"), 2000) << run;
    EXPECT_EQ(window.Texts().size(), static_cast<size_t>(rows + 23)) << "a line per row, every run";
  }
}

// The order export writes each order's lines in one statement: lines written one by one (or the
// driver's savepoints around each) would send at least 300 statements for the lines alone.
TEST(OrderExchangeOnAServer, SendsAFewStatementsPerOrderWhateverItsLines) {
  OwnPostgresDatabase destination;
  if (destination.Config().empty()) GTEST_SKIP() << "TARVO_TEST_PG unset";
  if (!destination.CanCount()) GTEST_SKIP() << "pg_stat_statements is not loaded on the test cluster";
  ScratchDatabase source(DbKind::kSQLite);
  source.LoadSchema("company.sql");
  GeneratorSize size;
  size.articles = 100, size.customers = 5, size.branchesPerCustomer = 1, size.orders = 10, size.linesPerOrder = 30;
  GenerateCompanyDatabase(source.Db(), size);
  source.Execute("UPDATE DOCUMENTO SET ID_AGENTE_SEDE_SOCIETA = 3, ID_STATO_ORDINE = 1");
  CUserAdministrator::SetCurrentUser(3, 1, 1);
  RecordingWindow window;
  const int result = RunExport(source.Config(), destination.Config(), window, CTarvoExportWebOrdini());
  CUserAdministrator::SetCurrentUser(0, 0, 0);
  ASSERT_EQ(result, 1);
  EXPECT_LE(destination.Statements(), 10 * 10 + 5 * 10);  // per order, and per customer created
  CDatabase check;
  check.OpenEx(destination.Config());
  EXPECT_EQ(Count(check, "SELECT COUNT(*) FROM VOCI_DOCUMENTO"), 300);
}

class ArticleExchangeBatch : public DbTest {};

// The destination refuses one article in the middle of a batch: the log ends as the row-by-row
// copy's would, with that article's line followed by the error, and nothing is written.
TEST_P(ArticleExchangeBatch, RefusedRowIsTheLastRowLoggedAndItsErrorFollows) {
  auto source = GeneratedSource(300);
  ScratchDatabase& destination = NewDatabase();
  destination.LoadSchema("company.sql");
  if (GetParam() == DbKind::kSQLite) {
    destination.Execute("CREATE TRIGGER REFUSE BEFORE INSERT ON ARTICOLO WHEN NEW.ID = 'G0000150' "
                        "BEGIN SELECT RAISE(ABORT, 'articolo rifiutato'); END");
  } else {
    destination.Db().ExecuteScript(
        "CREATE FUNCTION REFUSE() RETURNS trigger AS $$ BEGIN "
        "IF NEW.ID = 'G0000150' THEN RAISE EXCEPTION 'articolo rifiutato'; END IF; RETURN NEW; END $$ "
        "LANGUAGE plpgsql;"
        "CREATE TRIGGER REFUSE BEFORE INSERT ON ARTICOLO FOR EACH ROW EXECUTE FUNCTION REFUSE();");
  }
  RecordingWindow window;
  EXPECT_EQ(RunExport(source->Config(), destination.Config(), window), 0);
  std::vector<std::string> texts = window.Texts();
  auto failed = std::find(texts.begin(), texts.end(), "Operazione fallita.");
  ASSERT_NE(failed, texts.end());
  ASSERT_GE(failed - texts.begin(), 2);
  EXPECT_NE(failed[-1].find("articolo rifiutato"), std::string::npos) << failed[-1];
  EXPECT_EQ(failed[-2].rfind("Controllo articolo G0000150 - ", 0), 0u) << failed[-2];
  EXPECT_EQ(Count(destination.Db(), "SELECT COUNT(*) FROM ARTICOLO"), 0);
  EXPECT_EQ(Count(destination.Db(), "SELECT COUNT(*) FROM CATEGORIA"), 0);
}

INSTANTIATE_TEST_SUITE_P(Drivers, ArticleExchangeBatch, testing::ValuesIn(AllDbKinds()), DbKindName);
