// What `init` puts into a new database besides the schema: the built-in files and the procedure
// table rows of the sample drivers.
#include <gtest/gtest.h>

#include <filesystem>

#include "host/embedded_files.h"
#include "host/init_command.h"
#include "support/test_db.h"

namespace {

TEST(EmbeddedFiles, HoldTheSchemaScriptsByteForByte) {
  for (const char* name : {"sqlite/esportazione.sql", "sqlite/company.sql", "demo/demo.sql"}) {
    std::optional<std::string_view> data = FindEmbeddedFile(std::string("schema/") + name);
    ASSERT_TRUE(data) << name;
    EXPECT_EQ(*data, tarvo::test::ReadText(tarvo::test::SchemaDir() + "/" + name)) << name;
  }
  EXPECT_FALSE(FindEmbeddedFile("schema/postgres/company.sql"));
}

TEST(EmbeddedFiles, HoldEverySampleDriverOfTheSourceTree) {
  std::filesystem::path folder = std::filesystem::path(TARVO_SOURCE_DIR) / "xmlengine" / "drivers";
  size_t on_disk = 0;
  if (std::filesystem::is_directory(folder))
    for (const auto& entry : std::filesystem::directory_iterator(folder))
      if (entry.path().extension() == ".xml") {
        ++on_disk;
        std::string name = "xmlengine/drivers/" + entry.path().filename().string();
        ASSERT_TRUE(FindEmbeddedFile(name)) << name;
        EXPECT_EQ(*FindEmbeddedFile(name), tarvo::test::ReadText(entry.path().string()));
      }
  EXPECT_EQ(EmbeddedDriverFiles().size(), on_disk);
}

struct DriverCase {
  const char* name;
  const char* text;
  const char* tipo;
  const char* descrizione;  // UTF-8
};

class DriverRows : public testing::TestWithParam<DriverCase> {};

TEST_P(DriverRows, TypeAndDescriptionComeFromTheDriverText) {
  const DriverCase& c = GetParam();
  DriverRow row = DescribeDriver(c.name, c.text);
  EXPECT_EQ(row.tipo, c.tipo);
  EXPECT_EQ(tarvo::Cp1252ToUtf8(row.descrizione), c.descrizione);
}

INSTANTIATE_TEST_SUITE_P(
    Init, DriverRows,
    testing::Values(
        DriverCase{"articoli.xml",
                   "<?xml version=\"1.0\"?>\n<driver descrizione=\"Esportazione articoli per il sito\">\n"
                   "  <table action=\"export\" format=\"xml\" name=\"ARTICOLO\"/>\n</driver>\n",
                   "xmlexport", "Esportazione articoli per il sito"},
        DriverCase{"ordini.xml",
                   "<?xml version=\"1.0\"?>\n<!--\n  Importazione ordini\n  dal sito: scarica e importa.\n"
                   "  Seconda frase.\n-->\n<driver>\n  <httpdownload/>\n"
                   "  <table action='import' format=\"xml\" name=\"DOCUMENTO\"/>\n</driver>\n",
                   "xmlimport", "Importazione ordini dal sito"},
        DriverCase{"catalogo.xml", "<!-- Catalogo completo. Altro testo --><driver/>", "xmlexport",
                   "Catalogo completo"},
        DriverCase{"query.xml", "<driver><query action=\"export\" tablename=\"X\"><sql>SELECT 1</sql></query></driver>",
                   "xmlexport", "query.xml"},
        DriverCase{"giacenze.xml", "<driver descrizione=\"Quantità disponibili\"><table action=\"import\"/></driver>",
                   "xmlimport", "Quantità disponibili"}));

}  // namespace
