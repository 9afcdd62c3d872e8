// The database exchanges of a generated company from SQLite into SQLite and into PostgreSQL,
// against the databases' own bulk copies of the same rows (sqlite3 copying between attached
// files, psql's \copy): the article exchange 1002 (100,000 articles), the order export 1004 and
// the customer export 1003 (of a company a tenth that size: 2,000 orders of 5 lines, 1,000
// customers of 2 branches). For PostgreSQL also the statements the server ran per copied row
// (pg_stat_statements) and the time through a relay on loopback that adds 1 ms of round trip.
// Each figure is measured `runs` times and printed as its range, with its limit where the
// exchange has one (the order and customer exchanges commit per document or ask per customer,
// so their figures are printed for comparison, without a limit).
//
// Usage: bench_exchange_bench [articles [runs [exchange]]]   (defaults 100000, 2 and all three;
// an exchange by its number, e.g. 1004, runs that one alone). Needs sqlite3 and
// psql on PATH. The PostgreSQL part needs TARVO_TEST_PG, an ODBC connection string of a server
// where the benchmark may create a database (scripts/pg-cluster.sh starts one with
// pg_stat_statements loaded; without it the statement count is left out).
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <functional>
#include <mutex>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "dbexchange/exchange_articoli.h"
#include "dbexchange/exchange_ordini.h"
#include "dbexchange/export_web_clienti.h"
#include "platform/files.h"
#include "platform/odbc.h"
#include "platform/records/demo_generator.h"
#include "platform/settings.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

// A table an exchange writes and the source columns the reference copies of it.
struct CopiedTable {
  const char* table;
  const char* columns;
};
const std::vector<CopiedTable> kArticleTables = {
    {"CATEGORIA", "ID, DESCRIZIONE, NOTE, FOTO"},
    {"FAMIGLIA", "ID, DESCRIZIONE, ID_CATEGORIA, NOTE, FOTO"},
    {"GRUPPO", "ID, DESCRIZIONE, NOTE, FOTO"},
    {"IVA", "CODICE, DESCRIZIONE, ALIQUOTA"},
    {"UNITA_MISURA", "ID, DESCRIZIONE"},
    {"ARTICOLO",
     "ID, CODICE_BARRE, CODICE_ALTERNATIVO, DESCRIZIONE, DESCRIZIONE_BREVE, ID_UNITA_MISURA, CODICE_IVA, "
     "ID_CATEGORIA, ID_FAMIGLIA, ID_GRUPPO, ID_CLASSE, PREZZO, PREZZO_2, COSTO, SCONTO_1, SCONTO_2, SCONTO_3, "
     "PROVVIGIONE, CONFEZIONE, PREZZO_ACQUISTO, PESO, VOLUME, SCORTA_MINIMA, QTA_RIORDINO, PRODUTTORE, NOTE, FOTO"},
};
const char kCompanyColumns[] =
    "ID, RAGIONESOCIALE, RAGIONESOCIALE2, PARTITAIVA, CODICEFISCALE, CODICE_CLIENTE, CODICE_FORNITORE, PEC, "
    "CODICE_DESTINATARIO, IBAN, RIFERIMENTO, FIDO, SCONTO_1, SCONTO_2, LISTINO, ID_FORMULA_PAGAMENTO, F_CLIENTE";
const char kBranchColumns[] = "ID, IDAZIENDA, DESCRIZIONE, INDIRIZZO, F_SEDE_PRINCIPALE, IDZONAPOSTALE";
const std::vector<CopiedTable> kOrderTables = {
    {"DOCUMENTO",
     "ID, ID_CAUSALE, SERIE, NUMERO, ANNO, NUMERO_DOCUMENTO, DATA_DOCUMENTO, DATA_REGISTRAZIONE, DATA_CONSEGNA, "
     "ID_SOCIETA, ID_SEDE_SOCIETA, ID_DEPOSITO, ID_AGENTE_SEDE_SOCIETA, CLI_FAT_ID, CLI_FAT_SEDE_ID, "
     "CLI_FAT_RAGIONESOCIALE, CLI_FAT_INDIRIZZO, CLI_FAT_LOCALITA, CLI_FAT_PARTITAIVA, DESTINAZIONE, "
     "DESTINAZIONE_LOCALITA, NOTE, SCONTO, SPESE_TRASPORTO, ID_BANCA, ID_FORMULA_PAGAMENTO, ID_TRASPORTO, "
     "ID_PORTO_MERCI, ID_STATO_ORDINE, F_MODIFICATO, F_STAMPATO, TOTALE_IMPONIBILE, TOTALE_IVA, TOTALE_DOCUMENTO"},
    {"VOCI_DOCUMENTO",
     "ID, ID_DOCUMENTO, TIPO, ID_ARTICOLO, DESCRIZIONE, ID_UNITA_MISURA, QUANTITA, COLLI, PREZZO, PREZZO_NETTO, "
     "QUANTITA_EVASA, IMPORTO, IMPORTO_IVA, SCONTO_1, SCONTO_2, SCONTO_3, SCONTO_4, SCONTO_5, SCONTO_TESTATA, "
     "CODICE_IVA, ALIQUOTA_IVA, MARCATORE, F_MODIFICATO"},
    {"AZIENDA", kCompanyColumns},
    {"SEDE", kBranchColumns},
};
const std::vector<CopiedTable> kCustomerTables = {{"AZIENDA", kCompanyColumns}, {"SEDE", kBranchColumns}};

// The agent the generated orders are given to, and whose orders 1004 exports.
constexpr long kAgent = 3;

std::string g_dir;

void Shell(const std::string& command) {
  if (std::system(command.c_str()) != 0) {
    std::fprintf(stderr, "failed: %s\n", command.c_str());
    std::exit(1);
  }
}

double Seconds(const std::function<void()>& f) {
  auto start = Clock::now();
  f();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

CString Script(const char* dialect, const char* name) {
  return tarvo::Utf8ToCp1252(tarvo::ReadFileBytes(std::string(TARVO_SOURCE_DIR) + "/schema/" + dialect + "/" + name));
}

void NewSqliteCompany(const std::string& path) {
  for (const char* suffix : {"", "-wal", "-shm"}) fs::remove(path + suffix);
  CDatabase db;
  db.OpenEx(path);
  db.ExecuteScript(Script("sqlite", "company.sql"));
}

long long Scalar(CDatabase& db, const CString& sql) {
  CODBCRecordset rs(&db);
  rs.Open(sql);
  return rs.IsEOF() ? 0 : rs.Field(0).AsInt64();
}

// An exchange measured: the procedure, the tables it writes (emptied before a first run, copied
// by the reference), the source it reads (its states reset before every run) and its limits.
struct Exchange {
  const char* name;
  std::function<std::unique_ptr<CTarvoImport>()> make;
  const std::vector<CopiedTable>* tables;
  std::string source;
  const char* resetSource;  // SQL run on the source before each run; nullptr: none
  double rows = 0;          // rows of the tables, as the reference copies them
  bool limited = false;     // the article targets apply (ratios, statements, 1 ms, second run)
  const char* alsoEmptied = nullptr;  // more tables it writes, emptied before a first run
};

void ResetSource(const Exchange& e) {
  if (!e.resetSource) return;
  CDatabase db;
  db.OpenEx(e.source);
  db.ExecuteSQL(e.resetSource);
}

// Runs the exchange from its source into `destination`; exits when the procedure fails.
void RunExchange(const Exchange& e, const std::string& destination) {
  std::unique_ptr<CTarvoImport> procedure = e.make();
  procedure->SetSrcConfig(e.source);
  procedure->SetDestConfig(destination);
  procedure->SetVerbose(false);
  if (procedure->Run() != 1) {
    std::fprintf(stderr, "%s failed into %s\n", e.name, destination.c_str());
    std::exit(1);
  }
}

// A range of measurements.
struct Range {
  double low = 1e300, high = 0;
  void Add(double v) { low = std::min(low, v), high = std::max(high, v); }
};

// `runs` measurements of `f` (after `prepare`, which is not timed).
Range Measure(int runs, const std::function<void()>& prepare, const std::function<void()>& f) {
  Range r;
  for (int i = 0; i < runs; ++i) {
    prepare();
    r.Add(Seconds(f));
  }
  return r;
}

void Report(const std::string& what, Range seconds, double rows, Range reference, double limit) {
  const double worst = seconds.high / reference.low;
  std::printf("%-50s %6.2f-%6.2f s  %8.0f-%8.0f rows/s  ratio %5.2f-%5.2f", what.c_str(), seconds.low, seconds.high,
              rows / seconds.high, rows / seconds.low, seconds.low / reference.high, worst);
  if (limit > 0) std::printf(" (limit %4.1f) %s", limit, worst <= limit ? "ok" : "OVER");
  std::printf("\n");
}

// ---------------------------------------------------------------------------------------------
// A TCP relay on loopback that holds every piece of data for `delay` before passing it on, in
// both directions: a round trip through it takes 2 * delay longer.
class CDelayRelay {
 public:
  CDelayRelay(const std::string& host, int port, std::chrono::microseconds delay) : delay_(delay) {
    target_.sin_family = AF_INET;
    target_.sin_port = htons(static_cast<uint16_t>(port));
    inet_pton(AF_INET, host.c_str(), &target_.sin_addr);
    listen_ = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in any{};
    any.sin_family = AF_INET;
    any.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof any;
    if (bind(listen_, reinterpret_cast<sockaddr*>(&any), sizeof any) != 0 || listen(listen_, 16) != 0 ||
        getsockname(listen_, reinterpret_cast<sockaddr*>(&any), &length) != 0) {
      std::perror("relay");
      std::exit(1);
    }
    port_ = ntohs(any.sin_port);
    threads_.emplace_back([this] { Accept(); });
  }
  ~CDelayRelay() {
    stop_ = true;
    for (std::thread& t : threads_) t.join();
    close(listen_);
    for (int fd : sockets_) close(fd);
  }
  int Port() const { return port_; }

 private:
  struct Chunk {
    Clock::time_point due;
    std::string bytes;  // empty: the sender closed its side
  };
  struct Pipe {
    std::mutex mutex;
    std::condition_variable ready;
    std::deque<Chunk> chunks;
  };

  void Accept() {
    while (!stop_) {
      pollfd p{listen_, POLLIN, 0};
      if (poll(&p, 1, 50) <= 0) continue;
      int client = accept(listen_, nullptr, nullptr);
      int server = socket(AF_INET, SOCK_STREAM, 0);
      if (client < 0 || connect(server, reinterpret_cast<sockaddr*>(&target_), sizeof target_) != 0) {
        std::perror("relay connect");
        std::exit(1);
      }
      int one = 1;
      for (int fd : {client, server}) setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
      sockets_.push_back(client);
      sockets_.push_back(server);
      for (auto [from, to] : {std::pair{client, server}, std::pair{server, client}}) {
        pipes_.push_back(std::make_unique<Pipe>());
        Pipe* pipe = pipes_.back().get();
        threads_.emplace_back([this, from, pipe] { Read(from, *pipe); });
        threads_.emplace_back([this, to, pipe] { Write(to, *pipe); });
      }
    }
  }
  void Read(int from, Pipe& pipe) {
    char buffer[65536];
    for (;;) {
      pollfd p{from, POLLIN, 0};
      int ready = poll(&p, 1, 50);
      if (ready == 0 && !stop_) continue;
      ssize_t got = ready > 0 ? read(from, buffer, sizeof buffer) : 0;
      std::lock_guard<std::mutex> lock(pipe.mutex);
      pipe.chunks.push_back({Clock::now() + delay_, got > 0 ? std::string(buffer, static_cast<size_t>(got)) : ""});
      pipe.ready.notify_one();
      if (got <= 0) return;
    }
  }
  void Write(int to, Pipe& pipe) {
    for (;;) {
      Chunk chunk;
      {
        std::unique_lock<std::mutex> lock(pipe.mutex);
        pipe.ready.wait(lock, [&] { return !pipe.chunks.empty(); });
        chunk = std::move(pipe.chunks.front());
        pipe.chunks.pop_front();
      }
      if (chunk.bytes.empty()) {
        shutdown(to, SHUT_WR);
        return;
      }
      std::this_thread::sleep_until(chunk.due);
      for (size_t sent = 0; sent < chunk.bytes.size();) {
        ssize_t n = write(to, chunk.bytes.data() + sent, chunk.bytes.size() - sent);
        if (n <= 0) return;
        sent += static_cast<size_t>(n);
      }
    }
  }

  std::chrono::microseconds delay_;
  sockaddr_in target_{};
  int listen_ = -1, port_ = 0;
  std::atomic<bool> stop_{false};
  std::vector<std::thread> threads_;  // only the accepting thread adds to it while running
  std::vector<int> sockets_;
  std::vector<std::unique_ptr<Pipe>> pipes_;
};

// ---------------------------------------------------------------------------------------------
// The value of KEY= in an ODBC connection string ("" when absent).
std::string Option(const std::string& conn, const std::string& key) {
  std::smatch m;
  std::regex pattern("(^|;)\\s*" + key + "\\s*=([^;]*)", std::regex::icase);
  return std::regex_search(conn, m, pattern) ? m[2].str() : std::string();
}
std::string WithOption(const std::string& conn, const std::string& key, const std::string& value) {
  std::smatch m;
  std::regex pattern("(^|;)\\s*" + key + "\\s*=([^;]*)", std::regex::icase);
  if (!std::regex_search(conn, m, pattern)) return conn + ";" + key + "=" + value;
  const size_t at = static_cast<size_t>(m.position(2));
  return conn.substr(0, at) + value + conn.substr(at + static_cast<size_t>(m.length(2)));
}

void PostgresPart(const std::vector<Exchange>& exchanges, int runs) {
  const std::string admin = std::getenv("TARVO_TEST_PG");
  const std::string name = "tarvo_bench_" + std::to_string(getpid());
  const std::string config = WithOption(admin, "Database", name);
  CDatabase server;
  server.OpenEx(admin);
  server.ExecuteSQL("CREATE DATABASE " + name);
  bool counting = true;
  try {
    server.ExecuteSQL("CREATE EXTENSION IF NOT EXISTS pg_stat_statements");
    server.ExecuteSQL("SELECT pg_stat_statements_reset()");
  } catch (const CDBException&) {
    counting = false;
  }
  {
    CDatabase db;
    db.OpenEx(config);
    db.ExecuteScript(Script("postgres", "company.sql"));
  }
  CDatabase db;
  db.OpenEx(config);
  const std::string psql = "PGCLIENTENCODING=UTF8 PGPASSWORD='" + Option(admin, "PWD") +
                           "' psql -q -X -1 -v ON_ERROR_STOP=1 -h " + Option(admin, "Server") + " -p " +
                           Option(admin, "Port") + " -U " + Option(admin, "UID") + " -d " + name;

  for (const Exchange& e : exchanges) {
    CString tables;
    for (const CopiedTable& t : *e.tables) tables += CString(tables.empty() ? "" : ", ") + t.table;
    auto empty = [&] {
      db.ExecuteSQL("TRUNCATE " + tables + (e.alsoEmptied ? CString(", ") + e.alsoEmptied : CString()));
      ResetSource(e);
    };

    // psql's \copy of the same rows, from CSV files written by sqlite3 beforehand.
    std::string copy = psql;
    for (const CopiedTable& t : *e.tables) {
      const std::string csv = g_dir + "/" + t.table + ".csv";
      Shell("sqlite3 -csv " + e.source + " \"SELECT " + t.columns + " FROM " + t.table + "\" > " + csv);
      copy += " -c \"\\copy " + std::string(t.table) + " (" + t.columns + ") FROM '" + csv + "' WITH (FORMAT csv)\"";
    }
    Range reference = Measure(runs, [&] { db.ExecuteSQL("TRUNCATE " + tables); }, [&] { Shell(copy); });
    std::printf("%-50s %6.2f-%6.2f s\n", (std::string(e.name) + ": psql \\copy of the same rows").c_str(),
                reference.low, reference.high);

    Range first = Measure(
        runs,
        [&] {
          empty();
          if (counting) server.ExecuteSQL("SELECT pg_stat_statements_reset()");
        },
        [&] { RunExchange(e, config); });
    Report(std::string(e.name) + " into PostgreSQL, empty tables", first, e.rows, reference, e.limited ? 10 : 0);
    if (counting) {
      const double statements = static_cast<double>(
          Scalar(server, "SELECT COALESCE(SUM(calls), 0) FROM pg_stat_statements WHERE dbid = (SELECT oid FROM "
                         "pg_database WHERE datname = '" + name + "')"));
      std::printf("  %-48s %6.0f statements, %.4f per row", "statements on the server (last run)", statements,
                  statements / e.rows);
      if (e.limited) std::printf(" (limit 0.05) %s", statements / e.rows <= 0.05 ? "ok" : "OVER");
      std::printf("\n");
    } else {
      std::printf("  statements on the server: pg_stat_statements not loaded\n");
    }
    Range second = Measure(runs, [&] { ResetSource(e); }, [&] { RunExchange(e, config); });
    Report(std::string(e.name) + " into PostgreSQL again, all rows present", second, e.rows, first,
           e.limited ? 1.0 : 0);

    CDelayRelay relay(Option(admin, "Server"), std::stoi(Option(admin, "Port")), std::chrono::microseconds(500));
    const std::string slow = WithOption(config, "Port", std::to_string(relay.Port()));
    Range delayed = Measure(runs, empty, [&] { RunExchange(e, slow); });
    std::printf("%-50s %6.2f-%6.2f s", (std::string(e.name) + " into PostgreSQL with 1 ms more round trip").c_str(),
                delayed.low, delayed.high);
    if (e.limited) std::printf("  (limit 30 s) %s", delayed.high < 30 ? "ok" : "OVER");
    std::printf("\n");
  }
  db.Close();
  server.ExecuteSQL("DROP DATABASE " + name);
}

// A company of `articles` articles (with customers and orders) at `path`, generated the way
// `tarvo-exchange init --generate N` does; the orders are the agent's, ready for 1004.
void GenerateSource(const std::string& path, long articles) {
  NewSqliteCompany(path);
  CDatabase db;
  db.OpenEx(path);
  GenerateCompanyDatabase(db, GeneratorSize::ForArticles(articles));
}

double CountRows(const std::string& path, const std::vector<CopiedTable>& tables) {
  CDatabase db;
  db.OpenEx(path);
  double rows = 0;
  for (const CopiedTable& t : tables) rows += static_cast<double>(Scalar(db, CString("SELECT COUNT(*) FROM ") + t.table));
  return rows;
}

void SqlitePart(const std::vector<Exchange>& exchanges, int runs) {
  const std::string target = g_dir + "/target.db", attached = g_dir + "/attached.db";
  for (const Exchange& e : exchanges) {
    std::string script = "ATTACH '" + e.source + "' AS s; BEGIN;";
    for (const CopiedTable& t : *e.tables)
      script += std::string(" INSERT INTO ") + t.table + " (" + t.columns + ") SELECT " + t.columns + " FROM s." +
                t.table + ";";
    script += " COMMIT;";
    Range reference =
        Measure(runs, [&] { NewSqliteCompany(attached); }, [&] { Shell("sqlite3 " + attached + " \"" + script + "\""); });
    std::printf("%-50s %6.2f-%6.2f s\n", (std::string(e.name) + ": sqlite3 copy between attached files").c_str(),
                reference.low, reference.high);
    Range first = Measure(
        runs,
        [&] {
          NewSqliteCompany(target);
          ResetSource(e);
        },
        [&] { RunExchange(e, target); });
    Report(std::string(e.name) + " into SQLite, empty tables", first, e.rows, reference, e.limited ? 8 : 0);
    Range second = Measure(runs, [&] { ResetSource(e); }, [&] { RunExchange(e, target); });
    Report(std::string(e.name) + " into SQLite again, all rows present", second, e.rows, first, e.limited ? 1.0 : 0);
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);  // each figure as soon as it is measured
  const long articles = argc > 1 && std::atol(argv[1]) > 0 ? std::atol(argv[1]) : 100000;
  const int runs = argc > 2 && std::atoi(argv[2]) > 0 ? std::atoi(argv[2]) : 2;
  g_dir = (fs::temp_directory_path() / ("tarvo-exchange-bench-" + std::to_string(getpid()))).string();
  fs::create_directories(g_dir);
  const std::string large = g_dir + "/source.db", small = g_dir + "/small.db";
  GenerateSource(large, articles);
  GenerateSource(small, std::max(10L, articles / 10));
  CUserAdministrator::SetCurrentUser(kAgent, 1, 1);

  const std::string agentOrders =
      tarvo::StrFormat("UPDATE DOCUMENTO SET ID_AGENTE_SEDE_SOCIETA = %ld, ID_STATO_ORDINE = 1", kAgent);
  std::vector<Exchange> exchanges = {
      {"1002", [] { return std::make_unique<CTarvoExportWebArticoli>(); }, &kArticleTables, large, nullptr, 0, true},
      {"1004", [] { return std::make_unique<CTarvoExportWebOrdini>(); }, &kOrderTables, small, agentOrders.c_str(), 0, false, "ZONA_POSTALE"},
      {"1003", [] { return std::make_unique<CTarvoExportWebClienti>(); }, &kCustomerTables, small, nullptr, 0, false, "ZONA_POSTALE, CC_USER, AZIENDA_SCONTO, SCONTO, FORMULA_PAGAMENTO"},
  };
  if (argc > 3)
    exchanges.erase(std::remove_if(exchanges.begin(), exchanges.end(),
                                   [&](const Exchange& e) { return std::string(e.name) != argv[3]; }),
                    exchanges.end());
  for (Exchange& e : exchanges) {
    ResetSource(e);
    e.rows = CountRows(e.source, *e.tables);
  }
  std::printf("1002 of a company of %ld articles, 1004 and 1003 of one of %ld; %d runs each\n", articles,
              std::max(10L, articles / 10), runs);
  for (const Exchange& e : exchanges) std::printf("  %s copies %.0f rows\n", e.name, e.rows);

  SqlitePart(exchanges, runs);
  if (std::getenv("TARVO_TEST_PG")) PostgresPart(exchanges, runs);
  else std::printf("TARVO_TEST_PG not set: PostgreSQL figures left out\n");
  fs::remove_all(g_dir);
  return 0;
}
