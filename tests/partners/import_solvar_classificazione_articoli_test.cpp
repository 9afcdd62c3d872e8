#include "partners/solvar/import_solvar_classificazione_articoli.h"

#include <filesystem>

#include "platform/files.h"
#include "solvar_import_fixture.h"

using namespace tarvo;
using namespace tarvo::test;

namespace {

class SolvarClassificationImport : public SolvarImport {};

TEST_P(SolvarClassificationImport, InsertsEveryLineWithItsThreeCharacterCodeAsRead) {
  CTarvoImportSolvarClassificazioneArticoli p;
  ASSERT_EQ(Run(p, Data("classificazione")), 1);
  const std::pair<const char*, const char*> cells[] = {
      {"SELECT DESCRIZIONE FROM CATEGORIA WHERE ID = '007'", "Categoria 007"},
      {"SELECT DESCRIZIONE FROM CATEGORIA WHERE ID = '010'", "Alimentari freschi"},
      {"SELECT DESCRIZIONE FROM CATEGORIA WHERE ID = '02 '", "Bevande e caffè"},  // the code keeps its blank
      {"SELECT DESCRIZIONE FROM FAMIGLIA WHERE ID = '102'", "Famiglia 102"},       // a line of the code alone
      {"SELECT DESCRIZIONE FROM GRUPPO WHERE ID = ''", "Gruppo "},                 // an empty line, inserted too
      {"SELECT COUNT(*) FROM GRUPPO", "2"},
  };
  for (const auto& [sql, expected] : cells) EXPECT_EQ(Cell(sql), W(expected)) << sql;
  EXPECT_TRUE(Logged(" - Lettura file Gruppi terminata con successo."));
  EXPECT_TRUE(Logged("Operazione completata."));
}

// A code that exists already is a database error that leaves Run; the transaction stays open
// until the procedure closes its database, which rolls it back.
TEST_P(SolvarClassificationImport, ASecondRunFailsAtTheFirstExistingCodeAndKeepsNothingOfItsOwn) {
  {
    CTarvoImportSolvarClassificazioneArticoli first;
    ASSERT_EQ(Run(first, Data("classificazione")), 1);
  }
  target_->Execute("DELETE FROM GRUPPO");
  {
    CTarvoImportSolvarClassificazioneArticoli second;
    second.SetDestConfig(target_->Config());
    second.SetInDir(Data("classificazione"));
    EXPECT_THROW(second.Run(), CDBException);
  }
  EXPECT_EQ(Count("CATEGORIA"), 3);
  EXPECT_EQ(Count("GRUPPO"), 0);
}

TEST_P(SolvarClassificationImport, AMissingFileFailsTheRunAfterTheOtherSteps) {
  TempDir copy;
  for (const char* name : {"settori.txt", "gruppi.txt"})
    std::filesystem::copy(Data("classificazione") + "/" + name, copy.File(name));
  CTarvoImportSolvarClassificazioneArticoli p;
  EXPECT_EQ(Run(p, copy.Path()), 0);
  EXPECT_TRUE(Logged(" - Lettura file Famiglie fallita."));
  EXPECT_TRUE(Logged("Errore durante la lettura del file Famiglie."));
  EXPECT_TRUE(Logged(" - Lettura file Gruppi terminata con successo."));
  EXPECT_EQ(Count("CATEGORIA") + Count("GRUPPO"), 0);
}

INSTANTIATE_TEST_SUITE_P(Drivers, SolvarClassificationImport, testing::ValuesIn(AllDbKinds()), DbKindName);

}  // namespace
