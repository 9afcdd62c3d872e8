// The document exchanges end to end: an agent's database, the web database and the company's
// database, each a real database of one driver, and the six procedures that move orders, their
// states and invoices between them.
#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include "dbexchange/exchange_fatture.h"
#include "dbexchange/exchange_ordini.h"
#include "dbexchange/exchange_stato_ordini.h"
#include "framework/exchange_factory.h"
#include "platform/settings.h"
#include "support/recording_window.h"
#include "support/test_db.h"

using namespace tarvo;
using namespace tarvo::test;

namespace {

const long kAgent = 3;  // the demo agent, the current user of every run here

// What must look alike on every database: the header without its key, customer, state and flag;
// the lines without their keys; the customer's columns that travel, and its branches.
const char kHeader[] =
    "ID_CAUSALE, SERIE, NUMERO, ANNO, NUMERO_DOCUMENTO, DATA_DOCUMENTO, DATA_REGISTRAZIONE, DATA_CONSEGNA, "
    "ID_SOCIETA, ID_SEDE_SOCIETA, ID_DEPOSITO, ID_AGENTE_SEDE_SOCIETA, CLI_FAT_SEDE_ID, CLI_FAT_RAGIONESOCIALE, "
    "CLI_FAT_INDIRIZZO, CLI_FAT_LOCALITA, CLI_FAT_PARTITAIVA, DESTINAZIONE, DESTINAZIONE_LOCALITA, NOTE, SCONTO, "
    "SPESE_TRASPORTO, ID_BANCA, ID_FORMULA_PAGAMENTO, ID_TRASPORTO, ID_PORTO_MERCI, F_STAMPATO, TOTALE_IMPONIBILE, "
    "TOTALE_IVA, TOTALE_DOCUMENTO";
const char kLine[] =
    "TIPO, ID_ARTICOLO, DESCRIZIONE, ID_UNITA_MISURA, QUANTITA, COLLI, PREZZO, PREZZO_NETTO, QUANTITA_EVASA, "
    "IMPORTO, IMPORTO_IVA, SCONTO_1, SCONTO_2, SCONTO_3, SCONTO_4, SCONTO_5, SCONTO_TESTATA, CODICE_IVA, "
    "ALIQUOTA_IVA, MARCATORE, F_MODIFICATO";
const char kCustomer[] =
    "A.RAGIONESOCIALE, A.RAGIONESOCIALE2, A.PARTITAIVA, A.CODICEFISCALE, A.CODICE_CLIENTE, A.CODICE_DESTINATARIO, "
    "A.RIFERIMENTO, A.FIDO, A.SCONTO_1, A.SCONTO_2, A.LISTINO, A.ID_FORMULA_PAGAMENTO";

std::vector<std::string> Rows(CDatabase& db, const std::string& sql) {
  std::vector<std::string> rows;
  CODBCRecordset rs(&db);
  for (rs.Open(sql); !rs.IsEOF(); rs.MoveNext()) {
    std::string row;
    for (int i = 0; i < rs.GetFieldCount(); ++i) {
      CDBField& f = rs.Field(i);
      row += f.IsNull() ? std::string("<null>")
             : IsSqlRealType(f.GetSQLType()) || IsSqlIntegerType(f.GetSQLType()) ? StrFormat("%.6g", f.AsDouble())
                                                                                  : std::string(f.AsString());
      row += "|";
    }
    rows.push_back(row);
  }
  return rows;
}
std::string Value(CDatabase& db, const std::string& sql) {
  std::vector<std::string> rows = Rows(db, sql);
  return rows.empty() ? std::string("<none>") : rows[0];
}

// One document as every database must show it, found by causal, series, number and year.
struct Document {
  int causal;
  const char* serie;
  int numero;
  std::string Where() const {
    return StrFormat("D.ID_CAUSALE = %d AND D.SERIE = '%s' AND D.NUMERO = %d AND D.ANNO = 2026", causal, serie, numero);
  }
  std::vector<std::string> Contents(CDatabase& db) const {
    std::vector<std::string> all = Rows(db, StrFormat("SELECT %s FROM DOCUMENTO D WHERE %s", kHeader, Where().c_str()));
    for (const std::string& l : Rows(db, StrFormat("SELECT %s FROM VOCI_DOCUMENTO WHERE ID_DOCUMENTO IN "
                                                  "(SELECT D.ID FROM DOCUMENTO D WHERE %s) ORDER BY ID",
                                                  kLine, Where().c_str())))
      all.push_back(l);
    return all;
  }
  // The document's customer on that database, with its branches and their zones.
  std::vector<std::string> Customer(CDatabase& db) const {
    std::string of = StrFormat("(SELECT D.CLI_FAT_ID FROM DOCUMENTO D WHERE %s)", Where().c_str());
    std::vector<std::string> all = Rows(db, StrFormat("SELECT %s FROM AZIENDA A WHERE A.ID = %s", kCustomer, of.c_str()));
    for (const std::string& b :
         Rows(db, StrFormat("SELECT S.DESCRIZIONE, S.INDIRIZZO, S.F_SEDE_PRINCIPALE, S.CAP, S.NOMEZONAPOSTALE, "
                            "S.SIGLAPROVINCIA, S.CODICEISTAT, S.CODICECATASTALE FROM SEDE_COMPLETA S "
                            "WHERE S.IDAZIENDA = %s ORDER BY S.DESCRIZIONE",
                            of.c_str())))
      all.push_back(b);
    return all;
  }
  // "state|modified|"
  std::string State(CDatabase& db) const {
    return Value(db, StrFormat("SELECT D.ID_STATO_ORDINE, D.F_MODIFICATO FROM DOCUMENTO D WHERE %s", Where().c_str()));
  }
};

class DocumentExchange : public DbTest {
 protected:
  void SetUp() override {
    DbTest::SetUp();
    if (IsSkipped() || HasFailure()) return;
    CUserAdministrator::SetCurrentUser(kAgent, 1, 1);
    agent_ = &NewDatabase();
    web_ = &NewDatabase();
    company_ = &NewDatabase();
    for (ScratchDatabase* db : {agent_, web_, company_}) db->LoadSchema("company.sql");
  }
  void TearDown() override { CConfigAdministrator::Clear(); }

  // The demo company on the agent's laptop and at the company. The company has none of the
  // orders yet, nor the bakery the agent signed up (customer 9); the web database is empty.
  void LoadDemo() {
    agent_->LoadSchema("demo/demo.sql");
    company_->LoadSchema("demo/demo.sql");
    company_->Execute("DELETE FROM VOCI_DOCUMENTO WHERE ID_DOCUMENTO IN (SELECT ID FROM DOCUMENTO WHERE ID_CAUSALE = 15)");
    company_->Execute("DELETE FROM DOCUMENTO WHERE ID_CAUSALE = 15");
    company_->Execute("DELETE FROM SEDE WHERE IDAZIENDA = 9");
    company_->Execute("DELETE FROM AZIENDA WHERE ID = 9");
  }

  // Runs `p` from `out` into `in` to its end; the log lands in `window`.
  int Run(std::unique_ptr<CTarvoImport> p, ScratchDatabase& out, ScratchDatabase& in, RecordingWindow& window) {
    p->SetSrcConfig(out.Config());
    p->SetDestConfig(in.Config());
    p->SetParentWnd(&window);
    p->SetEventStop(stop_);
    p->SetVerbose(false);
    int result = p->Run();
    EXPECT_TRUE(window.WaitFinished());
    return result;
  }
  int Run(std::unique_ptr<CTarvoImport> p, ScratchDatabase& out, ScratchDatabase& in) {
    RecordingWindow window;
    return Run(std::move(p), out, in, window);
  }

  // A refusal of the destination: inserting a line of article `article` into `db` fails.
  static void RefuseLine(ScratchDatabase& db, const char* article) {
    if (db.Kind() == DbKind::kSQLite) {
      db.Execute(StrFormat("CREATE TRIGGER RIFIUTA BEFORE INSERT ON VOCI_DOCUMENTO WHEN NEW.ID_ARTICOLO = '%s' "
                           "BEGIN SELECT RAISE(ABORT, 'riga rifiutata'); END",
                           article));
    } else {
      db.Db().ExecuteScript(StrFormat(
          "CREATE FUNCTION RIFIUTA() RETURNS trigger AS $$ BEGIN IF NEW.ID_ARTICOLO = '%s' THEN "
          "RAISE EXCEPTION 'riga rifiutata'; END IF; RETURN NEW; END $$ LANGUAGE plpgsql;"
          "CREATE TRIGGER RIFIUTA BEFORE INSERT ON VOCI_DOCUMENTO FOR EACH ROW EXECUTE FUNCTION RIFIUTA();",
          article));
    }
  }
  static void AcceptLines(ScratchDatabase& db) {
    db.Execute(db.Kind() == DbKind::kSQLite ? "DROP TRIGGER RIFIUTA" : "DROP TRIGGER RIFIUTA ON VOCI_DOCUMENTO");
  }

  ScratchDatabase* agent_ = nullptr;
  ScratchDatabase* web_ = nullptr;
  ScratchDatabase* company_ = nullptr;
  CEvent stop_;
};

template <class T>
std::unique_ptr<CTarvoImport> Make() {
  return std::make_unique<T>();
}

bool HasLineStartingWith(const RecordingWindow& w, const std::string& prefix) {
  for (const std::string& t : w.Texts())
    if (t.rfind(prefix, 0) == 0) return true;
  return false;
}

}  // namespace

// --- the whole cycle ---------------------------------------------------------------------------
// Order AG/1 of a customer only the agent knows goes agent -> web (1004) -> company (4); the
// company ships it and the change travels back company -> web (1006) -> agent (9). Invoice A/5
// goes company -> web (1009) -> agent (10). At every hop the document, its lines and its
// customer are compared with the database it came from.
TEST_P(DocumentExchange, AnOrderAndAnInvoiceTravelTheWholeCycle) {
  LoadDemo();
  const Document order{15, "AG", 1};
  const Document invoice{101, "A", 5};
  CDatabase &agent = agent_->Db(), &web = web_->Db(), &company = company_->Db();
  const std::vector<std::string> customer = order.Customer(agent);
  ASSERT_EQ(customer.size(), 3u) << "the bakery with its two branches";

  RecordingWindow exportLog;
  ASSERT_EQ(Run(Make<CTarvoExportWebOrdini>(), *agent_, *web_, exportLog), 1);
  EXPECT_EQ(order.Contents(web), order.Contents(agent));
  EXPECT_EQ(order.Customer(web), customer);
  EXPECT_EQ(order.State(agent), "2|0|");
  EXPECT_EQ(order.State(web), "2|0|");
  EXPECT_EQ(Value(web, "SELECT COUNT(*) FROM DOCUMENTO"), "4|") << "the agent's four orders in state 1";
  EXPECT_TRUE(exportLog.HasLine(" - Esportato ordine AG/1 (codice 30)"));
  EXPECT_TRUE(exportLog.HasLine(" - Cliente non trovato. Inserimento nuovo cliente..."));
  EXPECT_TRUE(exportLog.HasLine("Esportazione ordini termita con successo."));

  ASSERT_EQ(Run(Make<CTarvoImportWebOrdini>(), *web_, *company_), 1);
  EXPECT_EQ(order.Contents(company), order.Contents(agent));
  EXPECT_EQ(order.Customer(company), customer);
  EXPECT_EQ(order.State(web), "5|1|");
  EXPECT_EQ(order.State(company), "5|1|");
  EXPECT_EQ(Value(company, "SELECT COUNT(*) FROM AZIENDA WHERE PARTITAIVA = '02345670134'"), "1|");
  EXPECT_EQ(Value(company, "SELECT COUNT(*) FROM AZIENDA"), "9|") << "the known customers were found, not copied";

  // The company ships the order without its note line.
  company.ExecuteSQL("UPDATE DOCUMENTO SET ID_STATO_ORDINE = 6, F_MODIFICATO = 1, NOTE = 'Spedito' WHERE SERIE = 'AG' AND NUMERO = 1");
  company.ExecuteSQL("DELETE FROM VOCI_DOCUMENTO WHERE TIPO = 'B' AND DESCRIZIONE LIKE 'Consegna entro%'");
  ASSERT_EQ(Run(Make<CTarvoExportWebStatoOrdini>(), *company_, *web_), 1);
  EXPECT_EQ(order.Contents(web), order.Contents(company));
  EXPECT_EQ(order.Customer(web), customer);
  EXPECT_EQ(order.State(web), "6|1|");
  EXPECT_EQ(order.State(company), "6|0|");

  RecordingWindow stateLog;
  ASSERT_EQ(Run(Make<CTarvoImportWebStatoOrdini>(), *web_, *agent_, stateLog), 1);
  EXPECT_EQ(order.Contents(agent), order.Contents(company));
  EXPECT_EQ(order.Contents(agent).size(), 3u) << "the header and the two lines left";
  EXPECT_EQ(order.State(agent), "6|1|");
  EXPECT_EQ(order.State(web), "6|0|");
  EXPECT_TRUE(stateLog.HasLine(" - Aggiornamento ordine 'AG'/1 del 2026 (Ag. 3)... OK!"));
  EXPECT_EQ(Value(agent, "SELECT COUNT(*) FROM DOCUMENTO WHERE SERIE = 'AG' AND NUMERO = 1"), "1|");

  const std::vector<std::string> issued = invoice.Contents(company);
  ASSERT_EQ(issued.size(), 3u);
  ASSERT_EQ(Run(Make<CTarvoExportWebFatture>(), *company_, *web_), 1);
  EXPECT_EQ(invoice.Contents(web), issued);
  EXPECT_EQ(invoice.Customer(web), customer);
  EXPECT_EQ(Value(web, "SELECT COUNT(*) FROM DOCUMENTO WHERE ID_CAUSALE = 101"), "4|") << "every modified invoice";
  EXPECT_EQ(Value(company, "SELECT COUNT(*) FROM DOCUMENTO WHERE F_MODIFICATO = 1 AND ID_CAUSALE = 101"), "0|");

  RecordingWindow invoiceLog;
  ASSERT_EQ(Run(Make<CTarvoImportAgenteFatture>(), *web_, *agent_, invoiceLog), 1);
  EXPECT_EQ(invoice.Contents(agent), issued);
  EXPECT_EQ(invoice.Customer(agent), customer);
  EXPECT_EQ(invoice.State(agent), "<null>|1|");
  EXPECT_EQ(invoice.State(web), "<null>|0|");
  const std::string webId = Value(web, "SELECT ID FROM DOCUMENTO WHERE ID_CAUSALE = 101 AND NUMERO = 5");
  EXPECT_EQ(invoiceLog.Texts(), (std::vector<std::string>{"Database destinazione aperto.", "Database sorgente aperto.",
                                                          "Avvio importazione fatture...",
                                                          " - Importata fattura A/5 (codice " +
                                                              webId.substr(0, webId.size() - 1) + ")",
                                                          "Importazione fatture termita con successo.",
                                                          "Database sorgente chiuso.", "Database destinazione chiuso."}))
      << "only the agent's own invoice, found on the agent's database and rewritten in place";
  EXPECT_EQ(Value(agent, "SELECT COUNT(*) FROM DOCUMENTO WHERE ID_CAUSALE = 101 AND NUMERO = 5"), "1|");
}

// --- stop and failure --------------------------------------------------------------------------
// A stop between two orders keeps every order logged on both sides and nothing of the others; a
// second run sends exactly the rest.
TEST_P(DocumentExchange, AStoppedExportKeepsTheOrdersLoggedAndASecondRunSendsTheRest) {
  constexpr int kOrders = 300;
  agent_->LoadSchema("demo/demo.sql");
  agent_->Execute("DELETE FROM DOCUMENTO WHERE ID_STATO_ORDINE = 1");
  const std::string numbers =
      agent_->Kind() == DbKind::kSQLite
          ? StrFormat("WITH RECURSIVE N(I) AS (SELECT 1 UNION ALL SELECT I + 1 FROM N WHERE I < %d) SELECT I FROM N", kOrders)
          : StrFormat("SELECT I FROM generate_series(1, %d) AS I", kOrders);
  agent_->Execute("INSERT INTO DOCUMENTO (ID, ID_CAUSALE, SERIE, NUMERO, ANNO, ID_AGENTE_SEDE_SOCIETA, CLI_FAT_ID, "
                  "CLI_FAT_PARTITAIVA, ID_STATO_ORDINE) SELECT 1000 + I, 15, 'S', I, 2026, 3, 1, '04567890159', 1 FROM (" +
                  numbers + ") AS T");
  for (const char* article : {"ALI001", "ALI002"})
    agent_->Execute(StrFormat("INSERT INTO VOCI_DOCUMENTO (ID_DOCUMENTO, ID_ARTICOLO, QUANTITA) "
                              "SELECT ID, '%s', NUMERO FROM DOCUMENTO WHERE SERIE = 'S'",
                              article));

  RecordingWindow window;
  auto p = Make<CTarvoExportWebOrdini>();
  p->SetSrcConfig(agent_->Config());
  p->SetDestConfig(web_->Config());
  p->SetParentWnd(&window);
  p->SetEventStop(stop_);
  int result = -99;
  std::thread worker([&] { result = p->Run(); });
  EXPECT_TRUE(window.WaitForLine(" - Esportato ordine S/1 (codice 1001)"));
  stop_.SetEvent();
  worker.join();
  window.WaitFinished();
  EXPECT_EQ(result, 0);
  EXPECT_TRUE(window.HasLine("Operazione interrotta dall'utente."));
  EXPECT_TRUE(window.HasLine("Esportazione ordini fallita."));

  int logged = 0;
  for (const std::string& t : window.Texts()) logged += t.rfind(" - Esportato ordine S/", 0) == 0;
  ASSERT_LT(logged, kOrders) << "the stop came too late to test anything";
  CDatabase &agent = agent_->Db(), &web = web_->Db();
  EXPECT_EQ(Value(web, "SELECT COUNT(*), COUNT(DISTINCT NUMERO), MAX(NUMERO) FROM DOCUMENTO"),
            StrFormat("%d|%d|%d|", logged, logged, logged));
  EXPECT_EQ(Value(web, "SELECT COUNT(*) FROM VOCI_DOCUMENTO"), StrFormat("%d|", 2 * logged));
  EXPECT_EQ(Value(agent, "SELECT COUNT(*) FROM DOCUMENTO WHERE SERIE = 'S' AND ID_STATO_ORDINE = 2"), StrFormat("%d|", logged));

  stop_.ResetEvent();
  ASSERT_EQ(Run(Make<CTarvoExportWebOrdini>(), *agent_, *web_), 1);
  EXPECT_EQ(Value(web, "SELECT COUNT(*), COUNT(DISTINCT NUMERO) FROM DOCUMENTO"), StrFormat("%d|%d|", kOrders, kOrders));
  EXPECT_EQ(Rows(web, "SELECT D.NUMERO, V.ID_ARTICOLO, V.QUANTITA FROM DOCUMENTO D JOIN VOCI_DOCUMENTO V ON "
                      "V.ID_DOCUMENTO = D.ID ORDER BY D.NUMERO, V.ID_ARTICOLO"),
            Rows(agent, "SELECT D.NUMERO, V.ID_ARTICOLO, V.QUANTITA FROM DOCUMENTO D JOIN VOCI_DOCUMENTO V ON "
                        "V.ID_DOCUMENTO = D.ID WHERE D.SERIE = 'S' ORDER BY D.NUMERO, V.ID_ARTICOLO"));
  EXPECT_EQ(Value(web, "SELECT COUNT(*) FROM AZIENDA"), "1|") << "the one customer, created once";
}

// The destination refuses a line of the second order: the first stays transferred, the second is
// undone on both databases, and once the refusal is lifted a second run sends the rest once.
TEST_P(DocumentExchange, ARefusedLineUndoesItsOrderOnBothSidesAndTheNextRunResumes) {
  LoadDemo();
  RefuseLine(*web_, "ALI010");  // in A/2, the second order of the agent
  RecordingWindow window;
  EXPECT_EQ(Run(Make<CTarvoExportWebOrdini>(), *agent_, *web_, window), 0);
  EXPECT_TRUE(window.HasLine(" - Esportato ordine A/1 (codice 1)"));
  EXPECT_FALSE(HasLineStartingWith(window, " - Esportato ordine A/2"));
  EXPECT_TRUE(HasLineStartingWith(window, "ERRORE database")) << "followed by the driver's text";
  EXPECT_EQ(window.Texts().at(window.Texts().size() - 3), "Esportazione ordini fallita.");
  CDatabase &agent = agent_->Db(), &web = web_->Db();
  EXPECT_EQ(Rows(web, "SELECT SERIE, NUMERO FROM DOCUMENTO"), std::vector<std::string>{"A|1|"});
  EXPECT_EQ(Value(web, "SELECT COUNT(*) FROM VOCI_DOCUMENTO"), "3|");
  EXPECT_EQ(Rows(agent, "SELECT SERIE, NUMERO, ID_STATO_ORDINE FROM DOCUMENTO WHERE ID_AGENTE_SEDE_SOCIETA = 3 "
                        "AND ID_CAUSALE = 15 ORDER BY ID"),
            (std::vector<std::string>{"A|1|2|", "A|2|1|", "AG|1|1|", "AG|2|1|", "AG|3|2|", "AG|4|5|"}));

  AcceptLines(*web_);
  ASSERT_EQ(Run(Make<CTarvoExportWebOrdini>(), *agent_, *web_), 1);
  EXPECT_EQ(Value(web, "SELECT COUNT(*), COUNT(DISTINCT SERIE || '/' || NUMERO) FROM DOCUMENTO"), "4|4|");
  for (const Document& d : {Document{15, "A", 1}, Document{15, "A", 2}, Document{15, "AG", 1}, Document{15, "AG", 2}})
    EXPECT_EQ(d.Contents(web), d.Contents(agent)) << d.serie << "/" << d.numero;
}

// The same for an invoice the destination already holds: its old version survives the failure.
TEST_P(DocumentExchange, ARefusedLineLeavesTheDestinationsInvoiceAsItWas) {
  LoadDemo();
  web_->Execute("INSERT INTO DOCUMENTO (ID, ID_CAUSALE, SERIE, NUMERO, ANNO, NOTE) VALUES (7, 101, 'B', 2, 2026, 'vecchia')");
  web_->Execute("INSERT INTO VOCI_DOCUMENTO (ID_DOCUMENTO, DESCRIZIONE) VALUES (7, 'riga vecchia')");
  RefuseLine(*web_, "IGI002");  // in invoice A/2, the second one
  EXPECT_EQ(Run(Make<CTarvoExportWebFatture>(), *company_, *web_), 0);
  CDatabase &company = company_->Db(), &web = web_->Db();
  const Document second{101, "B", 2};
  EXPECT_EQ(second.Contents(web).size(), 2u);
  EXPECT_EQ(Value(web, "SELECT NOTE FROM DOCUMENTO WHERE ID = 7"), "vecchia|");
  EXPECT_EQ(Value(web, "SELECT DESCRIZIONE FROM VOCI_DOCUMENTO WHERE ID_DOCUMENTO = 7"), "riga vecchia|");
  EXPECT_EQ(Rows(company, "SELECT NUMERO, F_MODIFICATO FROM DOCUMENTO WHERE ID_CAUSALE = 101 ORDER BY ID"),
            (std::vector<std::string>{"1|0|", "2|1|", "3|1|", "4|0|", "5|1|"}));

  AcceptLines(*web_);
  ASSERT_EQ(Run(Make<CTarvoExportWebFatture>(), *company_, *web_), 1);
  // The series is not part of the key: B/2 became A/2 in place, its old line gone.
  EXPECT_EQ(Value(web, "SELECT ID, SERIE FROM DOCUMENTO WHERE NUMERO = 2"), "7|A|");
  for (int n = 1; n <= 5; ++n) {
    const Document d{101, "A", n};
    if (n != 4) {
      EXPECT_EQ(d.Contents(web), d.Contents(company)) << n;
    }
  }
  RecordingWindow again;
  ASSERT_EQ(Run(Make<CTarvoExportWebFatture>(), *company_, *web_, again), 1);
  EXPECT_FALSE(HasLineStartingWith(again, " - Esportata")) << "nothing changed since";
}

TEST_P(DocumentExchange, AnUnreachableDatabaseEndsTheRunBeforeItsFirstDocument) {
  using Factory = std::unique_ptr<CTarvoImport> (*)();
  for (Factory make : {&Make<CTarvoExportWebOrdini>, &Make<CTarvoImportWebOrdini>, &Make<CTarvoExportWebStatoOrdini>,
                       &Make<CTarvoImportWebStatoOrdini>, &Make<CTarvoExportWebFatture>, &Make<CTarvoImportAgenteFatture>}) {
    for (bool source : {true, false}) {
      RecordingWindow window;
      auto p = make();
      p->SetSrcConfig(source ? "DRIVER={No Such Driver};DATABASE=x" : agent_->Config());
      p->SetDestConfig(source ? web_->Config() : "DRIVER={No Such Driver};DATABASE=x");
      p->SetParentWnd(&window);
      p->SetVerbose(false);
      EXPECT_EQ(p->Run(), 0);
      window.WaitFinished();
      EXPECT_EQ(window.Result(), 0);
      EXPECT_EQ(window.FinishedCount(), 1);
      EXPECT_FALSE(HasLineStartingWith(window, "Avvio"));
      EXPECT_TRUE(HasLineStartingWith(window, source ? "- Impossibile connettersi al database sorgente"
                                                     : "- Impossibile connettersi al database destinazione"));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Drivers, DocumentExchange, testing::ValuesIn(AllDbKinds()), DbKindName);

TEST(DocumentProcedures, TheFactoryCreatesThemByNumber) {
  ScratchDatabase db(DbKind::kSQLite);
  db.LoadSchema("esportazione.sql");
  for (long n : {4L, 9L, 10L, 1004L, 1006L, 1009L})
    db.Execute(StrFormat("INSERT INTO ESPORTAZIONE (NUMERO, DESCRIZIONE, TIPO) VALUES (%ld, 'x', 'custom')", n));
  CExchangeFactory factory(&db.Db());
  auto make = [&](long n) { return std::unique_ptr<CTarvoImport>(factory.GetExchangeProcedure(n)); };
  EXPECT_NE(dynamic_cast<CTarvoImportWebOrdini*>(make(4).get()), nullptr);
  EXPECT_NE(dynamic_cast<CTarvoImportWebStatoOrdini*>(make(9).get()), nullptr);
  EXPECT_NE(dynamic_cast<CTarvoImportAgenteFatture*>(make(10).get()), nullptr);
  EXPECT_NE(dynamic_cast<CTarvoExportWebOrdini*>(make(1004).get()), nullptr);
  EXPECT_NE(dynamic_cast<CTarvoExportWebStatoOrdini*>(make(1006).get()), nullptr);
  EXPECT_NE(dynamic_cast<CTarvoExportWebFatture*>(make(1009).get()), nullptr);
}
