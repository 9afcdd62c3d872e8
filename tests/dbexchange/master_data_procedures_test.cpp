// What the customer, commission and stock procedures share: the factory makes them by number, and
// a database that cannot be opened ends them before any work.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>

#include "dbexchange/exchange_provvigioni.h"
#include "dbexchange/export_web_clienti.h"
#include "dbexchange/import_agente_clienti.h"
#include "dbexchange/import_giacenze.h"
#include "framework/exchange_factory.h"
#include "support/recording_window.h"
#include "support/test_db.h"

using namespace tarvo;
using namespace tarvo::test;

TEST(MasterDataProcedures, TheFactoryCreatesThemByNumber) {
  ScratchDatabase db(DbKind::kSQLite);
  db.LoadSchema("esportazione.sql");
  for (long n : {11L, 14L, 15L, 1003L, 1010L})
    db.Execute(StrFormat("INSERT INTO ESPORTAZIONE (NUMERO, DESCRIZIONE, TIPO) VALUES (%ld, 'x', 'custom')", n));
  CExchangeFactory factory(&db.Db());
  auto make = [&](long n) { return std::unique_ptr<CTarvoImport>(factory.GetExchangeProcedure(n)); };
  EXPECT_NE(dynamic_cast<CTarvoImportAgenteProvvigioni*>(make(11).get()), nullptr);
  EXPECT_NE(dynamic_cast<CTarvoImportAgenteClienti*>(make(14).get()), nullptr);
  EXPECT_NE(dynamic_cast<CTarvoImportGiacenze*>(make(15).get()), nullptr);
  EXPECT_NE(dynamic_cast<CTarvoExportWebClienti*>(make(1003).get()), nullptr);
  EXPECT_NE(dynamic_cast<CTarvoExportWebProvvigioni*>(make(1010).get()), nullptr);
}

namespace {

struct Unreachable {
  const char* name;
  std::function<CTarvoImport*()> make;
  bool source;        // which side cannot be opened
  int result;         // what Run returns
  int notifications;  // finished notifications posted
};

class UnreachableDatabase : public testing::TestWithParam<Unreachable> {};

}  // namespace

TEST_P(UnreachableDatabase, EndsWithTheOpenFailureLinesBeforeAnyWork) {
  const Unreachable& c = GetParam();
  ScratchDatabase good(DbKind::kSQLite);
  good.LoadSchema("company.sql");
  const std::string bad = "DRIVER={No Such Driver};DATABASE=x";
  std::unique_ptr<CTarvoImport> p(c.make());
  RecordingWindow window;
  p->SetSrcConfig(c.source ? bad : good.Config());
  p->SetDestConfig(c.source ? good.Config() : bad);
  p->SetParentWnd(&window);
  p->SetVerbose(false);
  EXPECT_EQ(p->Run(), c.result);
  window.Drain();
  EXPECT_EQ(window.FinishedCount(), c.notifications);
  if (c.notifications) {
    EXPECT_EQ(window.Result(), 0);
  }
  const std::string failed = c.source ? "- Impossibile connettersi al database sorgente: "
                                      : "- Impossibile connettersi al database destinazione: ";
  std::vector<std::string> texts = window.Texts();
  EXPECT_TRUE(std::any_of(texts.begin(), texts.end(), [&](const std::string& t) { return t.rfind(failed, 0) == 0; }));
  EXPECT_LE(texts.size(), 3u) << "nothing but the lines of the databases: " << texts.back();
}

INSTANTIATE_TEST_SUITE_P(
    Procedures, UnreachableDatabase,
    testing::Values(
        Unreachable{"CommissionsSource", [] { return new CTarvoExportWebProvvigioni; }, true, 0, 1},
        Unreachable{"CommissionsDestination", [] { return new CTarvoImportAgenteProvvigioni; }, false, 0, 1},
        Unreachable{"StockSource", [] { return new CTarvoImportGiacenze; }, true, 0, 1},
        Unreachable{"CustomersSource", [] { return new CTarvoExportWebClienti; }, true, -1, 1},
        // The customer exchanges deliberately leave the host unnotified when the destination fails.
        Unreachable{"CustomersDestination", [] { return new CTarvoImportAgenteClienti; }, false, -1, 0}),
    [](const testing::TestParamInfo<Unreachable>& info) { return std::string(info.param.name); });
