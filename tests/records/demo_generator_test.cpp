#include "platform/records/demo_generator.h"

#include <gtest/gtest.h>

#include "platform/records/procedure_id.h"
#include "company_db_test.h"
#include "support/test_db.h"

using namespace tarvo;
using namespace tarvo::test;

class DemoGeneratorTest : public CompanyDbTest {};

TEST_P(DemoGeneratorTest, FillsEveryTableInSmallBatchesWithRowsThatReferToEachOtherAndAddUp) {
  GeneratorSize size = GeneratorSize::ForArticles(300);
  size.batch = 97;  // many commits
  GeneratorCounts counts = GenerateCompanyDatabase(*db_, size);
  EXPECT_EQ(counts.articles, 300);
  EXPECT_EQ(counts.customers, 30);
  EXPECT_EQ(counts.branches, 60);
  EXPECT_EQ(counts.orders, 60);
  EXPECT_EQ(counts.lines, 300);
  EXPECT_EQ(Scalar("SELECT COUNT(*) FROM ARTICOLO"), 300);
  EXPECT_EQ(Scalar("SELECT COUNT(*) FROM CATEGORIA"), counts.categories);
  EXPECT_EQ(Scalar("SELECT COUNT(*) FROM FAMIGLIA"), counts.families);
  EXPECT_EQ(Scalar("SELECT COUNT(*) FROM ZONA_POSTALE"), counts.zones);
  EXPECT_EQ(Scalar("SELECT COUNT(*) FROM SEDE"), 60);
  EXPECT_EQ(Scalar("SELECT COUNT(*) FROM VOCI_DOCUMENTO"), 300);
  EXPECT_FALSE(db_->InTransaction());
  // Rows that refer to nothing, and totals that differ from their lines (in cents, so that the
  // comparison does not depend on floating point).
  for (const char* wrong : {
           "SELECT COUNT(*) FROM ARTICOLO A WHERE NOT EXISTS (SELECT 1 FROM FAMIGLIA F "
           "WHERE F.ID = A.ID_FAMIGLIA AND F.ID_CATEGORIA = A.ID_CATEGORIA)",
           "SELECT COUNT(*) FROM ARTICOLO A WHERE NOT EXISTS (SELECT 1 FROM IVA I WHERE I.CODICE = A.CODICE_IVA)",
           "SELECT COUNT(*) FROM VOCI_DOCUMENTO V WHERE NOT EXISTS (SELECT 1 FROM ARTICOLO A WHERE A.ID = V.ID_ARTICOLO)",
           "SELECT COUNT(*) FROM SEDE S WHERE NOT EXISTS (SELECT 1 FROM ZONA_POSTALE Z WHERE Z.ID = S.IDZONAPOSTALE)",
           "SELECT COUNT(*) FROM DOCUMENTO D WHERE NOT EXISTS (SELECT 1 FROM SEDE S "
           "WHERE S.ID = D.CLI_FAT_SEDE_ID AND S.IDAZIENDA = D.CLI_FAT_ID)",
           "SELECT COUNT(*) FROM DOCUMENTO D WHERE ROUND(D.TOTALE_IMPONIBILE * 100) <> "
           "(SELECT ROUND(SUM(V.IMPORTO) * 100) FROM VOCI_DOCUMENTO V WHERE V.ID_DOCUMENTO = D.ID)"})
    EXPECT_EQ(Scalar(wrong), 0) << wrong;
  EXPECT_EQ(Scalar("SELECT COUNT(*) FROM DOCUMENTO WHERE ID_STATO_ORDINE = 1"), 15);  // one order in four
}

TEST_P(DemoGeneratorTest, AddsToTheDemoDataAndKeepsIdentifiersAhead) {
  scratch_->LoadSchema("demo/demo.sql");
  const long long before = Scalar("SELECT COUNT(*) FROM AZIENDA");
  const long long maxOrder = Scalar("SELECT MAX(ID) FROM DOCUMENTO");
  GeneratorSize size = GeneratorSize::ForArticles(50);
  GenerateCompanyDatabase(*db_, size);
  EXPECT_EQ(Scalar("SELECT COUNT(*) FROM AZIENDA"), before + size.customers);
  EXPECT_EQ(Scalar("SELECT MIN(ID) FROM DOCUMENTO WHERE ID > " + std::to_string(maxOrder)), maxOrder + 1);
  CProcedureId id(db_);
  EXPECT_GT(id.GetNewId("GET_ID_DOCUMENTO"), Scalar("SELECT MAX(ID) FROM DOCUMENTO"));
  EXPECT_GT(id.GetNewId("GET_ID_VOCI_DOCUMENTO"), Scalar("SELECT MAX(ID) FROM VOCI_DOCUMENTO"));
}

TEST_P(DemoGeneratorTest, SameSeedGivesTheSameDatabase) {
  GenerateCompanyDatabase(*db_, GeneratorSize::ForArticles(40));
  ScratchDatabase& other = NewDatabase();
  other.LoadSchema("company.sql");
  GenerateCompanyDatabase(other.Db(), GeneratorSize::ForArticles(40));
  const char* digest = "SELECT COUNT(*), SUM(LENGTH(DESCRIZIONE)), ROUND(SUM(PREZZO) * 100) FROM ARTICOLO";
  CODBCRecordset a(db_), b(&other.Db());
  a.Open(digest);
  b.Open(digest);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(a.Field(i).AsInt64(), b.Field(i).AsInt64()) << i;
}

INSTANTIATE_TEST_SUITE_P(Drivers, DemoGeneratorTest, testing::ValuesIn(AllDbKinds()), DbKindName);
