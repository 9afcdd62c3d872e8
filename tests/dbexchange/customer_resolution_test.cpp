#include "dbexchange/customer_resolution.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <set>

#include "support/recording_window.h"
#include "support/test_db.h"

using namespace tarvo;
using namespace tarvo::exchange;
using namespace tarvo::test;

namespace {

// A procedure that only lends its log to the resolver.
class LogOnly : public CTarvoImport {
 public:
  int Run() override { return 0; }
};

std::vector<std::string> Rows(CDatabase& db, const std::string& sql) {
  std::vector<std::string> rows;
  CODBCRecordset rs(&db);
  for (rs.Open(sql); !rs.IsEOF(); rs.MoveNext()) {
    std::string row;
    for (int i = 0; i < rs.GetFieldCount(); ++i) {
      CDBField& f = rs.Field(i);
      row += f.IsNull() ? std::string("<null>")
             : IsSqlRealType(f.GetSQLType()) ? StrFormat("%g", f.AsDouble())
                                             : std::string(f.AsString());
      row += "|";
    }
    rows.push_back(row);
  }
  return rows;
}

class CustomerResolution : public DbTest {
 protected:
  void SetUp() override {
    DbTest::SetUp();
    if (IsSkipped() || HasFailure()) return;
    source_ = &NewDatabase();
    destination_ = &NewDatabase();
    source_->LoadSchema("company.sql");
    destination_->LoadSchema("company.sql");
    source_->LoadSchema("demo/demo.sql");
    procedure_.SetParentWnd(&window_);
  }
  CCustomerResolver Resolver() { return CCustomerResolver(procedure_, &source_->Db(), &destination_->Db()); }

  ScratchDatabase* source_ = nullptr;
  ScratchDatabase* destination_ = nullptr;
  RecordingWindow window_;
  LogOnly procedure_;
};

// Company columns that travel, and the branches with their zones, as the destination holds them.
const char kCompanySql[] =
    "SELECT RAGIONESOCIALE, RAGIONESOCIALE2, PARTITAIVA, CODICEFISCALE, EMAIL, NOTE, CODICE_CLIENTE, PEC, "
    "CODICE_DESTINATARIO, RIFERIMENTO, FIDO, SCONTO_1, LISTINO, F_CLIENTE, ID_BANCA, ID_FORMULA_PAGAMENTO "
    "FROM AZIENDA WHERE %s";
const char kBranchSql[] =
    "SELECT S.DESCRIZIONE, S.INDIRIZZO, S.F_SEDE_PRINCIPALE, Z.CAP, Z.NOMEZONAPOSTALE, Z.SIGLAPROVINCIA, "
    "Z.CODICEISTAT, Z.CODICECATASTALE FROM SEDE S JOIN ZONA_POSTALE Z ON Z.ID = S.IDZONAPOSTALE "
    "WHERE S.IDAZIENDA = %ld ORDER BY S.DESCRIZIONE";

}  // namespace

TEST_P(CustomerResolution, AMissingCustomerIsCopiedWithItsBranchesAndZonesAndThenFound) {
  // Customer 3 has two branches (Brescia, Monza); Monza's zone already exists on the destination.
  destination_->Execute("INSERT INTO ZONA_POSTALE (ID, CAP, NOMEZONAPOSTALE) VALUES (77, '20900', 'Monza')");
  CCustomerResolver resolver = Resolver();
  destination_->Db().BeginTrans();
  const long id = resolver.Resolve("06789010177", 3);
  destination_->Db().CommitTrans();
  EXPECT_GT(id, 100000) << "a key of the destination's generator";
  window_.Drain();
  EXPECT_EQ(window_.Texts(), (std::vector<std::string>{" - Cliente non trovato. Inserimento nuovo cliente...",
                                                       " - Inserimento nuovo cliente effettuato con successo."}));

  std::vector<std::string> copied = Rows(destination_->Db(), StrFormat(kCompanySql, StrFormat("ID = %ld", id).c_str()));
  std::vector<std::string> original = Rows(source_->Db(), StrFormat(kCompanySql, "ID = 3"));
  ASSERT_EQ(copied.size(), 1u);
  // Copied: everything but EMAIL, NOTE (skipped) and ID_BANCA (untouched, null); F_CLIENTE keeps its default.
  EXPECT_EQ(copied[0], "Supermercato La Spiga S.r.l.|<null>|06789010177|06789010177|<null>|<null>|000103|<null>|"
                       "0000000|Sig.ra Cristina Galli|30000|2|L1|1|<null>|3|");
  EXPECT_NE(original[0], copied[0]);
  EXPECT_EQ(Rows(destination_->Db(), StrFormat(kBranchSql, id)),
            (std::vector<std::string>{"Punto vendita di Monza|Via Italia 31|0|20900|Monza|<null>|<null>|<null>|",
                                      "Sede principale|Via Triumplina 110|1|25121|Brescia|BS|017029|B157|"}));
  EXPECT_EQ(Rows(destination_->Db(), "SELECT COUNT(*) FROM ZONA_POSTALE"), std::vector<std::string>{"2|"});

  // Known now: by VAT number, and by tax code alone (customer 2's tax code differs from its VAT number).
  EXPECT_EQ(resolver.Resolve("06789010177", 999), id);
  destination_->Execute("INSERT INTO AZIENDA (ID, RAGIONESOCIALE, CODICEFISCALE) VALUES (55, 'Bar', 'BNCLCU80A01A794F')");
  EXPECT_EQ(resolver.Resolve("BNCLCU80A01A794F", 2), 55);
  window_.Drain();
  EXPECT_EQ(window_.Lines().size(), 2u) << "found customers log nothing";
}

TEST_P(CustomerResolution, AnUnknownSourceCustomerKeepsTheCurrentOne) {
  CCustomerResolver resolver = Resolver();
  EXPECT_EQ(resolver.Resolve("NESSUNO", 4242), -1);
  destination_->Execute("INSERT INTO AZIENDA (ID, RAGIONESOCIALE, PARTITAIVA) VALUES (9, 'Nota', 'P9')");
  EXPECT_EQ(resolver.Resolve("P9", 1), 9);
  EXPECT_EQ(resolver.Resolve("NESSUNO", 4242), 9) << "the previous document's customer";
  resolver.Reset();
  EXPECT_EQ(resolver.Resolve("NESSUNO", 4242), -1);
  window_.Drain();
  EXPECT_TRUE(window_.Lines().empty());
  EXPECT_EQ(Rows(destination_->Db(), "SELECT COUNT(*) FROM AZIENDA"), std::vector<std::string>{"1|"});
}

// Quotes are doubled in every search and stored as read; two branches in one new zone create it once.
TEST_P(CustomerResolution, QuotesAreDoubledInSearchesAndKeptInValues) {
  source_->Execute("INSERT INTO ZONA_POSTALE (ID, CAP, NOMEZONAPOSTALE, SIGLAPROVINCIA) VALUES (50, '11100', 'Valle d''Aosta', 'AO')");
  source_->Execute("INSERT INTO AZIENDA (ID, RAGIONESOCIALE, PARTITAIVA) VALUES (50, 'L''Osteria', 'IT''50')");
  source_->Execute("INSERT INTO SEDE (ID, IDAZIENDA, DESCRIZIONE, IDZONAPOSTALE) VALUES (50, 50, 'Uno', 50)");
  source_->Execute("INSERT INTO SEDE (ID, IDAZIENDA, DESCRIZIONE, IDZONAPOSTALE) VALUES (51, 50, 'Due', 50)");
  CCustomerResolver resolver = Resolver();
  const long id = resolver.Resolve("IT'50", 50);
  EXPECT_EQ(resolver.Resolve("IT'50", 50), id);
  EXPECT_EQ(Rows(destination_->Db(), "SELECT RAGIONESOCIALE, PARTITAIVA FROM AZIENDA"),
            std::vector<std::string>{"L'Osteria|IT'50|"});
  EXPECT_EQ(Rows(destination_->Db(), "SELECT CAP, NOMEZONAPOSTALE, SIGLAPROVINCIA FROM ZONA_POSTALE"),
            std::vector<std::string>{"11100|Valle d'Aosta|AO|"});
  EXPECT_EQ(Rows(destination_->Db(), "SELECT COUNT(DISTINCT IDZONAPOSTALE), COUNT(*) FROM SEDE"),
            std::vector<std::string>{"1|2|"});
}

// The customer procedures copy from a view of fewer columns, with the customer flag.
TEST_P(CustomerResolution, CompanyColumnsAreCopiedByNameFromAnyRecord) {
  source_->Execute("UPDATE AZIENDA SET F_CLIENTE = 0 WHERE ID = 8");
  CAziendaSet from(&source_->Db());
  from.m_strFilter = "ID = 8";
  from.Open();
  CAziendaSet to(&destination_->Db());
  to.m_strFilter = "ID = -1";
  to.Open();
  to.AddNew();
  to.m_ID = 1;
  CopyCompanyColumns(from, to, true);
  to.Update();
  EXPECT_EQ(Rows(destination_->Db(), StrFormat(kCompanySql, "ID = 1")),
            std::vector<std::string>{"Associazione Sportiva Dilettantistica Pegaso|<null>|<null>|91234560372|<null>|"
                                     "<null>|000108|<null>|M5UXCR1|<null>|<null>|0|L1|0|<null>|1|"});
  EXPECT_TRUE(FindCompany(to, "", "91234560372"));
  EXPECT_FALSE(FindCompany(to, "91234560372", ""));
}

// Two processes creating customers on one destination at the same time.
TEST_P(CustomerResolution, TwoProcessesCreatingCustomersNeverShareAKey) {
  constexpr int kPerChild = 20;
  for (int i = 0; i < 2 * kPerChild; ++i)
    source_->Execute(StrFormat("INSERT INTO AZIENDA (ID, RAGIONESOCIALE, PARTITAIVA) VALUES (%d, 'C%d', 'PI%d')",
                               1000 + i, i, i));
  std::vector<pid_t> children;
  for (int child = 0; child < 2; ++child) {
    pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
      int status = 0;
      try {
        CDatabase out, in;
        out.OpenEx(source_->Config());
        in.OpenEx(destination_->Config());
        LogOnly quiet;
        CCustomerResolver resolver(quiet, &out, &in);
        for (int i = child * kPerChild; i < (child + 1) * kPerChild; ++i) {
          BeginWriteTransaction(in);
          resolver.Resolve(StrFormat("PI%d", i), 1000 + i);
          in.CommitTrans();
        }
      } catch (const std::exception& e) {
        fprintf(stderr, "%s\n", e.what());
        status = 1;
      }
      _exit(status);
    }
    children.push_back(pid);
  }
  for (pid_t pid : children) {
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  EXPECT_EQ(Rows(destination_->Db(), "SELECT COUNT(*), COUNT(DISTINCT ID), COUNT(DISTINCT PARTITAIVA) FROM AZIENDA"),
            std::vector<std::string>{StrFormat("%d|%d|%d|", 2 * kPerChild, 2 * kPerChild, 2 * kPerChild)});
}

INSTANTIATE_TEST_SUITE_P(Drivers, CustomerResolution, testing::ValuesIn(AllDbKinds()), DbKindName);
