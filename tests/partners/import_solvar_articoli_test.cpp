#include "partners/solvar/import_solvar_articoli.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <set>

#include "partners/solvar/export_solvar_articoli.h"
#include "partners/solvar/solvar_files.h"
#include "platform/files.h"
#include "solvar_import_fixture.h"

using namespace tarvo;
using namespace tarvo::test;

namespace {

class SolvarArticleImport : public SolvarImport {
 protected:
  // The edge files under tests/data/solvar/articoli meet an article that exists already, a VAT
  // rate it uses and a category whose description the import overwrites.
  void LoadExisting() {
    target_->Execute("INSERT INTO IVA (CODICE, DESCRIZIONE, ALIQUOTA) VALUES ('10', 'Ridotta', 10)");
    target_->Execute("INSERT INTO CATEGORIA (ID, DESCRIZIONE) VALUES ('09', 'Vecchia descrizione')");
    target_->Execute("INSERT INTO ARTICOLO (ID, DESCRIZIONE, PREZZO, CODICE_IVA, ID_CLASSE, SCONTO_3, PROVVIGIONE) "
                     "VALUES ('CORTO', 'Prima', 1, '10', 'Z', 7, 9)");
  }
  CString Article(const char* id, const char* column) {
    return Cell(std::string("SELECT ") + column + " FROM ARTICOLO WHERE ID = '" + id + "'");
  }
};

// --- the round trip: what the export writes, the import reads back -----------------------------

// Every column the files carry, for one table: the text fields as the file holds them (cut to
// their width, trailing blanks dropped), the others as the file writes them.
void ExpectSameColumns(CDatabase& source, CDatabase& target, const char* table, const char* key,
                       const partner::CRecordLayout& layout, std::set<std::string>* keys = nullptr) {
  const std::vector<const char*> columns = partner::ValueNames(layout);
  std::string list;
  for (const char* c : columns) list += std::string(list.empty() ? "" : ", ") + c;
  auto rows = [&](CDatabase& db) {
    std::map<std::string, std::vector<CString>> byKey;
    CODBCRecordset rs(&db);
    for (rs.Open("SELECT " + list + ", " + key + " FROM " + table); !rs.IsEOF(); rs.MoveNext()) {
      std::vector<CString>& values = byKey[rs.Field(static_cast<int>(columns.size())).AsString()];
      for (size_t i = 0; i < columns.size(); ++i) {
        const partner::CFieldSpec& f = partner::FieldOf(layout, columns[i]);
        CString v = rs.Field(static_cast<int>(i)).AsString();
        values.push_back(f.format == partner::EFieldFormat::kText ? TrimRight(v.substr(0, f.width), " ")
                                                                   : partner::FormatField(f, v));
      }
    }
    return byKey;
  };
  auto expected = rows(source), imported = rows(target);
  ASSERT_FALSE(imported.empty()) << table;
  for (const auto& [id, values] : imported) {
    ASSERT_TRUE(expected.count(id)) << table << " " << id;
    EXPECT_EQ(values, expected[id]) << table << " " << id;
    if (keys) keys->insert(id);
  }
}

TEST_P(SolvarArticleImport, RoundTripOfTheDemoMasterComparesEqualInEveryColumnTheFilesCarry) {
  ScratchDatabase& source = NewDatabase();
  source.LoadSchema("company.sql");
  source.LoadSchema("demo/demo.sql");
  TempDir files;
  {
    CTarvoExportSolvarArticoli out;
    out.SetSrcConfig(source.Config());
    out.SetOutDir(files.Path());
    ASSERT_EQ(out.Run(), 1);
  }
  CTarvoImportSolvarArticoli p;
  ASSERT_EQ(Run(p, files.Path()), 1);

  CDatabase& src = source.Db();
  CDatabase& dst = target_->Db();
  ExpectSameColumns(src, dst, "ARTICOLO", "ID", solvar::ArticoliLayout());
  EXPECT_EQ(Count("ARTICOLO"), 30);
  ExpectSameColumns(src, dst, "IVA", "CODICE", solvar::IvaLayout());
  ExpectSameColumns(src, dst, "CATEGORIA", "ID", solvar::CodeDescriptionLayout());
  ExpectSameColumns(src, dst, "GRUPPO", "ID", solvar::CodeDescriptionLayout());
  std::set<std::string> families;
  ExpectSameColumns(src, dst, "FAMIGLIA", "ID", solvar::CodeDescriptionLayout(), &families);
  // The tree: every family the articles brought sits under its category again.
  ExpectSameColumns(src, dst, "FAMIGLIA", "ID", solvar::AlberoLayout());
  // Exactly the rows the articles refer to were created.
  EXPECT_EQ(Count("IVA") + Count("CATEGORIA") + Count("FAMIGLIA") + Count("GRUPPO") + Count("UNITA_MISURA"),
            std::stol(Cell("SELECT COUNT(DISTINCT CODICE_IVA) + COUNT(DISTINCT ID_CATEGORIA) + COUNT(DISTINCT "
                           "ID_FAMIGLIA) + COUNT(DISTINCT ID_GRUPPO) + COUNT(DISTINCT ID_UNITA_MISURA) FROM ARTICOLO")));
  EXPECT_EQ(Cell("SELECT DESCRIZIONE FROM UNITA_MISURA WHERE ID = 'PZ'"), W("Unità PZ"));
  EXPECT_TRUE(Logged("Operazione completata con successo."));
}

// --- the rules of one line, and the three variants on the same files -----------------------------
struct Expected {
  const char* from;  // table and condition
  const char* column;
  const char* value;  // UTF-8; "<null>", "<no row>"
};

struct Variant {
  const char* name;
  std::function<CTarvoImport*()> make;
  const char* line;  // a line the run logs (UTF-8)
  std::vector<Expected> cells;
};

const char* const kNuovo = "ARTICOLO WHERE ID = 'NUOVO1'";
const char* const kSenzaFam = "ARTICOLO WHERE ID = 'SENZAFAM'";
const char* const kCorto = "ARTICOLO WHERE ID = 'CORTO'";

const Variant kVariants[] = {
    {"CTarvoImportSolvarArticoli",
     [] { return new CTarvoImportSolvarArticoli; },
     "Aggiornamento articolo CORTO",
     {{kNuovo, "DESCRIZIONE", "Caffè in grani 1 kg"}, {kNuovo, "DESCRIZIONE_BREVE", "Caffè in grani 1 kg"},
      {kNuovo, "PREZZO", "12.5"}, {kNuovo, "CONFEZIONE", "1"}, {kNuovo, "ID_UNITA_MISURA", "PZ"},
      {kNuovo, "CODICE_IVA", "22"}, {kNuovo, "ID_CATEGORIA", "01"}, {kNuovo, "ID_FAMIGLIA", "11"},
      {kNuovo, "ID_GRUPPO", "NA"}, {kNuovo, "ID_CLASSE", "X "}, {kNuovo, "F_ATTIVO", "0"}, {kNuovo, "PREZZO_2", "11.25"},
      {kNuovo, "COSTO", "6.1"}, {kNuovo, "SCONTO_1", "5"}, {kNuovo, "SCONTO_2", "-2.5"}, {kNuovo, "SCONTO_3", "1"},
      {kNuovo, "PROVVIGIONE", "22"}, {kNuovo, "SCORTA_MINIMA", "0"},
      // a category missing from settori.txt is made (overwriting a description); a family is not
      {kSenzaFam, "ID_CATEGORIA", "09"}, {"CATEGORIA WHERE ID = '09'", "DESCRIZIONE", "CATEGORIA 09"},
      {kSenzaFam, "ID_FAMIGLIA", "<null>"}, {"FAMIGLIA WHERE ID = '77'", "ID", "<no row>"},
      {kSenzaFam, "ID_GRUPPO", "<null>"}, {kSenzaFam, "ID_UNITA_MISURA", "<null>"}, {kSenzaFam, "CODICE_IVA", "<null>"},
      {kSenzaFam, "ID_CLASSE", "<null>"}, {kSenzaFam, "F_ATTIVO", "1"}, {kSenzaFam, "CONFEZIONE", "6"},
      {kSenzaFam, "PROVVIGIONE", "0"},
      // a 160-character line keeps percentages G and H; an empty VAT code keeps the article's
      {kCorto, "SCONTO_3", "7"}, {kCorto, "PROVVIGIONE", "9"}, {kCorto, "CODICE_IVA", "10"}, {kCorto, "PREZZO", "3"},
      {kCorto, "ID_CLASSE", "<null>"}, {kCorto, "ID_CATEGORIA", "02"},
      // the first line of a code wins; an empty description gets the code's; the tree
      {"CATEGORIA WHERE ID = '01'", "DESCRIZIONE", "Alimentari"}, {"CATEGORIA WHERE ID = '02'", "DESCRIZIONE", "Categoria 02"},
      {"FAMIGLIA WHERE ID = '11'", "ID_CATEGORIA", "01"}, {"IVA WHERE CODICE = '22'", "DESCRIZIONE", "Aliquota ordinaria 22%"},
      {"IVA WHERE CODICE = '22'", "ALIQUOTA", "22"}, {"IVA WHERE CODICE = '04'", "CODICE", "<no row>"},
      {"UNITA_MISURA WHERE ID = 'KG'", "DESCRIZIONE", "Unità KG"}}},
    {"CTarvoImportSolvarArticoliNuovi",
     [] { return new CTarvoImportSolvarArticoliNuovi; },
     "Articolo CORTO già presente. Aggiornamento non eseguito.",
     {{kNuovo, "ID_CATEGORIA", "<null>"}, {kNuovo, "ID_FAMIGLIA", "<null>"}, {kNuovo, "ID_GRUPPO", "<null>"},
      {kNuovo, "CODICE_IVA", "22"}, {kNuovo, "ID_UNITA_MISURA", "PZ"}, {kCorto, "DESCRIZIONE", "Prima"},
      {kCorto, "ID_CLASSE", "Z"}, {"CATEGORIA WHERE ID = '09'", "DESCRIZIONE", "Vecchia descrizione"},
      {"CATEGORIA WHERE ID = '01'", "ID", "<no row>"}, {"FAMIGLIA WHERE ID = '11'", "ID", "<no row>"}}},
    {"CTarvoImportSolvarArticoliSenzaClassificazione",
     [] { return new CTarvoImportSolvarArticoliSenzaClassificazione; },
     "Aggiornamento articolo CORTO",
     {{kNuovo, "ID_CATEGORIA", "<null>"}, {kNuovo, "ID_FAMIGLIA", "<null>"}, {kNuovo, "ID_GRUPPO", "<null>"},
      {kNuovo, "CODICE_IVA", "22"}, {kCorto, "DESCRIZIONE", "Riga corta di 160 caratteri"},
      {kCorto, "ID_CATEGORIA", "<null>"}, {"CATEGORIA WHERE ID = '09'", "DESCRIZIONE", "Vecchia descrizione"},
      {"GRUPPO WHERE ID = 'NA'", "ID", "<no row>"}}},
};

TEST_P(SolvarArticleImport, EachVariantAppliesItsRulesToTheSameFiles) {
  for (const Variant& v : kVariants) {
    SCOPED_TRACE(v.name);
    NewTarget();
    LoadExisting();
    std::unique_ptr<CTarvoImport> p(v.make());
    ASSERT_EQ(Run(*p, Data("articoli")), 1);
    EXPECT_TRUE(Logged(v.line)) << v.line;
    for (const Expected& e : v.cells)
      EXPECT_EQ(Cell(std::string("SELECT ") + e.column + " FROM " + e.from), W(e.value)) << e.from << " " << e.column;
  }
}

// --- failures leave the database as it was -------------------------------------------------------
struct Failure {
  const char* name;
  std::function<void(const std::string& folder)> damage;  // applied to a copy of the edge files
  std::vector<const char*> lines;                          // logged in this order (UTF-8)
};

const Failure kFailures[] = {
    {"missing settori.txt",
     [](const std::string& d) { std::filesystem::remove(d + "/settori.txt"); },
     {" - Lettura file Categorie fallita.", "Errore durante la lettura del file Categorie.",
      " - Lettura file Aliquote IVA terminata con successo.", "Operazione fallita."}},
    {"a price that is no number on the last line, after two articles were written",
     [](const std::string& d) {
       std::string bytes = ReadFileBytes(d + "/articoli.txt");
       bytes.replace(bytes.rfind("+00000000003,00000"), 18, "+0000000000abc,000");
       WriteFileBytes(d + "/articoli.txt", bytes);
     },
     {"Inserimento articolo SENZAFAM", "Aggiornamento articolo CORTO", "Importazione dati fallita.", "Operazione fallita."}},
    {"missing articoli.txt",
     [](const std::string& d) { std::filesystem::remove(d + "/articoli.txt"); },
     {" - Lettura file Articoli in corso ...", " - Lettura file Articoli fallita.", "Importazione dati fallita.",
      "Operazione fallita."}},
};

TEST_P(SolvarArticleImport, AFailureRollsEverythingBack) {
  for (const Failure& f : kFailures) {
    SCOPED_TRACE(f.name);
    NewTarget();
    LoadExisting();
    TempDir copy;
    for (const auto& entry : std::filesystem::directory_iterator(Data("articoli")))
      std::filesystem::copy(entry.path(), copy.Path());
    f.damage(copy.Path());
    CTarvoImportSolvarArticoli p;
    EXPECT_EQ(Run(p, copy.Path()), 0);
    std::vector<std::string> texts = Window().Texts();
    auto at = texts.begin();
    for (const char* line : f.lines) {
      at = std::find(at, texts.end(), W(line));
      EXPECT_NE(at, texts.end()) << line;
    }
    EXPECT_EQ(Count("ARTICOLO"), 1);
    EXPECT_EQ(Article("CORTO", "DESCRIZIONE"), "Prima");
    EXPECT_EQ(Count("UNITA_MISURA") + Count("FAMIGLIA") + Count("GRUPPO"), 0);
    EXPECT_EQ(Cell("SELECT DESCRIZIONE FROM CATEGORIA WHERE ID = '09'"), "Vecchia descrizione");
  }
}

TEST_P(SolvarArticleImport, ADatabaseErrorNamesTheColumnAndTheText) {
  TempDir copy;
  for (const auto& entry : std::filesystem::directory_iterator(Data("articoli")))
    std::filesystem::copy(entry.path(), copy.Path());
  WriteFileBytes(copy.File("articoli.txt"), std::string(13, 'X') + std::string(60, ' ') + "abc\r\n");
  CTarvoImportSolvarArticoli p;
  EXPECT_EQ(Run(p, copy.Path()), 0);
  std::vector<std::string> texts = Window().Texts();
  auto error = std::find_if(texts.begin(), texts.end(), [](const std::string& t) { return t.rfind(" - Errore database  ", 0) == 0; });
  ASSERT_NE(error, texts.end());
  EXPECT_NE(error->find("PREZZO"), std::string::npos) << *error;
  EXPECT_NE(error->find("abc"), std::string::npos) << *error;
}

INSTANTIATE_TEST_SUITE_P(Drivers, SolvarArticleImport, testing::ValuesIn(AllDbKinds()), DbKindName);

}  // namespace
