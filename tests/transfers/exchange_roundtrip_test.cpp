// A whole driver-based exchange through the loopback web shop: an export driver writes data files,
// packs and uploads them; an import driver downloads, unpacks and imports them into a second
// database and runs the statement that came with them. Both databases must then agree.
#include <filesystem>

#include "support/web_shop_server.h"
#include "tests/transfers/transfers_fixture.h"

namespace tarvo::test {
namespace {

const auto* const kXerces = testing::AddGlobalTestEnvironment(new XercesForTransfers);

const std::vector<std::string> kTables = {"IVA", "UNITA_MISURA", "CATEGORIA", "FAMIGLIA", "GRUPPO", "ARTICOLO"};

const char kExportSteps[] = R"(
<checkparam srcdsn="yes" destfolder="yes" httpserver="yes" httpurl="yes"/>
<table action="export" format="xml" name="IVA" columns="*" orderby="CODICE" primarykey="CODICE"/>
<table action="export" format="xml" name="UNITA_MISURA" columns="*" orderby="ID" primarykey="ID"/>
<table action="export" format="xml" name="CATEGORIA" columns="*" orderby="ID" primarykey="ID"/>
<table action="export" format="xml" name="FAMIGLIA" columns="*" orderby="ID" primarykey="ID"/>
<table action="export" format="xml" name="GRUPPO" columns="*" orderby="ID" primarykey="ID"/>
<table action="export" format="xml" name="ARTICOLO" columns="*" orderby="ID" primarykey="ID"/>
<execute>UPDATE ARTICOLO SET F_ATTIVO = 0
 WHERE ID = '@articolo'</execute>
<localexecute>UPDATE ARTICOLO SET F_ATTIVO = 0 WHERE ID = '@articolo'</localexecute>
<zipfile action="compress" filename="scambio.zip"/>
<httpupload server="@httpserver" url="@httpurl" username="@httpusername" password="@httppassword"
            filename="scambio.zip"/>
<delfile filename="scambio.zip"/>
)";

const char kImportSteps[] = R"(
<checkparam destdsn="yes" srcfolder="yes"/>
<cd directory="@srcfolder"/>
<httpdownload server="@httpserver" url="/files/scambio.zip" username="@httpusername"
              password="@httppassword" filename="scambio.zip"/>
<zipfile action="extract" filename="scambio.zip"/>
<table action="import" format="xml" filename="*_IVA.xml"/>
<table action="import" format="xml" filename="*_UNITA_MISURA.xml"/>
<table action="import" format="xml" filename="*_CATEGORIA.xml"/>
<table action="import" format="xml" filename="*_FAMIGLIA.xml"/>
<table action="import" format="xml" filename="*_GRUPPO.xml"/>
<table action="import" format="xml" filename="*_ARTICOLO.xml"/>
<table action="import" format="xml" filename="*_EXECUTE.xml"/>
)";

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
  ASSERT_EQ(1, exporter.Run(kExportSteps)) << testing::PrintToString(exporter.Lines());
  EXPECT_TRUE(exporter.HasLine("- Trasferimento file [" + std::filesystem::canonical(exporter.Work()).string() +
                               "/scambio.zip] completato."));
  EXPECT_FALSE(FileExists(exporter.Work("scambio.zip")));
  ASSERT_TRUE(server.HasFile("scambio.zip"));

  // The receiving side has one database: data files and statements both go to it.
  DriverRun importer;
  Configure(importer.engine);
  importer.engine.SetDestConfig(shop.Config());
  importer.engine.SetSrcConfig(shop.Config());
  ASSERT_EQ(1, importer.Run(kImportSteps)) << testing::PrintToString(importer.Lines());
  EXPECT_TRUE(importer.HasLine("- Estrazione archivio compresso completata"));
  EXPECT_TRUE(FileExists(importer.Work("007_EXECUTE.xml")));

  for (const std::string& table : kTables) {
    std::string sql = "SELECT * FROM " + table + " ORDER BY 1";
    auto expected = Rows(company.Db(), sql);
    EXPECT_FALSE(expected.empty()) << table;
    EXPECT_EQ(expected, Rows(shop.Db(), sql)) << table;
  }
  EXPECT_EQ((std::vector<std::string>{"0"}), Rows(shop.Db(), "SELECT F_ATTIVO FROM ARTICOLO WHERE ID = 'ALI002'"));
}

INSTANTIATE_TEST_SUITE_P(Db, ExchangeRoundTrip, testing::ValuesIn(AllDbKinds()), DbKindName);

}  // namespace
}  // namespace tarvo::test
