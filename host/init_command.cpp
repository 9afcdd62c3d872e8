#include "host/init_command.h"

#include <algorithm>
#include <filesystem>
#include <regex>
#include <sstream>

#include "framework/exchange_factory.h"
#include "host/embedded_files.h"
#include "host/run_command.h"
#include "platform/files.h"
#include "platform/odbc.h"
#include "platform/records/demo_generator.h"
#include "platform/records/esportazione_set.h"

namespace fs = std::filesystem;

namespace {
// Sample drivers are numbered from here on, away from the hard-coded procedures.
constexpr long kFirstDriverNumber = 2001;

std::string BaseName(std::string_view path) {
  size_t slash = path.rfind('/');
  return std::string(slash == std::string_view::npos ? path : path.substr(slash + 1));
}

// The first sentence of a comment, on one line: up to ". " or ": ", blanks collapsed.
std::string FirstSentence(const std::string& text) {
  std::string flat;
  std::istringstream words(text);
  for (std::string w; words >> w;) flat += (flat.empty() ? "" : " ") + w;
  size_t end = std::min(flat.find(". "), flat.find(": "));
  if (end != std::string::npos) flat.resize(end);
  if (!flat.empty() && (flat.back() == '.' || flat.back() == ':')) flat.pop_back();
  return flat;
}

// A schema script as the database layer takes it (our text is Windows-1252).
void RunScript(CDatabase& db, std::string_view name) {
  std::optional<std::string_view> script = FindEmbeddedFile(name);
  if (!script) throw tarvo::CException(tarvo::ErrorKind::kInternal, "script not built in: " + std::string(name));
  db.ExecuteScript(tarvo::Utf8ToCp1252(*script));
}

void InsertProcedure(CDatabase& db, long number, const CString& tipo, const CString& descrizione,
                     const CString& parametri, const CString& parser = {}) {
  std::vector<CDBValue> values = {static_cast<long long>(number), descrizione, tipo};
  for (const CString* text : {&parametri, &parser}) values.push_back(text->empty() ? CDBValue{} : CDBValue{*text});
  db.ExecuteSQL("INSERT INTO ESPORTAZIONE (NUMERO, DESCRIZIONE, TIPO, PARAMETRI, PARSER) VALUES (?, ?, ?, ?, ?)",
                values);
}

void FillProcedureTable(CDatabase& db) {
  for (const ProcedureEntry& e : KnownProcedures())
    InsertProcedure(db, e.number, "custom", e.description, "", DefaultParserName(e.number));
  std::vector<EmbeddedFile> drivers = EmbeddedDriverFiles();
  for (size_t i = 0; i < drivers.size(); ++i) {
    std::string name = BaseName(drivers[i].name);
    DriverRow row = DescribeDriver(name, drivers[i].data);
    InsertProcedure(db, DriverProcedureNumber(i), row.tipo, row.descrizione, "DRVFILE=" + name);
  }
}

void WriteDriverFiles(const std::string& root_dir) {
  fs::path dir = fs::path(root_dir) / "exchange";
  fs::create_directories(dir);
  for (const EmbeddedFile& f : EmbeddedDriverFiles())
    tarvo::WriteFileBytes((dir / BaseName(f.name)).string(), CString(f.data));
}
}  // namespace

long DriverProcedureNumber(size_t index) { return kFirstDriverNumber + static_cast<long>(index); }

DriverRow DescribeDriver(std::string_view file_name, std::string_view text) {
  static const std::regex import_step(R"(<(table|query)\b[^>]*\baction\s*=\s*["']import["'])");
  static const std::regex root_description(R"(<[A-Za-z_][^\s>!?/]*\s[^>]*\bdescrizione\s*=\s*"([^"]*)\")");
  static const std::regex comment(R"(<!--([\s\S]*?)-->)");
  std::string s(text);
  DriverRow row;
  row.tipo = std::regex_search(s, import_step) ? "xmlimport" : "xmlexport";
  std::smatch m;
  std::string description;
  if (std::regex_search(s, m, root_description))
    description = m[1];
  else if (std::regex_search(s, m, comment))
    description = FirstSentence(m[1].str());
  if (description.empty()) description = std::string(file_name);
  // Driver files are UTF-8 unless they say otherwise; the table holds our Windows-1252 text.
  bool lossless = true;
  CString converted = tarvo::Utf8ToCp1252(description, &lossless);
  row.descrizione = lossless ? converted : CString(description);
  if (row.descrizione.size() > 100) row.descrizione.resize(100);
  return row;
}

int InitCommand(const InitOptions& options, Console& console) {
  if (options.db.empty()) {
    console.Error("--db is required (the SQLite file to create)");
    return kExitUsage;
  }
  std::error_code ec;
  if (fs::exists(options.db, ec)) {
    if (!options.force) {
      console.Error("\"" + options.db + "\" already exists; use --force to replace it");
      return kExitFailed;
    }
    for (const char* suffix : {"", "-journal", "-wal", "-shm"}) fs::remove(options.db + suffix, ec);
    if (fs::exists(options.db)) {
      console.Error("cannot remove \"" + options.db + "\": " + ec.message());
      return kExitFailed;
    }
  }
  GeneratorCounts generated;
  try {
    {
      CDatabase db;
      db.OpenEx(options.db);
      RunScript(db, "schema/sqlite/esportazione.sql");
      RunScript(db, "schema/sqlite/company.sql");
      db.BeginTrans();
      FillProcedureTable(db);
      db.CommitTrans();
      if (options.demo) RunScript(db, "schema/demo/demo.sql");
      if (options.generate > 0) generated = GenerateCompanyDatabase(db, GeneratorSize::ForArticles(options.generate));
      db.Close();
    }
    if (!options.root_dir.empty()) WriteDriverFiles(options.root_dir);
  } catch (const std::exception& e) {
    fs::remove(options.db, ec);
    console.Error("cannot create \"" + options.db + "\": " + tarvo::Cp1252ToUtf8(e.what()));
    return kExitFailed;
  }
  size_t drivers = EmbeddedDriverFiles().size();
  std::string data = options.demo ? ", demo data" : "";
  if (options.generate > 0)
    data += tarvo::StrFormat(", generated %ld articles, %ld customers, %ld orders (%ld rows)", generated.articles,
                             generated.customers, generated.orders, generated.Total());
  console.Note(tarvo::StrFormat("created %s: %zu procedures, %zu sample drivers%s", options.db.c_str(),
                                KnownProcedures().size(), drivers, data.c_str()));
  if (!options.root_dir.empty() && drivers > 0)
    console.Note("driver files written to " + (fs::path(options.root_dir) / "exchange").string());
  return kExitDone;
}

int ListCommand(const std::string& db_config, Console& console) {
  if (db_config.empty()) {
    console.Error("--db is required");
    return kExitUsage;
  }
  if (IsMissingSQLiteFile(db_config)) {
    console.Error("no database \"" + db_config + "\"");
    return kExitFailed;
  }
  try {
    CDatabase db;
    db.OpenEx(db_config);
    CEsportazioneSet set(&db);
    set.m_strSort = "NUMERO";
    set.Open();
    for (; !set.IsEOF(); set.MoveNext())
      std::printf("%6ld  %-10s  %s\n", set.m_NUMERO, tarvo::Cp1252ToUtf8(set.m_TIPO).c_str(),
                  tarvo::Cp1252ToUtf8(set.m_DESCRIZIONE).c_str());
    std::fflush(stdout);
  } catch (const CDBException& e) {
    console.Error("cannot read the procedure table of \"" + db_config + "\": " + tarvo::Cp1252ToUtf8(e.m_strError));
    return kExitFailed;
  }
  return kExitDone;
}
