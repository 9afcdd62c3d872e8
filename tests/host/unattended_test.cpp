// tarvo-exchange as a scheduler runs it, in child processes: the run lock between two runs of a
// procedure, the JSON summary checked against contrib/run-summary.schema.json, the dry run that
// leaves both databases as they were, and the systemd units' command line.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

#include <nlohmann/json.hpp>

#include "support/query_rows.h"
#include "support/subprocess.h"
#include "support/test_db.h"

namespace {
using namespace tarvo::test;
using testing::HasSubstr;
using Args = std::vector<std::string>;

const std::string kContrib = std::string(TARVO_SOURCE_DIR) + "/contrib";

nlohmann::json ReadJson(const std::string& path) { return nlohmann::json::parse(ReadText(path)); }

// Checks a summary against the schema that README documents; the problems, or "" when valid.
std::string SchemaProblems(const std::string& summary) {
  ProcessResult r = RunProcess({"/usr/bin/python3", "-c",
                                "import json, sys, jsonschema\n"
                                "jsonschema.validate(json.load(open(sys.argv[1])), json.load(open(sys.argv[2])))",
                                summary, kContrib + "/run-summary.schema.json"});
  return r.exit_code == 0 ? "" : r.err;
}

// Every row of every table, sorted: a database's whole content as text.
std::vector<std::string> Content(ScratchDatabase& db) {
  const std::string tables = db.Kind() == DbKind::kSQLite
                                 ? "SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name"
                                 : "SELECT table_name FROM information_schema.tables "
                                   "WHERE table_schema = current_schema() ORDER BY table_name";
  std::vector<std::string> content;
  for (std::string table : QueryRows(db.Db(), tables)) {
    table.pop_back();  // the "|" after the value
    std::vector<std::string> rows = QueryRows(db.Db(), "SELECT * FROM " + table);
    std::sort(rows.begin(), rows.end());
    for (const std::string& row : rows) content.push_back(table + ": " + row);
  }
  return content;
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// A TCP port that takes connections and never says a word: a web server on which a transfer
// hangs, so that a run keeps its lock until it is stopped or killed.
class SilentServer {
 public:
  SilentServer() {
    fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof a;
    if (::bind(fd_, reinterpret_cast<sockaddr*>(&a), len) || ::listen(fd_, 8) ||
        ::getsockname(fd_, reinterpret_cast<sockaddr*>(&a), &len))
      throw std::runtime_error("cannot listen");
    port_ = ntohs(a.sin_port);
  }
  ~SilentServer() {
    for (int c : clients_) ::close(c);
    ::close(fd_);
  }
  std::string Address() const { return "127.0.0.1:" + std::to_string(port_); }
  // Waits for a client to connect; true when one did within 30 s.
  bool AwaitClient() {
    pollfd p{fd_, POLLIN, 0};
    if (::poll(&p, 1, 30000) != 1) return false;
    clients_.push_back(::accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC));
    return clients_.back() >= 0;
  }

 private:
  int fd_ = -1;
  int port_ = 0;
  std::vector<int> clients_;
};

class Unattended : public DbTest {
 protected:
  // A company database with the procedure table, the demo data and the rows the tests run.
  ScratchDatabase& NewCompany(bool demo) {
    ScratchDatabase& db = NewDatabase();
    db.LoadSchema("esportazione.sql");
    db.LoadSchema("company.sql");
    if (demo) db.LoadSchema("demo/demo.sql");
    db.Execute("INSERT INTO ESPORTAZIONE (NUMERO, DESCRIZIONE, TIPO, PARAMETRI, PARSER) VALUES "
               "(1002, 'Esportazione articoli', 'custom', '', 'parserarticoli'), "
               "(1004, 'Esportazione ordini', 'custom', '', ''), (1008, 'Esportazione Solvar', 'custom', '', ''), "
               "(5, 'Scaricamento foto', 'custom', '', ''), "
               "(9001, 'Esportazione con driver', 'xmlexport', 'DRVFILE=articoli.xml', '')");
    return db;
  }
  // A run of the photo download (5) from `server`, the procedure that can be made to hang.
  Args Download(const std::string& db, const std::string& server, Args extra) {
    Args args = {TARVO_HOST_EXE, "run", "5", "--db", db, "--http-server", "http://" + server, "--http-url", "/foto.php",
                 "--out-dir", dir_.Path(), "--batch"};
    args.insert(args.end(), extra.begin(), extra.end());
    return args;
  }
  TempDir dir_;
};

TEST_P(Unattended, SecondRunIsRefusedOrWaitsAndAKilledHolderLeavesNoLock) {
  const std::string db = NewCompany(false).Config();
  SilentServer server;
  Subprocess holder(Download(db, server.Address(), {}));
  ASSERT_TRUE(server.AwaitClient()) << "the first run never reached its transfer";

  // The same SQLite file named by a connection string is the same destination.
  const std::string same = GetParam() == DbKind::kSQLite ? "DRIVER=SQLite3;Database=" + db : db;
  const std::string refused_summary = dir_.File("refused.json");
  ProcessResult refused = RunProcess(Download(same, server.Address(), {"--summary", refused_summary}));
  EXPECT_EQ(refused.exit_code, 75);
  EXPECT_THAT(refused.err, HasSubstr("procedure 5 is already running against"));
  EXPECT_THAT(refused.err, HasSubstr("pid " + std::to_string(holder.Pid()) + " on host"));
  EXPECT_EQ(SchemaProblems(refused_summary), "");
  EXPECT_EQ(ReadJson(refused_summary)["outcome"], "locked");

  // A run asked to wait starts once the holder is gone, even one killed without a word. Its own
  // transfer then fails at once: nobody listens on port 1.
  Subprocess waiter(Download(db, "127.0.0.1:1", {"--lock-wait", "60"}));
  ASSERT_TRUE(waiter.WaitForOutput([](const std::string& out, const std::string&) {
    return out.find("waiting up to 60 s") != std::string::npos;
  }));
  holder.Signal(SIGKILL);
  EXPECT_EQ(holder.Finish().exit_code, 128 + SIGKILL);
  ProcessResult waited = waiter.Finish();
  EXPECT_EQ(waited.exit_code, 1) << waited.err;
  EXPECT_THAT(waited.err, testing::Not(HasSubstr("already running")));
}

// The summaries of a stopped, a failed and a successful run, each against the schema.
TEST_P(Unattended, SummaryOfEveryEndFollowsTheSchema) {
  ScratchDatabase& company = NewCompany(true);
  const std::string db = company.Config();
  SilentServer server;
  const std::string stopped = dir_.File("stopped.json");
  Subprocess run(Download(db, server.Address(), {"--summary", stopped}));
  ASSERT_TRUE(server.AwaitClient());
  run.Signal(SIGTERM);
  EXPECT_EQ(run.Finish().exit_code, 1);

  const std::string failed = dir_.File("failed.json");  // a destination that cannot be opened
  EXPECT_EQ(RunProcess({TARVO_HOST_EXE, "run", "1002", "--db", db, "--dest", "/nonexistent/web.db", "--batch", "--choice", "3",
                        "--summary", failed}).exit_code, 1);

  const std::string done = dir_.File("done.json");
  const std::string web2 = NewCompany(false).Config();
  ProcessResult ok = RunProcess({TARVO_HOST_EXE, "run", "1002", "--db", db, "--dest", web2, "--batch", "--choice",
                                 "3", "--summary", done});
  EXPECT_EQ(ok.exit_code, 0) << ok.err;

  for (const std::string& summary : {stopped, failed, done}) EXPECT_EQ(SchemaProblems(summary), "") << summary;
  nlohmann::json s = ReadJson(stopped), f = ReadJson(failed), d = ReadJson(done);
  EXPECT_EQ(s["outcome"], "stopped");
  EXPECT_EQ(s["result"], 0);
  EXPECT_EQ(s["procedure"]["class"], "CTarvoHttpDownload");
  EXPECT_EQ(f["outcome"], "failed");
  EXPECT_EQ(f["exit_code"], 1);
  EXPECT_FALSE(f["errors"].empty());
  EXPECT_EQ(d["outcome"], "done");
  EXPECT_EQ(d["procedure"]["number"], 1002);
  EXPECT_GT(d["lines"]["info"].get<int>(), 0);
  const long articles = std::stol(QueryRow(company.Db(), "SELECT COUNT(*) FROM ARTICOLO"));
  EXPECT_EQ(d["tables"]["ARTICOLO"]["inserted"], articles);
  EXPECT_EQ(d["tables"]["ARTICOLO"]["read"], articles);
}

struct DryRunCase {
  const char* name;
  Args options;  // after NUMBER --db SOURCE --src SOURCE --dest DESTINATION
};

class DryRun : public Unattended {};

// A dry run logs what the real run logs, and leaves both databases as they were; the real run
// after it then changes the destination.
TEST_P(DryRun, LeavesBothDatabasesAsTheyWereAndLogsWhatTheRealRunLogs) {
  const DryRunCase cases[] = {
      {"articles", {"1002", "--choice", "2"}},
      {"orders of the agent", {"1004", "--agent-id", "3"}},
  };
  for (const DryRunCase& c : cases) {
    SCOPED_TRACE(c.name);
    ScratchDatabase& source = NewCompany(true);
    ScratchDatabase& destination = NewCompany(false);
    auto run = [&](const std::string& log, Args extra) {
      Args args = {TARVO_HOST_EXE, "run", c.options[0], "--db", source.Config(), "--dest", destination.Config(),
                   "--batch", "--log-file", log};
      args.insert(args.end(), c.options.begin() + 1, c.options.end());
      args.insert(args.end(), extra.begin(), extra.end());
      return RunProcess(args);
    };
    const std::vector<std::string> source_before = Content(source), destination_before = Content(destination);
    const std::string summary = dir_.File("dry.json"), settings = dir_.File("dry-settings.ini");
    ProcessResult dry = run(dir_.File(std::string(c.name) + "-dry.log"),
                            {"--dry-run", "--summary", summary, "--settings", settings});
    EXPECT_EQ(dry.exit_code, 0) << dry.err;
    EXPECT_EQ(Content(source), source_before);
    EXPECT_EQ(Content(destination), destination_before);
    EXPECT_FALSE(std::filesystem::exists(settings)) << "the dialog's choice was remembered";

    ProcessResult real = run(dir_.File(std::string(c.name) + "-real.log"), {"--settings", dir_.File("real-settings.ini")});
    EXPECT_EQ(real.exit_code, 0) << real.err;
    EXPECT_NE(Content(destination), destination_before) << "the real run changed nothing: the test proves nothing";
    std::vector<std::string> dry_log = Lines(ReadText(dir_.File(std::string(c.name) + "-dry.log")));
    ASSERT_FALSE(dry_log.empty());
    EXPECT_EQ(dry_log.back(), "Prova a vuoto: tutte le transazioni sono state annullate, nessuna modifica salvata.");
    dry_log.pop_back();
    EXPECT_EQ(dry_log, Lines(ReadText(dir_.File(std::string(c.name) + "-real.log"))));

    nlohmann::json s = ReadJson(summary);
    EXPECT_EQ(s["dry_run"], true);
    EXPECT_TRUE(s["scratch_folder"].is_null());  // a database exchange writes no file
    EXPECT_FALSE(s["tables"].empty());
  }
}

TEST_P(DryRun, FilesGoToTheScratchFolderAndTransfersAreRefused) {
  const std::string db = NewCompany(true).Config();
  const std::string out = dir_.File("out"), summary = dir_.File("files.json");
  std::filesystem::create_directory(out);
  ProcessResult r = RunProcess({TARVO_HOST_EXE, "run", "1008", "--db", db, "--out-dir", out, "--batch", "--dry-run",
                                "--summary", summary});
  EXPECT_EQ(r.exit_code, 0) << r.err;
  EXPECT_TRUE(std::filesystem::is_empty(out));
  nlohmann::json s = ReadJson(summary);
  ASSERT_TRUE(s["scratch_folder"].is_string());
  const std::string scratch = s["scratch_folder"];
  ASSERT_FALSE(s["files"].empty());
  for (const auto& f : s["files"]) {
    EXPECT_EQ(f["path"].get<std::string>().rfind(scratch + "/", 0), 0u) << f["path"];
    EXPECT_EQ(f["size"], std::filesystem::file_size(f["path"].get<std::string>()));
  }
  EXPECT_THAT(r.out, HasSubstr("Prova a vuoto: file scritti nella cartella " + scratch));
  std::filesystem::remove_all(scratch);

  // Refused: a transfer, and a driver file (a number of the procedure table, not a known class).
  const struct {
    const char* number;
    const char* refusal;
  } refused[] = {{"1005", "(CTarvoHttpUpload) transfers files over HTTP or FTP"},
                 {"9001", "(CTarvoExchangeXML) runs a driver file"}};
  for (const auto& c : refused) {
    ProcessResult attempt = RunProcess({TARVO_HOST_EXE, "run", c.number, "--db", db, "--in-dir", out, "--batch", "--dry-run"});
    EXPECT_EQ(attempt.exit_code, 64) << c.number;
    EXPECT_THAT(attempt.err, HasSubstr(c.refusal));
  }
  EXPECT_TRUE(std::filesystem::is_empty(out));
}

INSTANTIATE_TEST_SUITE_P(Drivers, Unattended, testing::ValuesIn(AllDbKinds()), DbKindName);
INSTANTIATE_TEST_SUITE_P(Drivers, DryRun, testing::ValuesIn(AllDbKinds()), DbKindName);

// The service's command line as systemd runs it: no terminal, no environment but the unit's, the
// paths of the unit moved below a temporary root.
TEST(SystemdUnits, TheServicesCommandLineRunsWithOnlyTheUnitsEnvironment) {
  TempDir root;
  auto rooted = [&](std::string text) {
    text = std::regex_replace(text, std::regex("/usr/local/bin/tarvo-exchange"), TARVO_HOST_EXE);
    return std::regex_replace(text, std::regex("(/etc|/var/lib|/var/log)/tarvo-exchange"), root.Path() + "$1/tarvo-exchange");
  };
  for (const char* dir : {"/etc", "/var/lib", "/var/log"})
    std::filesystem::create_directories(root.Path() + dir + "/tarvo-exchange");
  for (const char* name : {"articoli.ini", "ordini.ini"})
    std::ofstream(root.Path() + "/etc/tarvo-exchange/" + name) << rooted(ReadText(kContrib + "/etc/" + name));
  const std::string lib = root.Path() + "/var/lib/tarvo-exchange";
  ASSERT_EQ(RunProcess({TARVO_HOST_EXE, "init", "--db", lib + "/company.db", "--demo"}).exit_code, 0);
  ASSERT_EQ(RunProcess({TARVO_HOST_EXE, "init", "--db", lib + "/web.db"}).exit_code, 0);

  for (const char* unit : {"tarvo-exchange-articoli", "tarvo-exchange-ordini"}) {
    SCOPED_TRACE(unit);
    Args command = {"/usr/bin/env", "-i"};
    std::string exec, workdir;
    for (const std::string& line : Lines(rooted(ReadText(kContrib + "/systemd/" + unit + ".service")))) {
      if (line.starts_with("Environment=")) command.push_back(line.substr(12));
      if (line.starts_with("WorkingDirectory=")) workdir = line.substr(17);
      if (line.starts_with("ExecStart=")) exec = line.substr(10);
    }
    std::istringstream words(exec);
    for (std::string word; words >> word;) command.push_back(word);
    ProcessResult r = RunProcess(command, "", workdir);
    EXPECT_EQ(r.exit_code, 0) << r.out << r.err;
    const std::string summary = std::regex_replace(exec, std::regex(".*--summary ([^ ]+).*"), "$1");
    EXPECT_EQ(SchemaProblems(summary), "");
    EXPECT_EQ(ReadJson(summary)["outcome"], "done");
    const std::string log = std::regex_replace(exec, std::regex(".*--log-file ([^ ]+).*"), "$1");
    EXPECT_FALSE(ReadText(log).empty());
  }
}

}  // namespace
