// The run loop in-process, with procedures written here: how lines, questions, the log file and
// Ctrl-C reach the terminal while a procedure runs on its worker thread.
#include <gtest/gtest.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <thread>

#include "host/cli.h"
#include "host/console.h"
#include "host/run_command.h"
#include "host/stop_signals.h"
#include "host/terminal_ui.h"
#include "platform/files.h"
#include "platform/host_ui.h"
#include "platform/settings.h"
#include "support/test_db.h"

namespace {
using tarvo::W;
using namespace std::chrono_literals;

// A procedure whose work is a function of the test.
class ScriptedProcedure : public CTarvoImport {
 public:
  explicit ScriptedProcedure(std::function<int(ScriptedProcedure&)> body) : body_(std::move(body)) {}
  int Run() override {
    int result = body_(*this);
    NotifyFinished(result == 1 ? 1 : 0);
    return result;
  }

 private:
  std::function<int(ScriptedProcedure&)> body_;
};

// Runs scripted procedures the way the run command does: the terminal UI installed, on a console
// whose streams are temporary files.
class Session {
 public:
  explicit Session(bool terminal = false, const std::string& input = {}, bool colour = false, bool batch = false)
      : out_(std::tmpfile()), err_(std::tmpfile()), in_(std::tmpfile()),
        console_({out_, err_, in_, terminal, terminal, terminal, colour}), ui_(console_, batch) {
    std::fputs(input.c_str(), in_);
    std::rewind(in_);
    SetHostUI(&ui_);
    ui_.Attach(&window_);
  }
  ~Session() {
    ui_.Attach(nullptr);
    SetHostUI(nullptr);
    for (std::FILE* f : {out_, err_, in_}) std::fclose(f);
  }
  int Run(std::function<int(ScriptedProcedure&)> body, CStdioFile* log = nullptr) {
    ScriptedProcedure p(std::move(body));
    p.SetParentWnd(&window_);
    p.SetEventStop(stop_);
    p.SetLogFile(log);
    return RunOnWorker(p, window_, stop_, console_);
  }
  TerminalUI& UI() { return ui_; }
  std::string Out() { return Read(out_); }
  std::string Err() { return Read(err_); }

 private:
  static std::string Read(std::FILE* f) {
    std::fflush(f);
    std::string text;
    std::rewind(f);
    for (int c; (c = std::fgetc(f)) != EOF;) text += static_cast<char>(c);
    return text;
  }
  std::FILE* out_;
  std::FILE* err_;
  std::FILE* in_;
  StopSignals signals_;
  Console console_;
  TerminalUI ui_;
  CWnd window_;
  CEvent stop_;
};

bool Contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

// --- where the lines go: stdout, stderr and the log file ----------------------------------------
struct OutputCase {
  const char* what;
  bool terminal, colour;
  std::vector<std::pair<const char*, EThreadMessageStatus>> lines;  // UTF-8 text, status
  std::string out, err, log;                         // terminal in UTF-8, log file in Windows-1252
};

class RunOutput : public testing::TestWithParam<OutputCase> {};

TEST_P(RunOutput, ReachesTheTerminalStreamsAndIsAppendedToTheLogFile) {
  const OutputCase& c = GetParam();
  SCOPED_TRACE(c.what);
  tarvo::test::TempDir dir;
  tarvo::WriteFileBytes(dir.File("run.log"), "riga precedente\n");
  Session s(c.terminal, "", c.colour);
  {
    CStdioFile log(dir.File("run.log"), CStdioFile::Mode::kAppend);
    EXPECT_EQ(s.Run([&](ScriptedProcedure& self) {
      for (const auto& [text, status] : c.lines) self.Log(W(text), status);
      return 1;
    }, &log), 1);
  }
  EXPECT_EQ(s.Out(), c.out);
  EXPECT_EQ(s.Err(), c.err);
  EXPECT_EQ(tarvo::ReadFileBytes(dir.File("run.log")), "riga precedente\n" + c.log);
}

const std::vector<std::pair<const char*, EThreadMessageStatus>> kRowLines = {{"-- Trasferimento record n° 1", TMS_INFO},
                                                            {"-- Trasferimento record n° 2", TMS_INFO},
                                                            {"Fine esportazione", TMS_NONE}};

INSTANTIATE_TEST_SUITE_P(
    Host, RunOutput,
    testing::Values(
        OutputCase{"errors marked on stderr, the rest on stdout", false, false,
                   {{"Database sorgente aperto.", TMS_INFO}, {"Inizio esportazione dati", TMS_NONE},
                    {"- Impossibile aprire il file", TMS_ERROR}},
                   "[info] Database sorgente aperto.\nInizio esportazione dati\n",
                   "[errore] - Impossibile aprire il file\n",
                   "Database sorgente aperto.\nInizio esportazione dati\n- Impossibile aprire il file\n"},
        OutputCase{"UTF-8 on the terminal, Windows-1252 in the file", false, false,
                   {{"Quantità: 3 unità", TMS_NONE}, {"- Articolo è già presente", TMS_ERROR}},
                   "Quantità: 3 unità\n", "[errore] - Articolo è già presente\n",
                   "Quantit\xE0: 3 unit\xE0\n- Articolo \xE8 gi\xE0 presente\n"},
        OutputCase{"row lines rewrite one progress line on a terminal", true, false, kRowLines,
                   "\r-- Trasferimento record n° 1\x1b[K\r-- Trasferimento record n° 2\x1b[K\nFine esportazione\n", "",
                   "-- Trasferimento record n\xB0 1\n-- Trasferimento record n\xB0 2\nFine esportazione\n"},
        OutputCase{"row lines scroll on a pipe", false, false, kRowLines,
                   "[info] -- Trasferimento record n° 1\n[info] -- Trasferimento record n° 2\nFine esportazione\n", "",
                   "-- Trasferimento record n\xB0 1\n-- Trasferimento record n\xB0 2\nFine esportazione\n"},
        OutputCase{"colour on a terminal", true, true, {{"- Errore", TMS_ERROR}}, "",
                   "\x1b[1;31m[errore]\x1b[0m - Errore\n", "- Errore\n"},
        OutputCase{"no colour on a pipe", false, true, {{"- Errore", TMS_ERROR}}, "", "[errore] - Errore\n",
                   "- Errore\n"}));

TEST(RunResult, AnExceptionOrADatabaseErrorLeavingTheProcedureIsAFailedRun) {
  Session s;
  EXPECT_EQ(s.Run([](ScriptedProcedure&) -> int { throw std::runtime_error("guasto"); }), 0);
  EXPECT_TRUE(Contains(s.Err(), "guasto"));
  EXPECT_EQ(s.Run([](ScriptedProcedure&) -> int { throw CDBException(-1, "23505", 7, W("chiave già presente")); }), 0);
  EXPECT_TRUE(Contains(s.Err(), "database error: chiave già presente")) << s.Err();
}

// --- questions, message boxes and parameter dialogs -------------------------------------------

TEST(HostQuestions, WithoutAnAnswerableTerminalTheDefaultIsTakenAndSaidSo) {
  for (bool batch : {true, false}) {
    Session s(/*terminal=*/batch, "s\nn\n", false, batch);  // answers that must not be read
    std::vector<bool> answers;
    EXPECT_EQ(s.Run([&](ScriptedProcedure&) {
      answers = {AfxAskYesNo(W("Sovrascrivere il file?"), false), AfxAskYesNo("Continuare?", true)};
      return 1;
    }), 1);
    EXPECT_EQ(answers, (std::vector<bool>{false, true}));
    const std::string reason = batch ? "batch mode)" : "no terminal)", out = s.Out();
    EXPECT_TRUE(Contains(out, "question: Sovrascrivere il file? -> no (default answer, " + reason)) << out;
    EXPECT_TRUE(Contains(out, "question: Continuare? -> yes (default answer, " + reason)) << out;
  }
}

TEST(HostQuestions, OnATerminalTheAnswerIsReadAndRepeatedUntilUnderstood) {
  Session s(true, "forse\nno\n\n");
  std::vector<bool> answers;
  s.Run([&](ScriptedProcedure&) {
    answers.push_back(AfxAskYesNo("Primo?", true));   // "forse", then "no"
    answers.push_back(AfxAskYesNo("Secondo?", true));  // empty line: the default
    answers.push_back(AfxAskYesNo("Terzo?", false));   // end of input: the default
    return 1;
  });
  EXPECT_EQ(answers, (std::vector<bool>{false, true, false}));
  EXPECT_TRUE(Contains(s.Out(), "question: Primo? [S/n] question: Primo? [S/n] ")) << s.Out();
}

TEST(HostQuestions, BoxesAndQuestionsKeepTheirPlaceAmongTheLinesAndErrorBoxesGoToStderr) {
  Session s;
  s.Run([](ScriptedProcedure& self) {
    self.Log("prima", TMS_NONE);
    AfxMessageBox("Attenzione", MB_ICONINFORMATION);
    AfxAskYesNo("Domanda?", true);
    AfxMessageBox(W("Impossibile proseguire: è già in uso"), MB_ICONEXCLAMATION);
    self.Log("dopo", TMS_NONE);
    return 1;
  });
  std::string out = s.Out();
  size_t before = out.find("prima"), box = out.find("message: Attenzione"), question = out.find("Domanda?"),
         after = out.find("dopo");
  ASSERT_NE(box, std::string::npos);
  EXPECT_LT(before, box);
  EXPECT_LT(box, question);
  EXPECT_LT(question, after);
  EXPECT_TRUE(Contains(s.Err(), "message: Impossibile proseguire: è già in uso"));
  EXPECT_FALSE(Contains(out, "Impossibile"));
}

class ParameterDialog : public testing::Test {
 protected:
  bool Edit(Session& s) {
    std::vector<HostParam> params = {{"anno", "Anno", "string", false, &anno},
                                     {"codice", W("Codice attività"), "string", true, &codice},
                                     {"note", "", "string", false, &note}};
    return s.UI().EditParameters("Esportazione", params);
  }
  CString anno = "2026", codice, note = "x";
};

TEST_F(ParameterDialog, BatchKeepsTheValues) {
  Session s(true, "2020\nZ\n\n", false, /*batch=*/true);
  EXPECT_TRUE(Edit(s));
  EXPECT_EQ(anno, "2026");
  EXPECT_EQ(codice, "");
  EXPECT_TRUE(Contains(s.Out(), "parameters: Esportazione (values kept, batch mode)"));
}

TEST_F(ParameterDialog, TerminalEditsEachValueAndInsistsOnMandatoryOnes) {
  Session s(true, "\n\nattività 7\nnuova\n");
  EXPECT_TRUE(Edit(s));
  EXPECT_EQ(anno, "2026");  // Enter keeps the value
  EXPECT_EQ(codice, W("attività 7"));
  EXPECT_EQ(note, "nuova");
  EXPECT_TRUE(Contains(s.Err(), "Codice attività is required"));
  EXPECT_TRUE(Contains(s.Out(), "  note [x]: "));  // no label: the name is asked
}

TEST_F(ParameterDialog, EndOfInputCancels) {
  Session s(true, "2020\n");
  EXPECT_FALSE(Edit(s));
}

// --- Ctrl-C ------------------------------------------------------------------------------------

TEST(StopSignal, FirstSignalSetsTheStopEventAndASecondSaysItIsAlreadyStopping) {
  Session s;
  std::atomic<bool> running{false}, stopping{false};
  std::thread user([&] {
    while (!running) std::this_thread::sleep_for(5ms);
    ::kill(::getpid(), SIGINT);
    while (!stopping) std::this_thread::sleep_for(5ms);
    ::kill(::getpid(), SIGINT);
  });
  int result = s.Run([&](ScriptedProcedure& self) {
    running = true;
    auto give_up = std::chrono::steady_clock::now() + 30s;
    while (!self.CtrlEventStop()) {
      if (std::chrono::steady_clock::now() > give_up) return 1;
      std::this_thread::sleep_for(5ms);
    }
    stopping = true;
    std::this_thread::sleep_for(400ms);  // the rest of the unit of work
    self.Log("Esportazione interrotta.", TMS_NONE);
    return 0;
  });
  user.join();
  EXPECT_EQ(result, 0);
  EXPECT_EQ(ExitCodeForResult(result), 1);
  std::string out = s.Out();
  EXPECT_TRUE(Contains(out, "stop requested")) << out;
  EXPECT_TRUE(Contains(out, "already stopping")) << out;
  EXPECT_LT(out.find("already stopping"), out.find("Esportazione interrotta."));
  EXPECT_EQ(s.Err(), "[errore] Operazione interrotta dall'utente.\n");
}

// --- settings handed to the procedure ----------------------------------------------------------

TEST(RunSettings, OptionsReachTheProcedureAndTheHostSettings) {
  RunOptions o;
  o.db = "company.db";
  o.dest = "DSN=web";
  o.in_dir = "./in";
  o.out_dir = "/srv/out";
  o.http_user = "agente";
  o.ftp_folder = "foto";
  o.params = {"DATA=2026-01-01", "descr=più bella", "vuoto="};
  o.batch = true;
  o.root_dir = "/opt/tarvo/";
  o.agent_id = 7;
  o.precision_prices = "4";
  CUserAdministrator::SetCurrentUser(1, 2, 3);
  ApplyHostSettings(o);
  ScriptedProcedure p([](ScriptedProcedure&) { return 1; });
  ConfigureProcedure(p, o);

  // A driver may change the current folder: relative files and folders are made absolute.
  std::string here = std::filesystem::current_path().string();
  EXPECT_EQ(p.GetSrcConfig(), here + "/company.db");  // defaults to --db
  EXPECT_EQ(p.GetDestConfig(), "DSN=web");
  EXPECT_EQ(p.GetInDir(), here + "/in");
  EXPECT_EQ(p.GetOutDir(), "/srv/out");
  EXPECT_EQ(p.GetHttpUID(), "agente");
  EXPECT_EQ(p.GetFtpFolder(), "foto");
  EXPECT_FALSE(p.IsVerbose());
  using Param = std::pair<const char*, CString>;
  for (const auto& [name, expected] : {Param{"DATA", "2026-01-01"}, Param{"descr", W("più bella")}, Param{"vuoto", ""}}) {
    CString value = "?";
    EXPECT_TRUE(p.GetFilterParam(name, value)) << name;
    EXPECT_EQ(value, expected) << name;
  }
  EXPECT_EQ(CRegistryAdministrator::GetApplicationSetting("RootDirectory"), "/opt/tarvo/");
  EXPECT_EQ(CUserAdministrator::GetIDREFERENCE(), 7);
  EXPECT_EQ(CUserAdministrator::GetIDSOCIETA(), 2);  // not given: unchanged
  EXPECT_EQ(CConfigAdministrator::GetKey("precisione/prezzi"), "4");
  CConfigAdministrator::Clear();
}

TEST(RunSettings, DatabasePasswordIsAddedToConnectionStringsWithoutOne) {
  const std::pair<const char*, const char*> cases[] = {
      {"DSN=ditta", "DSN=ditta;PWD={se;gr}}eta}"},
      {"DSN=ditta;", "DSN=ditta;PWD={se;gr}}eta}"},
      {"DSN=ditta;pwd=altra", "DSN=ditta;pwd=altra"},  // its own password wins
      {"/srv/company.db", "/srv/company.db"},            // a SQLite file has none
  };
  for (const auto& [config, expected] : cases) EXPECT_EQ(WithPassword(config, "se;gr}eta"), expected) << config;
  EXPECT_EQ(WithPassword("DSN=ditta", ""), "DSN=ditta");
}

TEST(RunSettings, PasswordArgumentsAreBlankedOnceParsed) {
  std::vector<std::string> args = {"tarvo-exchange", "run", "7", "--db-password", "segreta", "--http-password=p@ss",
                                   "--ftp-user", "mario", "--param", "password=x"};
  std::vector<char*> argv;
  for (std::string& a : args) argv.push_back(a.data());
  HidePasswordArguments(static_cast<int>(argv.size()), argv.data());
  EXPECT_EQ(args, (std::vector<std::string>{"tarvo-exchange", "run", "7", "--db-password", "*******",
                                            "--http-password=****", "--ftp-user", "mario", "--param", "password=x"}));
}

}  // namespace
