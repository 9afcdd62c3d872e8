// The order exchange at volume: 2,000 orders of 10 lines each travel agent -> web (1004) and
// web -> company (4), timed against a plain loop over the same ODBC connections that reads the
// same orders and writes the same rows with prepared statements, one commit per order on each
// side. Prints both times and their ratio with the limit it must stay under, on SQLite and (with
// TARVO_TEST_PG set to an ODBC connection string) on PostgreSQL.
//
// Usage: bench_document_exchange_bench [orders]   (other arguments are ignored)
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "dbexchange/exchange_ordini.h"
#include "platform/files.h"
#include "platform/odbc.h"
#include "platform/records/demo_generator.h"
#include "platform/settings.h"

namespace fs = std::filesystem;

namespace {

constexpr double kLimit = 3.0;
constexpr long kAgent = 3;

CString Script(const char* dialect, const char* name) {
  return tarvo::Utf8ToCp1252(tarvo::ReadFileBytes(CString(TARVO_SOURCE_DIR) + "/schema/" + dialect + "/" + name));
}

// Creates empty company databases of one kind and hands out their configuration texts.
class Databases {
 public:
  explicit Databases(const char* pg) : pg_(pg ? pg : "") {}
  ~Databases() {
    for (const CString& schema : schemas_) {
      try {
        CDatabase admin;
        admin.OpenEx(pg_);
        admin.ExecuteSQL("DROP SCHEMA " + schema + " CASCADE");
      } catch (...) {  // the server went away: nothing left to clean
      }
    }
    for (const std::string& file : files_)
      for (const char* suffix : {"", "-wal", "-shm"}) fs::remove(file + suffix);
  }
  bool Postgres() const { return !pg_.empty(); }
  CString Create() {
    CDatabase db;
    CString config;
    const CString tag = std::to_string(getpid()) + "_" + std::to_string(++count_);
    if (Postgres()) {
      CString schema = "tarvo_bench_doc_" + tag;
      db.OpenEx(pg_);
      db.ExecuteSQL("CREATE SCHEMA " + schema);
      db.ExecuteSQL("SET search_path TO " + schema);
      schemas_.push_back(schema);
      config = pg_ + ";ConnSettings=SET search_path TO " + schema;
    } else {
      config = (fs::temp_directory_path() / ("tarvo-bench-doc-" + tag + ".db")).string();
      files_.push_back(config);
      db.OpenEx(config);
    }
    db.ExecuteScript(Script(Postgres() ? "postgres" : "sqlite", "company.sql"));
    return config;
  }
  // An agent's database: `orders` orders of 10 lines, all of the agent and in state 1.
  CString Agent(long orders) {
    CString config = Create();
    CDatabase db;
    db.OpenEx(config);
    GeneratorSize size;
    size.articles = 500;
    size.customers = 100;
    size.orders = orders;
    size.linesPerOrder = 10;
    GenerateCompanyDatabase(db, size);
    db.ExecuteSQL(tarvo::StrFormat("UPDATE DOCUMENTO SET ID_AGENTE_SEDE_SOCIETA = %ld, ID_STATO_ORDINE = 1", kAgent));
    return config;
  }

 private:
  CString pg_;
  int count_ = 0;
  std::vector<CString> schemas_;
  std::vector<std::string> files_;
};

double Seconds(const std::function<void()>& f) {
  auto start = std::chrono::steady_clock::now();
  f();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

int RunProcedure(CTarvoImport&& p, const CString& from, const CString& to) {
  p.SetSrcConfig(from);
  p.SetDestConfig(to);
  p.SetVerbose(false);
  return p.Run();
}

CDBValue ValueOf(const CDBField& f) {
  if (f.IsNull()) return std::monostate{};
  if (tarvo::IsSqlIntegerType(f.GetSQLType())) return f.AsInt64();
  if (tarvo::IsSqlRealType(f.GetSQLType())) return f.AsDouble();
  if (tarvo::IsSqlDateType(f.GetSQLType())) return f.AsDate();
  return f.AsString();
}

const char kHeader[] =
    "ID_CAUSALE, SERIE, NUMERO, ANNO, NUMERO_DOCUMENTO, DATA_DOCUMENTO, DATA_REGISTRAZIONE, DATA_CONSEGNA, ID_SOCIETA, "
    "ID_SEDE_SOCIETA, ID_DEPOSITO, ID_AGENTE_SEDE_SOCIETA, CLI_FAT_ID, CLI_FAT_SEDE_ID, CLI_FAT_RAGIONESOCIALE, "
    "CLI_FAT_INDIRIZZO, CLI_FAT_LOCALITA, CLI_FAT_PARTITAIVA, DESTINAZIONE, DESTINAZIONE_LOCALITA, NOTE, SCONTO, "
    "SPESE_TRASPORTO, ID_BANCA, ID_FORMULA_PAGAMENTO, ID_TRASPORTO, ID_PORTO_MERCI, ID_STATO_ORDINE, F_MODIFICATO, "
    "F_STAMPATO, TOTALE_IMPONIBILE, TOTALE_IVA, TOTALE_DOCUMENTO";
const char kLine[] =
    "ID_DOCUMENTO, TIPO, ID_ARTICOLO, DESCRIZIONE, ID_UNITA_MISURA, QUANTITA, COLLI, PREZZO, PREZZO_NETTO, "
    "QUANTITA_EVASA, IMPORTO, IMPORTO_IVA, SCONTO_1, SCONTO_2, SCONTO_3, SCONTO_4, SCONTO_5, SCONTO_TESTATA, "
    "CODICE_IVA, ALIQUOTA_IVA, MARCATORE, F_MODIFICATO";

CString Marks(int count) {
  CString marks = "?";
  for (int i = 1; i < count; ++i) marks += ", ?";
  return marks;
}

// The reference: the orders in state `from` with their lines, read in two queries, written as
// new documents (state `to`) with prepared statements, the source order's state updated; one
// commit per order on each side. The customers are taken as they are.
void PlainCopy(const CString& fromConfig, const CString& toConfig, long from, long to) {
  CDatabase src, dst;
  src.OpenEx(fromConfig);
  dst.OpenEx(toConfig);
  std::vector<std::vector<CDBValue>> orders;
  std::vector<long long> ids;
  {
    CODBCRecordset rs(&src);
    for (rs.Open(CString("SELECT ID, ") + kHeader + " FROM DOCUMENTO WHERE ID_STATO_ORDINE = ? ORDER BY ID", {from});
         !rs.IsEOF(); rs.MoveNext()) {
      ids.push_back(rs.Field(0).AsInt64());
      orders.emplace_back();
      for (int i = 1; i < rs.GetFieldCount(); ++i) orders.back().push_back(ValueOf(rs.Field(i)));
    }
  }
  std::map<long long, std::vector<std::vector<CDBValue>>> lines;
  {
    CODBCRecordset rs(&src);
    for (rs.Open(CString("SELECT ") + kLine + " FROM VOCI_DOCUMENTO ORDER BY ID"); !rs.IsEOF(); rs.MoveNext()) {
      auto& row = lines[rs.Field(0).AsInt64()].emplace_back();
      for (int i = 1; i < rs.GetFieldCount(); ++i) row.push_back(ValueOf(rs.Field(i)));
    }
  }
  CODBCStatement header(&dst), line(&dst), state(&src);
  header.Prepare(CString("INSERT INTO DOCUMENTO (ID, ") + kHeader + ") VALUES (" + Marks(34) + ")");
  line.Prepare(CString("INSERT INTO VOCI_DOCUMENTO (") + kLine + ") VALUES (" + Marks(22) + ")");
  state.Prepare("UPDATE DOCUMENTO SET ID_STATO_ORDINE = ? WHERE ID = ?");
  long long next = 500000;
  for (size_t o = 0; o < orders.size(); ++o) {
    const long long id = ++next;
    std::vector<CDBValue> values{id};
    values.insert(values.end(), orders[o].begin(), orders[o].end());
    values[28] = static_cast<long long>(to);  // ID_STATO_ORDINE
    dst.BeginTrans();
    src.BeginTrans();
    header.Execute(values);
    for (const auto& l : lines[ids[o]]) {
      std::vector<CDBValue> row{id};
      row.insert(row.end(), l.begin(), l.end());
      line.Execute(row);
    }
    state.Execute({static_cast<long long>(to), ids[o]});
    src.CommitTrans();
    dst.CommitTrans();
  }
}

void Compare(const char* kind, long orders) {
  Databases dbs(std::string(kind) == "PostgreSQL" ? std::getenv("TARVO_TEST_PG") : nullptr);
  CUserAdministrator::SetCurrentUser(kAgent, 1, 1);

  CString agent = dbs.Agent(orders), web = dbs.Create(), company = dbs.Create();
  int ok = 1;
  double exported = Seconds([&] { ok &= RunProcedure(CTarvoExportWebOrdini(), agent, web); });
  double imported = Seconds([&] { ok &= RunProcedure(CTarvoImportWebOrdini(), web, company); });
  if (ok != 1) {
    std::fprintf(stderr, "%s: the order exchange failed\n", kind);
    std::exit(1);
  }

  CString plainAgent = dbs.Agent(orders), plainWeb = dbs.Create(), plainCompany = dbs.Create();
  double plainExport = Seconds([&] { PlainCopy(plainAgent, plainWeb, 1, 2); });
  double plainImport = Seconds([&] { PlainCopy(plainWeb, plainCompany, 2, 5); });

  const double ratio = (exported + imported) / (plainExport + plainImport);
  std::printf("%s, %ld orders of 10 lines\n", kind, orders);
  std::printf("  %-40s %7.2f s + %7.2f s\n", "1004 then 4", exported, imported);
  std::printf("  %-40s %7.2f s + %7.2f s\n", "plain prepared loop (reference)", plainExport, plainImport);
  std::printf("  %-40s %7.2f   (limit %.1f) %s\n", "ratio", ratio, kLimit, ratio <= kLimit ? "ok" : "OVER");
}

}  // namespace

int main(int argc, char** argv) {
  long orders = 2000;
  if (argc > 1 && std::atol(argv[1]) > 0) orders = std::atol(argv[1]);
  Compare("SQLite", orders);
  if (std::getenv("TARVO_TEST_PG")) Compare("PostgreSQL", orders);
  else std::printf("PostgreSQL: skipped (TARVO_TEST_PG unset)\n");
  return 0;
}
