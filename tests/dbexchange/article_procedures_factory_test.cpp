#include <gtest/gtest.h>

#include <memory>

#include "dbexchange/exchange_articoli.h"
#include "framework/exchange_factory.h"
#include "partners/solvar/export_solvar_articoli.h"
#include "support/test_db.h"

using namespace tarvo::test;

TEST(ArticleProcedures, TheFactoryCreatesThemByNumber) {
  ScratchDatabase db(DbKind::kSQLite);
  db.LoadSchema("esportazione.sql");
  for (long n : {1L, 1002L, 1008L})
    db.Execute(tarvo::StrFormat("INSERT INTO ESPORTAZIONE (NUMERO, DESCRIZIONE, TIPO) VALUES (%ld, 'x', 'custom')", n));
  CExchangeFactory factory(&db.Db());
  auto make = [&](long n) { return std::unique_ptr<CTarvoImport>(factory.GetExchangeProcedure(n)); };
  EXPECT_NE(dynamic_cast<CTarvoImportWebArticoli*>(make(1).get()), nullptr);
  EXPECT_NE(dynamic_cast<CTarvoExportWebArticoli*>(make(1002).get()), nullptr);
  EXPECT_NE(dynamic_cast<CTarvoExportSolvarArticoli*>(make(1008).get()), nullptr);
}
