// A whole driver-based exchange through the loopback web shop, with the sample drivers: the
// sending driver writes data files, packs and uploads them; the receiving driver downloads,
// unpacks and imports them into a second database and runs the statement that came with them.
// Both databases must then agree.
#include <filesystem>

#include "support/web_shop_server.h"
#include "tests/xmlengine/engine_fixture.h"

namespace tarvo::test {
namespace {

class ExchangeRoundTrip : public DbTest {
 protected:
  void Configure(CTarvoExchangeXML& engine) {
    engine.SetHttpServer(server.Url());
    engine.SetHttpURL("/upload");
    engine.SetHttpUID("agente");
    engine.SetHttpPWD("segreta");
    engine.SetFilterParam("articolo", "ALI002");
  }
  WebShopServer server;
};

TEST_P(ExchangeRoundTrip, ExportUploadDownloadImportLeavesBothDatabasesEqual) {
  ScratchDatabase& company = NewDatabase();
  company.LoadSchema("company.sql");
  company.LoadSchema("demo/demo.sql");
  ScratchDatabase& shop = NewDatabase();
  shop.LoadSchema("company.sql");

  DriverRun exporter;
  Configure(exporter.engine);
  exporter.engine.SetSrcConfig(company.Config());
  exporter.env.Prepare(exporter.engine, SampleDriver("articoli_web_invio.xml"));
  ASSERT_EQ(1, exporter.engine.Run()) << testing::PrintToString(exporter.Lines());
  EXPECT_TRUE(exporter.HasLine("- Trasferimento file [" + std::filesystem::canonical(exporter.Work()).string() +
                               "/scambio.zip] completato."));
  EXPECT_FALSE(FileExists(exporter.Work("scambio.zip")));
  ASSERT_TRUE(server.HasFile("scambio.zip"));

  // The receiving side has one database: data files and statements both go to it.
  DriverRun importer;
  Configure(importer.engine);
  importer.engine.SetDestConfig(shop.Config());
  importer.engine.SetSrcConfig(shop.Config());
  importer.env.Prepare(importer.engine, SampleDriver("articoli_web_ricezione.xml"));
  ASSERT_EQ(1, importer.engine.Run()) << testing::PrintToString(importer.Lines());
  EXPECT_TRUE(importer.HasLine("- Estrazione archivio compresso completata"));
  EXPECT_TRUE(FileExists(importer.Work("007_EXECUTE.xml")));

  ExpectSameArticles(company.Db(), shop.Db());
  EXPECT_EQ((std::vector<std::string>{"0"}), Rows(shop.Db(), "SELECT F_ATTIVO FROM ARTICOLO WHERE ID = 'ALI002'"));
}

INSTANTIATE_TEST_SUITE_P(Db, ExchangeRoundTrip, testing::ValuesIn(AllDbKinds()), DbKindName);

}  // namespace
}  // namespace tarvo::test
