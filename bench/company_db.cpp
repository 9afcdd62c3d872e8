// Company database throughput: loading the schema and the demo data, generating a database of
// 100,000 articles (about 250,000 rows), and reading and adding articles through CArticoloSet.
// Every figure is also given as the time per 10,000 rows ("per10k").
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>

#include "platform/files.h"
#include "platform/odbc.h"
#include "platform/records/articolo_set.h"
#include "platform/records/demo_generator.h"

namespace {

CString Script(const char* dialect, const char* name) {
  CString path = CString(TARVO_SOURCE_DIR) + "/schema/" + dialect + "/" + name;
  if (!std::filesystem::exists(path)) path = CString(TARVO_SOURCE_DIR) + "/schema/" + name;
  return tarvo::Utf8ToCp1252(tarvo::ReadFileBytes(path));
}

// A fresh SQLite file with the company schema, removed at the end.
struct ScratchSqlite {
  std::string path;
  CDatabase db;
  explicit ScratchSqlite(const char* tag) {
    path = (std::filesystem::temp_directory_path() / ("tarvo-bench-" + std::to_string(getpid()) + "-" + tag + ".db"))
               .string();
    std::filesystem::remove(path);
    db.OpenEx(path);
    db.ExecuteScript(Script("sqlite", "company.sql"));
  }
  ~ScratchSqlite() {
    db.Close();
    for (const char* suffix : {"", "-wal", "-shm"}) std::filesystem::remove(path + suffix);
  }
};

// A fresh schema on the PostgreSQL server named by TARVO_TEST_PG, dropped at the end.
struct ScratchPostgres {
  CDatabase db;
  CString schema = "tarvo_bench_" + std::to_string(getpid());
  ScratchPostgres() {
    db.OpenEx(std::getenv("TARVO_TEST_PG"));
    db.ExecuteSQL("CREATE SCHEMA " + schema);
    db.ExecuteSQL("SET search_path TO " + schema);
    db.ExecuteScript(Script("postgres", "company.sql"));
  }
  ~ScratchPostgres() {
    try {
      db.ExecuteSQL("DROP SCHEMA " + schema + " CASCADE");
    } catch (...) {  // the server went away: nothing left to clean
    }
  }
};

void Per10k(benchmark::State& state, double rows) {
  state.counters["rows"] = rows;
  state.counters["per10k"] =
      benchmark::Counter(rows / 10000.0, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_LoadSchemaAndDemo(benchmark::State& state) {
  const CString demo = Script("sqlite", "demo/demo.sql");
  double rows = 0;
  for (auto _ : state) {
    ScratchSqlite scratch("demo");
    scratch.db.ExecuteScript(demo);
    state.PauseTiming();
    CODBCRecordset rs(&scratch.db);
    rs.Open("SELECT (SELECT COUNT(*) FROM ARTICOLO) + (SELECT COUNT(*) FROM AZIENDA) + "
            "(SELECT COUNT(*) FROM DOCUMENTO) + (SELECT COUNT(*) FROM VOCI_DOCUMENTO)");
    rows = static_cast<double>(rs.Field(0).AsInt64());
    state.ResumeTiming();
  }
  state.counters["demo_rows"] = rows;
}
BENCHMARK(BM_LoadSchemaAndDemo)->UseRealTime()->Unit(benchmark::kMillisecond);

// Generation of a database of state.range(0) articles into a fresh `Scratch` per run.
template <class Scratch, class... Args>
void Generate(benchmark::State& state, Args... args) {
  GeneratorCounts counts;
  for (auto _ : state) {
    state.PauseTiming();
    auto scratch = std::make_unique<Scratch>(args...);
    state.ResumeTiming();
    counts = GenerateCompanyDatabase(scratch->db, GeneratorSize::ForArticles(state.range(0)));
    state.PauseTiming();
    scratch.reset();
    state.ResumeTiming();
  }
  Per10k(state, static_cast<double>(counts.Total()));
}

void BM_GenerateSqlite(benchmark::State& state) { Generate<ScratchSqlite>(state, "gen"); }
BENCHMARK(BM_GenerateSqlite)->Arg(10000)->Arg(100000)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_GeneratePostgres(benchmark::State& state) {
  if (!std::getenv("TARVO_TEST_PG")) {
    state.SkipWithError("TARVO_TEST_PG not set");
    for (auto _ : state) {
    }
    return;
  }
  Generate<ScratchPostgres>(state);
}
BENCHMARK(BM_GeneratePostgres)->Arg(10000)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

// Reading and adding through the record class, on a 100,000-article database built once.
ScratchSqlite& Articles() {
  static ScratchSqlite* scratch = [] {
    auto* s = new ScratchSqlite("read");
    GenerateCompanyDatabase(s->db, GeneratorSize::ForArticles(100000));
    return s;
  }();
  return *scratch;
}

void BM_ReadArticles(benchmark::State& state) {
  ScratchSqlite& scratch = Articles();
  long rows = 0;
  for (auto _ : state) {
    CArticoloSet set(&scratch.db);
    set.m_strSort = "ID";
    rows = 0;
    for (set.Open(); !set.IsEOF(); set.MoveNext()) ++rows;
    benchmark::DoNotOptimize(rows);
  }
  Per10k(state, static_cast<double>(rows));
}
BENCHMARK(BM_ReadArticles)->UseRealTime()->Unit(benchmark::kMillisecond);

// The same rows through the bare ODBC record set: what the record class adds on top.
void BM_ReadArticlesOdbc(benchmark::State& state) {
  ScratchSqlite& scratch = Articles();
  CString sql = CArticoloSet(&scratch.db).GetSelectSQL() + " ORDER BY ID";
  long rows = 0;
  for (auto _ : state) {
    CODBCRecordset rs(&scratch.db);
    rows = 0;
    for (rs.Open(sql); !rs.IsEOF(); rs.MoveNext()) ++rows;
    benchmark::DoNotOptimize(rows);
  }
  Per10k(state, static_cast<double>(rows));
}
BENCHMARK(BM_ReadArticlesOdbc)->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_AddArticles(benchmark::State& state) {
  ScratchSqlite& scratch = Articles();
  static long next = 0;  // across the runs the library makes
  const long rows = 10000;
  for (auto _ : state) {
    CArticoloSet set(&scratch.db);
    scratch.db.BeginTrans();
    for (long i = 0; i < rows; ++i) {
      set.AddNew();
      set.m_ID = tarvo::StrFormat("B%07ld", next++);
      set.m_DESCRIZIONE = "Articolo di prova";
      set.m_PREZZO = "12.5";
      set.m_ID_CATEGORIA = "G001";
      set.Update();
    }
    scratch.db.CommitTrans();
  }
  Per10k(state, static_cast<double>(rows));
}
BENCHMARK(BM_AddArticles)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
