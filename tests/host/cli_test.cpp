// tarvo-exchange as outside scripts see it: run as a child process, judged by its exit code,
// its two output streams and the files it leaves.
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <memory>
#include <sstream>

#include "build_info.h"
#include "framework/exchange_factory.h"
#include "host/embedded_files.h"
#include "host/init_command.h"
#include "platform/files.h"
#include "platform/odbc.h"
#include "support/subprocess.h"
#include "support/test_db.h"

namespace {
using tarvo::test::ProcessResult;
using tarvo::test::RunProcess;
using tarvo::test::Subprocess;
using tarvo::test::TempDir;
using namespace std::chrono_literals;

ProcessResult Host(std::vector<std::string> args, const std::map<std::string, std::string>& env = {},
                   const std::string& cwd = {}) {
  args.insert(args.begin(), TARVO_HOST_EXE);
  std::map<std::string, std::string> environment = {{"TARVO_EXCHANGE_CONFIG", ""}};
  for (const auto& [k, v] : env) environment[k] = v;
  return RunProcess(args, {}, cwd, environment);
}

bool Contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

// The first value of a query on the SQLite file `db_path`, or one statement run on it.
CString Scalar(const std::string& db_path, const std::string& sql) {
  CDatabase db;
  db.OpenEx(db_path);
  CODBCRecordset rs(&db);
  rs.Open(sql);
  return rs.IsEOF() ? CString("<no row>") : rs.Field(0).AsString();
}
long CountRows(const std::string& db_path, const std::string& sql) { return std::stol(Scalar(db_path, sql)); }
void Execute(const std::string& db_path, const std::string& sql) {
  CDatabase db;
  db.OpenEx(db_path);
  db.ExecuteSQL(sql);
}

// A database made by `init` in a temporary folder.
class InitializedDb : public testing::Test {
 protected:
  void SetUp() override {
    db_ = dir_.File("company.db");
    ProcessResult r = Host({"init", "--db", db_, "--demo"});
    ASSERT_EQ(r.exit_code, 0) << r.err;
  }
  TempDir dir_;
  std::string db_;
};

// --- the command line ------------------------------------------------------------------------

TEST(CommandLine, VersionNamesTheProduct) {
  ProcessResult r = Host({"--version"});
  EXPECT_EQ(r.exit_code, 0);
  EXPECT_EQ(r.out, std::string(TARVO_PRODUCT_NAME " " TARVO_PRODUCT_VERSION "\n"));
}

TEST(CommandLine, HelpListsTheProceduresByNumberWithWhatTheyDoAndEveryRunOption) {
  for (const char* command : {"init", "list"}) EXPECT_EQ(Host({command, "--help"}).exit_code, 0) << command;
  ProcessResult help = Host({"--help"}), run_help = Host({"run", "--help"});
  for (const ProcessResult* r : {&help, &run_help}) {
    EXPECT_EQ(r->exit_code, 0);
    for (const ProcedureEntry& e : KnownProcedures()) {
      EXPECT_TRUE(Contains(r->out, tarvo::StrFormat("%5ld", e.number))) << e.number;
      EXPECT_TRUE(Contains(r->out, tarvo::Cp1252ToUtf8(e.description))) << e.number;
    }
    for (const ProcedureEntry& e : UnnumberedProcedures()) EXPECT_TRUE(Contains(r->out, e.className)) << e.className;
  }
  for (const char* option : {"--class", "--db", "--src", "--dest", "--in-dir", "--out-dir", "--http-server", "--http-url",
                             "--http-user", "--http-password", "--ftp-server", "--ftp-user", "--ftp-password",
                             "--ftp-folder", "--param", "--root-dir", "--agent-id", "--company-id",
                             "--branch-id", "--log-file", "--batch", "--config"})
    EXPECT_TRUE(Contains(run_help.out, option)) << option;
  EXPECT_TRUE(Contains(run_help.out, "64 usage error"));
}

class UsageError : public testing::TestWithParam<std::vector<std::string>> {};

TEST_P(UsageError, Exits64WithAMessageOnStderr) {
  ProcessResult r = Host(GetParam());
  EXPECT_EQ(r.exit_code, 64);
  EXPECT_FALSE(r.err.empty());
}

INSTANTIATE_TEST_SUITE_P(
    CommandLine, UsageError,
    testing::Values(std::vector<std::string>{}, std::vector<std::string>{"frobnicate"},
                    std::vector<std::string>{"run"}, std::vector<std::string>{"run", "abc", "--db", "x.db"},
                    std::vector<std::string>{"run", "1008"},  // no --db
                    std::vector<std::string>{"run", "1008", "--db", "x.db", "--param", "senza-uguale"},
                    std::vector<std::string>{"run", "1008", "--db", "x.db", "--no-such-option"},
                    std::vector<std::string>{"run", "1008", "--db", "x.db", "--config", "/nonexistent/c.ini"},
                    std::vector<std::string>{"init"}, std::vector<std::string>{"list"}));

TEST_F(InitializedDb, UnknownNumbersAndNumbersWhoseClassIsNotBuiltExit3AndSaySo) {
  for (const char* number : {"7", "1011", "0", "-5"}) {
    ProcessResult r = Host({"run", number, "--db", db_});
    EXPECT_EQ(r.exit_code, 3) << number;
    EXPECT_TRUE(Contains(r.err, "no procedure")) << r.err;
  }
  auto unbuilt = std::find_if(KnownProcedures().begin(), KnownProcedures().end(),
                              [](const ProcedureEntry& e) { return !e.create; });
  if (unbuilt == KnownProcedures().end()) return;  // every numbered procedure is built
  ProcessResult r = Host({"run", std::to_string(unbuilt->number), "--db", db_, "--batch"});
  EXPECT_EQ(r.exit_code, 3);
  EXPECT_TRUE(Contains(r.err, "not available in this build")) << r.err;
}

TEST_F(InitializedDb, PasswordsNeverReachTheTerminalAndHelpNamesWhereElseTheyMayBeGiven) {
  const std::string odbc = "DRIVER=SQLite3;Database=" + db_ + ";PWD=segreta";
  // "no procedure 7 in the procedure table of ...", "cannot open the database ..."
  for (const std::string& db : {odbc, std::string("DSN=tarvo_no_such_dsn;UID=u;Pwd=segreta;")}) {
    ProcessResult r = Host({"run", "7", "--db", db});
    EXPECT_NE(r.exit_code, 0);
    EXPECT_FALSE(Contains(r.out + r.err, "segreta")) << r.err;
    EXPECT_TRUE(Contains(r.err, tarvo::MaskSecrets(db))) << r.err;
  }
  ProcessResult help = Host({"run", "--help"});
  for (const char* name : {"TARVO_DB_PASSWORD", "TARVO_HTTP_PASSWORD", "TARVO_FTP_PASSWORD", "--connect-timeout",
                           "--stall-timeout"})
    EXPECT_TRUE(Contains(help.out, name)) << name;
}

TEST(CommandLine, AMissingDatabaseIsNotCreatedAndExits2) {
  TempDir dir;
  ProcessResult r = Host({"run", "1008", "--db", dir.File("typo.db")});
  EXPECT_EQ(r.exit_code, 2);
  EXPECT_TRUE(Contains(r.err, "typo.db"));
  EXPECT_FALSE(std::filesystem::exists(dir.File("typo.db")));
}

TEST_F(InitializedDb, ConfigFileSuppliesSettingsTheCommandLineOverridesThemAndItsErrorsAreUsageErrors) {
  std::string ini = dir_.File("tarvo.ini"), bad = dir_.File("bad.ini");
  tarvo::WriteFileBytes(ini, "db = " + dir_.File("missing.db") + "\nprecisione/prezzi = 4\nparam = \"A=1\"\n");
  // From the file alone, or named by the environment: the database does not exist.
  EXPECT_EQ(Host({"run", "7", "--config", ini}).exit_code, 2);
  EXPECT_EQ(Host({"run", "7"}, {{"TARVO_EXCHANGE_CONFIG", ini}}).exit_code, 2);
  // --db on the command line wins: the database is found, number 7 is not.
  EXPECT_EQ(Host({"run", "7", "--config", ini, "--db", db_}).exit_code, 3);
  tarvo::WriteFileBytes(bad, "db = " + db_ + "\nnessuna-opzione = 1\n");
  EXPECT_EQ(Host({"run", "7", "--config", bad}).exit_code, 64);
  EXPECT_EQ(Host({"run", "7", "--db", db_}, {{"TARVO_EXCHANGE_CONFIG", dir_.File("none.ini")}}).exit_code, 64);
}

// --- init and list -----------------------------------------------------------------------------

TEST_F(InitializedDb, ListShowsEveryNumberedProcedureAsCustom) {
  ProcessResult r = Host({"list", "--db", db_});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  for (const ProcedureEntry& e : KnownProcedures()) {
    std::string line = tarvo::StrFormat("%6ld  %-10s  %s\n", e.number, "custom",
                                        tarvo::Cp1252ToUtf8(e.description).c_str());
    EXPECT_TRUE(Contains(r.out, line)) << line;
  }
  std::vector<EmbeddedFile> drivers = EmbeddedDriverFiles();
  EXPECT_EQ(CountRows(db_, "SELECT COUNT(*) FROM ESPORTAZIONE"),
            static_cast<long>(KnownProcedures().size() + drivers.size()));
  for (size_t i = 0; i < drivers.size(); ++i)
    EXPECT_TRUE(Contains(r.out, tarvo::StrFormat("%6ld  xml", DriverProcedureNumber(i))));
}

TEST_F(InitializedDb, DemoDataIsLoadedWithItsAccents) {
  EXPECT_GT(CountRows(db_, "SELECT COUNT(*) FROM ARTICOLO"), 0);
  EXPECT_TRUE(Contains(Scalar(db_, "SELECT DESCRIZIONE FROM IVA WHERE CODICE = '04'"), tarvo::W("necessità")));
}

TEST_F(InitializedDb, AnExistingFileIsKeptUnlessForced) {
  Execute(db_, "CREATE TABLE MARCATORE (X INTEGER)");
  ProcessResult refused = Host({"init", "--db", db_});
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_TRUE(Contains(refused.err, "--force"));
  EXPECT_EQ(CountRows(db_, "SELECT COUNT(*) FROM MARCATORE"), 0);  // still there

  ProcessResult forced = Host({"init", "--db", db_, "--force"});
  EXPECT_EQ(forced.exit_code, 0) << forced.err;
  EXPECT_EQ(CountRows(db_, "SELECT COUNT(*) FROM sqlite_master WHERE name = 'MARCATORE'"), 0);
  EXPECT_EQ(CountRows(db_, "SELECT COUNT(*) FROM ARTICOLO"), 0);  // no --demo this time
}

TEST(Init, RootDirReceivesTheSampleDriverFilesNamedInTheTableWithPathsRelativeToAnyFolder) {
  TempDir dir;
  std::string db = dir.File("company.db"), root = dir.File("root");
  ProcessResult r = Host({"init", "--db", "company.db", "--root-dir", "root", "--demo"}, {}, dir.Path());
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_GT(CountRows(db, "SELECT COUNT(*) FROM ARTICOLO"), 0);
  EXPECT_TRUE(std::filesystem::is_directory(root + "/exchange"));
  for (const EmbeddedFile& f : EmbeddedDriverFiles()) {
    std::string name = std::filesystem::path(std::string(f.name)).filename().string();
    EXPECT_EQ(tarvo::ReadFileBytes(root + "/exchange/" + name), std::string(f.data)) << name;
    EXPECT_EQ(CountRows(db, "SELECT COUNT(*) FROM ESPORTAZIONE WHERE PARAMETRI = 'DRVFILE=" + name + "'"), 1);
  }
}

// The generated company comes on top of the demo data; a size that is no positive number is a
// usage error.
TEST(Init, GenerateAddsACompanyOfThatManyArticlesWithCustomersAndOrders) {
  TempDir dir;
  std::string db = dir.File("company.db");
  ProcessResult r = Host({"init", "--db", db, "--demo", "--generate", "200"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(CountRows(db, "SELECT COUNT(*) FROM ARTICOLO WHERE ID LIKE 'G%'"), 200);
  EXPECT_EQ(CountRows(db, "SELECT COUNT(*) FROM DOCUMENTO WHERE ID_CAUSALE = 15 AND CLI_FAT_RAGIONESOCIALE LIKE "
                          "'Cliente %'"),
            40);
  EXPECT_GT(CountRows(db, "SELECT COUNT(*) FROM ARTICOLO WHERE ID NOT LIKE 'G%'"), 0);
  EXPECT_TRUE(Contains(r.out + r.err, "generated 200 articles, 20 customers, 40 orders"));
  EXPECT_EQ(Host({"init", "--db", dir.File("other.db"), "--generate", "0"}).exit_code, 64);
}

TEST(List, AFileWithoutTheProcedureTableFails) {
  TempDir dir;
  Execute(dir.File("empty.db"), "CREATE TABLE X (Y INTEGER)");
  ProcessResult r = Host({"list", "--db", dir.File("empty.db")});
  EXPECT_EQ(r.exit_code, 1);
  EXPECT_TRUE(Contains(r.err, "procedure table"));
  EXPECT_EQ(Host({"list", "--db", dir.File("none.db")}).exit_code, 1);
}

// --- procedures without a number ----------------------------------------------------------------
// The classification import inserts only: a second run meets its own codes, a database error that
// leaves the procedure; the host reports a failed run and its transaction is rolled back.
TEST_F(InitializedDb, RunByClassNameAndADatabaseErrorThatEscapesIsAFailedRun) {
  const std::string in = std::string(TARVO_TEST_DATA_DIR) + "/solvar/classificazione";
  const std::vector<std::string> args = {"run", "--class", "CTarvoImportSolvarClassificazioneArticoli", "--db", db_,
                                         "--in-dir", in, "--batch"};
  const long before = CountRows(db_, "SELECT COUNT(*) FROM CATEGORIA");
  ProcessResult first = Host(args);
  EXPECT_EQ(first.exit_code, 0) << first.out << first.err;
  EXPECT_TRUE(Contains(first.out, "procedure CTarvoImportSolvarClassificazioneArticoli ended with result 1"));
  EXPECT_EQ(CountRows(db_, "SELECT COUNT(*) FROM CATEGORIA"), before + 3);
  Execute(db_, "DELETE FROM CATEGORIA WHERE ID = '007'");  // inserted again, then '010' fails
  ProcessResult second = Host(args);
  EXPECT_EQ(second.exit_code, 1) << second.out << second.err;
  EXPECT_TRUE(Contains(second.err, "the procedure failed on a database error: ")) << second.err;
  EXPECT_EQ(CountRows(db_, "SELECT COUNT(*) FROM CATEGORIA WHERE ID = '007'"), 0);

  EXPECT_EQ(Host({"run", "--class", "CTarvoNoSuchProcedure", "--db", db_}).exit_code, 3);
  ProcessResult numbered = Host({"run", "--class", "CTarvoExportSolvarArticoli", "--db", db_});
  EXPECT_EQ(numbered.exit_code, 64);
  EXPECT_TRUE(Contains(numbered.err, "is procedure 1008")) << numbered.err;
  EXPECT_EQ(Host({"run", "2", "--class", "CTarvoImportSolvarClassificazioneArticoli", "--db", db_}).exit_code, 64);
}

// --- a real procedure end to end -----------------------------------------------------------------
// The sample driver that exports the article master, run by the driver engine.

class DriverRun : public InitializedDb {
 protected:
  void SetUp() override {
    std::unique_ptr<CTarvoImport> engine(CreateDriverProcedure());
    if (!engine || !FindEmbeddedFile("xmlengine/drivers/articoli_export.xml"))
      GTEST_SKIP() << "the driver engine or its article export driver is not built";
    db_ = dir_.File("company.db");
    root_ = dir_.File("root");
    out_ = dir_.File("out");
    std::filesystem::create_directories(out_);
    ASSERT_EQ(Host({"init", "--db", db_, "--demo", "--root-dir", root_}).exit_code, 0);
    number_ = Scalar(db_, "SELECT NUMERO FROM ESPORTAZIONE WHERE PARAMETRI = 'DRVFILE=articoli_export.xml'");
  }
  std::vector<std::string> RunArgs(std::vector<std::string> extra = {}) {
    std::vector<std::string> args = {"run", number_, "--db", db_, "--root-dir", root_, "--out-dir", out_};
    args.insert(args.end(), extra.begin(), extra.end());
    return args;
  }
  std::string root_, out_, number_;
};

// The lines a run printed, without the host's own notes and status tags.
std::vector<std::string> ProcedureLines(const std::string& out) {
  std::vector<std::string> lines;
  std::istringstream in(out);
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with("[tarvo-exchange]")) continue;
    for (const char* tag : {"[info] ", "[errore] "})
      if (line.starts_with(tag)) line.erase(0, std::strlen(tag));
    lines.push_back(line);
  }
  return lines;
}

TEST_F(DriverRun, PrintsEveryLineAndAppendsThemToTheLogFileInWindows1252) {
  std::string log = dir_.File("run.log");
  tarvo::WriteFileBytes(log, "giorno prima\n");
  ProcessResult r = Host(RunArgs({"--batch", "--log-file", log}));
  EXPECT_EQ(r.exit_code, 0) << r.out << r.err;
  EXPECT_EQ(r.err, "");
  EXPECT_TRUE(Contains(r.out, "[info] -- Trasferimento record n° 1\n")) << r.out;  // no terminal: every row
  EXPECT_TRUE(std::filesystem::exists(out_ + "/006_ARTICOLO.xml"));
  std::vector<std::string> printed = ProcedureLines(r.out);
  CString bytes = tarvo::ReadFileBytes(log);
  ASSERT_TRUE(bytes.starts_with("giorno prima\n"));
  EXPECT_TRUE(Contains(bytes, "-- Trasferimento record n\xB0 1\n"));
  EXPECT_EQ(ProcedureLines(tarvo::Cp1252ToUtf8(bytes.substr(13))), printed);
}

TEST_F(DriverRun, ErrorLinesGoToStderrOnlyAndTheResultSetsTheExitCode) {
  ProcessResult r = Host(RunArgs({"--src", "DRIVER={SQLite3};Database=/nonexistent/x/y.db", "--batch"}));
  EXPECT_EQ(r.exit_code, 1) << r.out << r.err;
  EXPECT_TRUE(Contains(r.err, "[errore] - Impossibile connettersi al database sorgente")) << r.err;
  EXPECT_FALSE(Contains(r.out, "Impossibile connettersi")) << r.out;
  EXPECT_TRUE(Contains(r.out, "ended with result 0")) << r.out;
}

TEST_F(DriverRun, CtrlCStopsALongRunAtTheNextRow) {
  Execute(db_,
          "INSERT INTO ARTICOLO (ID, DESCRIZIONE, ID_UNITA_MISURA, CODICE_IVA, ID_CATEGORIA, ID_FAMIGLIA, "
          "ID_GRUPPO, PREZZO) WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 50000) "
          "SELECT printf('Z%07d', i), 'Articolo ' || i, a.ID_UNITA_MISURA, a.CODICE_IVA, a.ID_CATEGORIA, "
          "a.ID_FAMIGLIA, a.ID_GRUPPO, a.PREZZO FROM n, (SELECT * FROM ARTICOLO LIMIT 1) a");
  std::vector<std::string> args = RunArgs({"--batch"});
  args.insert(args.begin(), TARVO_HOST_EXE);
  Subprocess child(args, {}, {}, {{"TARVO_EXCHANGE_CONFIG", ""}});
  ASSERT_TRUE(child.WaitForOutput(
      [](const std::string& out, const std::string&) { return Contains(out, "Trasferimento record n° 2\n"); }));
  auto signalled = std::chrono::steady_clock::now();
  child.Signal(SIGINT);
  ProcessResult r = child.Finish();
  EXPECT_LT(std::chrono::steady_clock::now() - signalled, 20s);
  EXPECT_EQ(r.exit_code, 1) << r.out << r.err;  // the procedure's result 0
  EXPECT_TRUE(Contains(r.out, "stop requested")) << r.out;
  EXPECT_TRUE(Contains(r.err, "[errore] Operazione interrotta dall'utente.")) << r.err;
  EXPECT_FALSE(Contains(r.out, "Trasferimento record n° 50030\n"));
}

}  // namespace
