// The article dialog of `tarvo-exchange run 1002` as operators meet it: worked by a person on a
// terminal (driven through tmux), or chosen on the command line and from the stored setting.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <thread>

#include "platform/files.h"
#include "platform/odbc.h"
#include "support/subprocess.h"
#include "support/test_db.h"

namespace {
using tarvo::test::ProcessResult;
using tarvo::test::RunProcess;
using tarvo::test::TempDir;
using namespace std::chrono_literals;
namespace fs = std::filesystem;

bool Contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

// One column of a query on a SQLite file, joined with blanks.
std::string Column(const std::string& db_path, const std::string& sql) {
  CDatabase db;
  db.OpenEx(db_path);
  CODBCRecordset rs(&db);
  rs.Open(sql);
  std::string values;
  for (; !rs.IsEOF(); rs.MoveNext()) values += (values.empty() ? "" : " ") + rs.Field(0).AsString();
  return values;
}

// A demo source, a fresh empty destination per run and a settings file of its own.
class ArticleRun : public testing::Test {
 protected:
  void SetUp() override {
    ProcessResult r = RunProcess({TARVO_HOST_EXE, "init", "--db", source_, "--demo"});
    ASSERT_EQ(r.exit_code, 0) << r.err;
  }
  // A new destination made by init (procedure table and empty company tables).
  std::string NewDestination() {
    std::string path = dir_.File("dest" + std::to_string(++destinations_) + ".db");
    ProcessResult r = RunProcess({TARVO_HOST_EXE, "init", "--db", path});
    EXPECT_EQ(r.exit_code, 0) << r.err;
    return path;
  }
  std::vector<std::string> RunArgs(const std::string& destination) const {
    return {TARVO_HOST_EXE, "run", "1002", "--db", source_, "--dest", destination, "--settings", settings_};
  }
  std::string SourceArticlesOf(const std::string& categories) const {
    return Column(source_, "SELECT ID FROM ARTICOLO WHERE ID_CATEGORIA IN (" + categories + ") ORDER BY ID");
  }
  static std::string Articles(const std::string& db) { return Column(db, "SELECT ID FROM ARTICOLO ORDER BY ID"); }
  std::string Stored() const {
    CString text = tarvo::FileExists(settings_) ? tarvo::ReadFileBytes(settings_) : CString();
    const std::string key = "[CDlgParserEsportazioneArticolo]\nTipoArticoli = ";
    size_t at = text.find(key);
    return at == CString::npos ? "<none>" : text.substr(at + key.size(), 1);
  }

  TempDir dir_;
  std::string source_ = dir_.File("company.db");
  std::string settings_ = dir_.File("config/settings.ini");
  int destinations_ = 0;
};

// --- without a person --------------------------------------------------------------------------
TEST_F(ArticleRun, CommandLineChoicesGoThroughTheDialogsRulesAndTheStoredChoiceServesTheNextRun) {
  struct Step {
    std::vector<std::string> args;
    int exit_code;
    const char* categories;  // the articles expected on the destination; null: none
    const char* said;        // on stdout for a run, on stderr for a refusal
    const char* stored;
  };
  const Step steps[] = {
      {{"--category", "03", "--category", "02"}, 0, "'02','03'", "parametro = '02','03'", "0"},
      // The stored hand-picked choice, with nothing checked by hand, is refused.
      {{"--batch"}, 64, nullptr, "Selezionare almeno una categoria", "0"},
      {{"--choice", "1"}, 0, "'01','02','03'", "Articoli appartenenti alle categorie \"Pubblicate\"", "1"},
      {{"--choice", "3"}, 0, "'01','02','03','04','05'", "paramentro = ", "1"},
      {{"--batch"}, 0, "'01','02','03'", "parametro = '01','02','03'", "1"},
      {{"--category", "99"}, 64, nullptr, "no category \"99\"", "1"},
      {{"--choice", "3", "--category", "01"}, 64, nullptr, "takes no categories", "1"},
      {{"--choice", "4"}, 64, nullptr, "choices 0 to 3", "1"},
  };
  for (const Step& s : steps) {
    std::string destination = NewDestination();
    std::vector<std::string> args = RunArgs(destination);
    args.insert(args.end(), s.args.begin(), s.args.end());
    ProcessResult r = RunProcess(args);
    std::string step = s.args.empty() ? "" : s.args[0] + " " + s.args.back();
    EXPECT_EQ(r.exit_code, s.exit_code) << step << "\n" << r.out << r.err;
    EXPECT_TRUE(Contains(s.exit_code ? r.err : r.out, s.said)) << step << "\n" << r.out << r.err;
    EXPECT_EQ(Articles(destination), s.categories ? SourceArticlesOf(s.categories) : "") << step;
    EXPECT_EQ(Stored(), s.stored) << step;
  }
}

// --- a person at a terminal ------------------------------------------------------------------------
// tmux on a socket of the test's own, with one pane running the command.
class Tmux {
 public:
  Tmux(const std::string& exe, const std::string& dir) : exe_(exe), socket_(dir + "/tmux.sock") {}
  ~Tmux() { Call({"kill-server"}); }
  static std::string Find() {
    std::istringstream path(std::getenv("PATH") ? std::getenv("PATH") : "");
    for (std::string d; std::getline(path, d, ':');)
      if (!d.empty() && fs::exists(fs::path(d) / "tmux")) return (fs::path(d) / "tmux").string();
    return {};
  }
  ProcessResult Call(std::vector<std::string> args) {
    args.insert(args.begin(), {exe_, "-S", socket_, "-f", "/dev/null"});
    return RunProcess(args, {}, {}, {{"LANG", "C.UTF-8"}, {"TMUX", ""}, {"TARVO_EXCHANGE_CONFIG", ""}});
  }
  void Start(const std::string& command, int width, int height) {
    ProcessResult r = Call({"new-session", "-d", "-s", "t", "-x", std::to_string(width), "-y", std::to_string(height),
                            command});
    ASSERT_EQ(r.exit_code, 0) << r.err;
  }
  void Keys(const std::vector<std::string>& keys) {
    for (const std::string& k : keys) Call({"send-keys", "-t", "t", k});
  }
  std::string Screen() { return Call({"capture-pane", "-p", "-t", "t"}).out; }
  // Polls the screen until `done` holds; false (with the last screen in `last`) after 20 s.
  template <class F>
  bool WaitFor(F done, std::string* last = nullptr) {
    auto deadline = std::chrono::steady_clock::now() + 20s;
    std::string screen;
    while (std::chrono::steady_clock::now() < deadline) {
      screen = Screen();
      if (done(screen)) return true;
      std::this_thread::sleep_for(50ms);
    }
    if (last) *last = screen;
    return false;
  }

 private:
  std::string exe_, socket_;
};

size_t Count(const std::string& text, const std::string& part) {
  size_t n = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
  return n;
}

class TerminalDialog : public ArticleRun {
 protected:
  void SetUp() override {
    if (Tmux::Find().empty()) GTEST_SKIP() << "tmux is not installed";
    ArticleRun::SetUp();
    tmux_ = std::make_unique<Tmux>(Tmux::Find(), dir_.Path());
  }
  // Starts the run in the pane; its exit code lands in a file.
  void Start(const std::string& destination) {
    std::string command;
    for (const std::string& a : RunArgs(destination)) command += "'" + a + "' ";
    tmux_->Start(command + "; echo $? > '" + exit_file_ + "'; sleep 60", 100, 30);
  }
  // Waits for the screen to show `part` exactly `times` times.
  void Expect(const std::string& part, size_t times = 1) {
    std::string last;
    EXPECT_TRUE(tmux_->WaitFor([&](const std::string& s) { return Count(s, part) == times; }, &last))
        << "waiting for " << times << " x \"" << part << "\"\n" << last;
  }
  int ExitCode() {
    auto deadline = std::chrono::steady_clock::now() + 60s;
    while (!fs::exists(exit_file_) || tarvo::ReadFileBytes(exit_file_).empty()) {
      if (std::chrono::steady_clock::now() > deadline) return -1;
      std::this_thread::sleep_for(50ms);
    }
    return std::stoi(tarvo::ReadFileBytes(exit_file_));
  }

  std::unique_ptr<Tmux> tmux_;
  std::string exit_file_ = dir_.File("exit");
};

TEST_F(TerminalDialog, APersonSwitchesChoicesChecksTwoCategoriesResizesAndGetsExactlyTheirArticles) {
  std::string destination = NewDestination();
  Start(destination);
  Expect("Seleziona articoli ...");
  Expect("Tutti gli articoli");
  Expect("[ ] ", 5);
  tmux_->Keys({"Enter"});  // the choice box drops down
  Expect("Articoli appartenenti a tutte le categorie");
  tmux_->Keys({"Up", "Enter"});
  Expect("[x] ", 5);
  tmux_->Keys({"Left"});
  Expect("[x] ", 3);
  tmux_->Keys({"Left"});
  Expect("[ ] ", 5);
  // Down into the list (Alimentari, Bevande, Cartoleria e ufficio, Casalinghi, Igiene ...).
  tmux_->Keys({"Down", "Down", "Space", "Down", "Down", "Space"});
  Expect("[x] 02");
  Expect("[x] 03");
  Expect("[x] ", 2);

  tmux_->Call({"resize-window", "-t", "t", "-x", "60", "-y", "20"});
  std::string last;
  EXPECT_TRUE(tmux_->WaitFor(
      [](const std::string& s) {
        std::vector<std::string> lines;
        std::istringstream in(s);
        for (std::string l; std::getline(in, l);) lines.push_back(l);
        return lines.size() == 20 && Contains(lines[19], "Frecce") && Contains(s, "[x] 02") && Contains(s, "Annulla");
      },
      &last))
      << last;

  tmux_->Keys({"Enter"});
  EXPECT_EQ(ExitCode(), 0) << tmux_->Screen();
  EXPECT_EQ(Articles(destination), SourceArticlesOf("'02','03'"));
  EXPECT_EQ(Stored(), "0");
}

TEST_F(TerminalDialog, OKWithNothingCheckedKeepsTheDialogOpenAndAnnullaLeavesTheDestinationUntouched) {
  std::string destination = NewDestination();
  Start(destination);
  Expect("Seleziona articoli ...");
  tmux_->Keys({"Left", "Left", "Left"});
  Expect("Articoli appartenenti alle categoria selezionate");
  tmux_->Keys({"Tab", "Enter"});  // OK from the list
  Expect("Selezionare almeno una categoria");
  tmux_->Keys({"Enter"});
  Expect("Selezionare almeno una categoria", 0);
  tmux_->Keys({"Space"});
  Expect("[x] 01");
  tmux_->Keys({"Tab", "Tab", "Enter"});  // OK, Annulla
  EXPECT_EQ(ExitCode(), 1) << tmux_->Screen();
  EXPECT_EQ(Articles(destination), "");
  EXPECT_EQ(Column(destination, "SELECT COUNT(*) FROM CATEGORIA"), "0");
  EXPECT_EQ(Stored(), "<none>");
}
}  // namespace
