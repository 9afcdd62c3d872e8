// The article exchange 1002 of a generated company (100,000 articles) from SQLite into SQLite and
// into PostgreSQL, against the databases' own bulk copies of the same rows: sqlite3 copying
// between attached files, and psql's \copy. For PostgreSQL also the statements the server ran
// per copied row (pg_stat_statements) and the time through a relay on loopback that adds 1 ms of
// round trip. Each figure is measured `runs` times and printed as its range, with its limit.
//
// Usage: bench_exchange_bench [articles [runs]]   (defaults 100000 and 2). Needs sqlite3 and
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
#include "platform/files.h"
#include "platform/odbc.h"
#include "platform/records/demo_generator.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

// The tables 1002 copies and the columns it writes.
struct CopiedTable {
  const char* table;
  const char* columns;
};
const CopiedTable kTables[] = {
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

// Runs 1002 from `source` into `destination`; exits when the procedure fails.
void RunExport(const std::string& source, const std::string& destination) {
  CTarvoExportWebArticoli procedure;
  procedure.SetSrcConfig(source);
  procedure.SetDestConfig(destination);
  procedure.SetVerbose(false);
  if (procedure.Run() != 1) {
    std::fprintf(stderr, "1002 failed into %s\n", destination.c_str());
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

void Report(const char* what, Range seconds, double rows, Range reference, double limit) {
  const double worst = seconds.high / reference.low;
  std::printf("%-46s %6.2f-%6.2f s  %8.0f-%8.0f rows/s  ratio %5.2f-%5.2f (limit %4.1f) %s\n", what, seconds.low,
              seconds.high, rows / seconds.high, rows / seconds.low, seconds.low / reference.high, worst, limit,
              worst <= limit ? "ok" : "OVER");
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

void PostgresPart(const std::string& source, double rows, int runs) {
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
  CString tables;
  for (const CopiedTable& t : kTables) tables += CString(tables.empty() ? "" : ", ") + t.table;
  auto empty = [&] { db.ExecuteSQL("TRUNCATE " + tables); };

  // psql's \copy of the same rows, from CSV files written by sqlite3 beforehand.
  std::string copy = "PGCLIENTENCODING=UTF8 PGPASSWORD='" + Option(admin, "PWD") + "' psql -q -X -1 -v ON_ERROR_STOP=1 -h " +
                     Option(admin, "Server") + " -p " + Option(admin, "Port") + " -U " + Option(admin, "UID") +
                     " -d " + name;
  for (const CopiedTable& t : kTables) {
    const std::string csv = g_dir + "/" + t.table + ".csv";
    Shell("sqlite3 -csv " + source + " \"SELECT " + t.columns + " FROM " + t.table + "\" > " + csv);
    copy += " -c \"\\copy " + std::string(t.table) + " (" + t.columns + ") FROM '" + csv + "' WITH (FORMAT csv)\"";
  }
  Range reference = Measure(runs, empty, [&] { Shell(copy); });
  std::printf("%-46s %6.2f-%6.2f s\n", "psql \\copy of the same rows (reference)", reference.low, reference.high);

  double statements = -1;
  Range first = Measure(
      runs,
      [&] {
        empty();
        if (counting) server.ExecuteSQL("SELECT pg_stat_statements_reset()");
      },
      [&] { RunExport(source, config); });
  if (counting) {
    statements = static_cast<double>(
        Scalar(server, "SELECT COALESCE(SUM(calls), 0) FROM pg_stat_statements WHERE dbid = (SELECT oid FROM "
                       "pg_database WHERE datname = '" + name + "')"));
  }
  Report("1002 into PostgreSQL, empty tables", first, rows, reference, 10);
  if (statements >= 0)
    std::printf("%-46s %6.0f statements, %.4f per row (limit 0.05) %s\n", "  statements on the server (last run)",
                statements, statements / rows, statements / rows <= 0.05 ? "ok" : "OVER");
  else
    std::printf("  statements on the server: pg_stat_statements not loaded\n");
  Range second = Measure(runs, [] {}, [&] { RunExport(source, config); });
  Report("1002 into PostgreSQL again, all rows present", second, rows, first, 1.0);

  {
    CDelayRelay relay(Option(admin, "Server"), std::stoi(Option(admin, "Port")), std::chrono::microseconds(500));
    const std::string slow = WithOption(config, "Port", std::to_string(relay.Port()));
    Range delayed = Measure(runs, empty, [&] { RunExport(source, slow); });
    std::printf("%-46s %6.2f-%6.2f s  (limit 30 s) %s\n", "1002 into PostgreSQL with 1 ms more round trip",
                delayed.low, delayed.high, delayed.high < 30 ? "ok" : "OVER");
  }
  db.Close();
  server.ExecuteSQL("DROP DATABASE " + name);
}

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);  // each figure as soon as it is measured
  const long articles = argc > 1 && std::atol(argv[1]) > 0 ? std::atol(argv[1]) : 100000;
  const int runs = argc > 2 && std::atoi(argv[2]) > 0 ? std::atoi(argv[2]) : 2;
  g_dir = (fs::temp_directory_path() / ("tarvo-exchange-bench-" + std::to_string(getpid()))).string();
  fs::create_directories(g_dir);
  const std::string source = g_dir + "/source.db", target = g_dir + "/target.db", attached = g_dir + "/attached.db";

  // The same path as `tarvo-exchange init --generate N`.
  NewSqliteCompany(source);
  double rows = 0;
  {
    CDatabase db;
    db.OpenEx(source);
    GenerateCompanyDatabase(db, GeneratorSize::ForArticles(articles));
    for (const CopiedTable& t : kTables)
      rows += static_cast<double>(Scalar(db, CString("SELECT COUNT(*) FROM ") + t.table));
  }
  std::printf("%ld articles, %.0f rows copied by 1002, %d runs each\n", articles, rows, runs);

  std::string script = "ATTACH '" + source + "' AS s; BEGIN;";
  for (const CopiedTable& t : kTables)
    script += std::string(" INSERT INTO ") + t.table + " (" + t.columns + ") SELECT " + t.columns + " FROM s." +
              t.table + ";";
  script += " COMMIT;";
  Range reference = Measure(runs, [&] { NewSqliteCompany(attached); }, [&] { Shell("sqlite3 " + attached + " \"" + script + "\""); });
  std::printf("%-46s %6.2f-%6.2f s\n", "sqlite3 copy between attached files (reference)", reference.low,
              reference.high);
  Range first = Measure(runs, [&] { NewSqliteCompany(target); }, [&] { RunExport(source, target); });
  Report("1002 into SQLite, empty tables", first, rows, reference, 8);
  Range second = Measure(runs, [] {}, [&] { RunExport(source, target); });
  Report("1002 into SQLite again, all rows present", second, rows, first, 1.0);

  if (std::getenv("TARVO_TEST_PG")) PostgresPart(source, rows, runs);
  else std::printf("TARVO_TEST_PG not set: PostgreSQL figures left out\n");
  fs::remove_all(g_dir);
  return 0;
}
