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

// A console on temporary files instead of the process's streams.
class CapturedConsole {
 public:
  explicit CapturedConsole(bool terminal, const std::string& input = {}, bool colour = false) {
    out_ = std::tmpfile();
    err_ = std::tmpfile();
    in_ = std::tmpfile();
    std::fputs(input.c_str(), in_);
    std::rewind(in_);
    Console::Streams s{out_, err_, in_, terminal, terminal, terminal, colour};
    console_ = std::make_unique<Console>(s);
  }
  ~CapturedConsole() {
    std::fclose(out_);
    std::fclose(err_);
    std::fclose(in_);
  }
  Console& Get() { return *console_; }
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
  std::unique_ptr<Console> console_;
};

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

// Runs `body` the way the run command does, with the terminal UI installed.
struct Harness {
  explicit Harness(CapturedConsole& c, bool batch = false) : signals(), ui(c.Get(), batch), console(c) {
    SetHostUI(&ui);
    ui.Attach(&window);
  }
  ~Harness() {
    ui.Attach(nullptr);
    SetHostUI(nullptr);
  }
  int Run(ScriptedProcedure& p, CStdioFile* log = nullptr) {
    p.SetParentWnd(&window);
    p.SetEventStop(stop);
    p.SetLogFile(log);
    return RunOnWorker(p, window, stop, console.Get());
  }
  StopSignals signals;
  TerminalUI ui;
  CapturedConsole& console;
  CWnd window;
  CEvent stop;
};

bool Contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

TEST(RunOutput, ErrorsGoMarkedToStderrAndOtherLinesToStdout) {
  CapturedConsole c(false);
  Harness h(c);
  ScriptedProcedure p([](ScriptedProcedure& self) {
    self.Log("Database sorgente aperto.", TMS_INFO);
    self.Log("Inizio esportazione dati", TMS_NONE);
    self.Log("- Impossibile aprire il file", TMS_ERROR);
    return 0;
  });
  EXPECT_EQ(h.Run(p), 0);
  EXPECT_EQ(c.Out(), "[info] Database sorgente aperto.\nInizio esportazione dati\n");
  EXPECT_EQ(c.Err(), "[errore] - Impossibile aprire il file\n");
}

TEST(RunOutput, TerminalShowsUtf8WhileTheLogFileKeepsWindows1252Bytes) {
  tarvo::test::TempDir dir;
  std::string path = dir.File("run.log");
  tarvo::WriteFileBytes(path, "riga precedente\n");
  CapturedConsole c(false);
  Harness h(c);
  ScriptedProcedure p([](ScriptedProcedure& self) {
    self.Log(W("Quantità: 3 unità"), TMS_NONE);
    self.Log(W("- Articolo è già presente"), TMS_ERROR);
    return 1;
  });
  {
    CStdioFile log(path, CStdioFile::Mode::kAppend);
    EXPECT_EQ(h.Run(p, &log), 1);
  }
  EXPECT_EQ(c.Out(), "Quantità: 3 unità\n");
  EXPECT_EQ(c.Err(), "[errore] - Articolo è già presente\n");
  EXPECT_EQ(tarvo::ReadFileBytes(path),
            "riga precedente\nQuantit\xE0: 3 unit\xE0\n- Articolo \xE8 gi\xE0 presente\n");
}

TEST(RunOutput, RowLinesRewriteOneProgressLineOnATerminalButAllReachTheLogFile) {
  tarvo::test::TempDir dir;
  CapturedConsole c(true);
  Harness h(c);
  ScriptedProcedure p([](ScriptedProcedure& self) {
    for (int i = 1; i <= 3; ++i) self.Log(tarvo::StrFormat("%s %d", W("-- Trasferimento record n°").c_str(), i), TMS_INFO);
    self.Log("Fine esportazione", TMS_NONE);
    return 1;
  });
  {
    CStdioFile log(dir.File("run.log"), CStdioFile::Mode::kWrite);
    h.Run(p, &log);
  }
  EXPECT_EQ(c.Out(),
            "\r-- Trasferimento record n° 1\x1b[K\r-- Trasferimento record n° 2\x1b[K"
            "\r-- Trasferimento record n° 3\x1b[K\nFine esportazione\n");
  EXPECT_EQ(tarvo::ReadFileBytes(dir.File("run.log")),
            "-- Trasferimento record n\xB0 1\n-- Trasferimento record n\xB0 2\n-- Trasferimento record n\xB0 3\n"
            "Fine esportazione\n");
}

TEST(RunOutput, RowLinesScrollWhenNotOnATerminal) {
  CapturedConsole c(false);
  Harness h(c);
  ScriptedProcedure p([](ScriptedProcedure& self) {
    self.Log(W("-- Trasferimento record n° 1"), TMS_INFO);
    self.Log(W("-- Trasferimento record n° 2"), TMS_INFO);
    return 1;
  });
  h.Run(p);
  EXPECT_EQ(c.Out(), "[info] -- Trasferimento record n° 1\n[info] -- Trasferimento record n° 2\n");
}

TEST(RunOutput, ColourOnlyOnATerminal) {
  auto body = [](ScriptedProcedure& self) {
    self.Log("- Errore", TMS_ERROR);
    return 0;
  };
  CapturedConsole terminal(true, "", true);
  {
    Harness h(terminal);
    ScriptedProcedure p(body);
    h.Run(p);
  }
  EXPECT_EQ(terminal.Err(), "\x1b[1;31m[errore]\x1b[0m - Errore\n");
  CapturedConsole pipe(false, "", true);
  {
    Harness h(pipe);
    ScriptedProcedure p(body);
    h.Run(p);
  }
  EXPECT_EQ(pipe.Err(), "[errore] - Errore\n");
}

TEST(RunOutput, AProcedureThatThrowsCountsAsNotStarted) {
  CapturedConsole c(false);
  Harness h(c);
  ScriptedProcedure p([](ScriptedProcedure&) -> int { throw std::runtime_error("guasto"); });
  EXPECT_EQ(h.Run(p), -1);
  EXPECT_TRUE(Contains(c.Err(), "guasto"));
}

// --- questions, message boxes and parameter dialogs -------------------------------------------

TEST(HostQuestions, BatchModeTakesTheDefaultAndSaysSo) {
  CapturedConsole c(true, "s\n");  // a terminal with an answer that must not be read
  Harness h(c, /*batch=*/true);
  ScriptedProcedure p([](ScriptedProcedure& self) {
    bool yes = AfxAskYesNo(W("Sovrascrivere il file?"), false);
    bool other = AfxAskYesNo("Continuare?", true);
    return !yes && other ? 1 : 0;
  });
  EXPECT_EQ(h.Run(p), 1);
  std::string out = c.Out();
  EXPECT_TRUE(Contains(out, "question: Sovrascrivere il file? -> no (default answer, batch mode)")) << out;
  EXPECT_TRUE(Contains(out, "question: Continuare? -> yes (default answer, batch mode)")) << out;
}

TEST(HostQuestions, WithoutATerminalTheDefaultIsTakenAndSaidSo) {
  CapturedConsole c(false, "n\n");
  Harness h(c);
  ScriptedProcedure p([](ScriptedProcedure&) { return AfxAskYesNo("Continuare?", true) ? 1 : 0; });
  EXPECT_EQ(h.Run(p), 1);
  EXPECT_TRUE(Contains(c.Out(), "question: Continuare? -> yes (default answer, no terminal)"));
}

TEST(HostQuestions, OnATerminalTheAnswerIsReadAndRepeatedUntilUnderstood) {
  CapturedConsole c(true, "forse\nno\n\n");
  Harness h(c);
  std::vector<bool> answers;
  ScriptedProcedure p([&](ScriptedProcedure&) {
    answers.push_back(AfxAskYesNo("Primo?", true));   // "forse", then "no"
    answers.push_back(AfxAskYesNo("Secondo?", true));  // empty line: the default
    answers.push_back(AfxAskYesNo("Terzo?", false));   // end of input: the default
    return 1;
  });
  h.Run(p);
  EXPECT_EQ(answers, (std::vector<bool>{false, true, false}));
  EXPECT_TRUE(Contains(c.Out(), "question: Primo? [S/n] question: Primo? [S/n] ")) << c.Out();
}

TEST(HostQuestions, AQuestionComesAfterTheLinesPostedBeforeIt) {
  CapturedConsole c(false);
  Harness h(c);
  ScriptedProcedure p([](ScriptedProcedure& self) {
    self.Log("prima", TMS_NONE);
    AfxMessageBox("Attenzione", MB_ICONINFORMATION);
    AfxAskYesNo("Domanda?", true);
    self.Log("dopo", TMS_NONE);
    return 1;
  });
  h.Run(p);
  std::string out = c.Out();
  size_t before = out.find("prima"), box = out.find("message: Attenzione"), question = out.find("Domanda?"),
         after = out.find("dopo");
  ASSERT_NE(box, std::string::npos);
  EXPECT_LT(before, box);
  EXPECT_LT(box, question);
  EXPECT_LT(question, after);
}

TEST(HostQuestions, ErrorMessageBoxesGoToStderr) {
  CapturedConsole c(false);
  Harness h(c);
  ScriptedProcedure p([](ScriptedProcedure&) {
    AfxMessageBox(W("Impossibile proseguire: è già in uso"), MB_ICONEXCLAMATION);
    return 0;
  });
  h.Run(p);
  EXPECT_TRUE(Contains(c.Err(), "message: Impossibile proseguire: è già in uso"));
  EXPECT_EQ(c.Out(), "");
}

class ParameterDialog : public testing::Test {
 protected:
  CString anno = "2026", codice, note = "x";
  std::vector<HostParam> Params() {
    return {{"anno", "Anno", "string", false, &anno},
            {"codice", W("Codice attività"), "string", true, &codice},
            {"note", "", "string", false, &note}};
  }
};

TEST_F(ParameterDialog, BatchKeepsTheValues) {
  CapturedConsole c(true, "2020\nZ\n\n");
  TerminalUI ui(c.Get(), true);
  auto params = Params();
  EXPECT_TRUE(ui.EditParameters("Esportazione", params));
  EXPECT_EQ(anno, "2026");
  EXPECT_EQ(codice, "");
  EXPECT_TRUE(Contains(c.Out(), "parameters: Esportazione (values kept, batch mode)"));
}

TEST_F(ParameterDialog, TerminalEditsEachValueAndInsistsOnMandatoryOnes) {
  CapturedConsole c(true, "\n\nattività 7\nnuova\n");
  TerminalUI ui(c.Get(), false);
  auto params = Params();
  EXPECT_TRUE(ui.EditParameters("Esportazione", params));
  EXPECT_EQ(anno, "2026");  // Enter keeps the value
  EXPECT_EQ(codice, W("attività 7"));
  EXPECT_EQ(note, "nuova");
  EXPECT_TRUE(Contains(c.Err(), "Codice attività is required"));
  EXPECT_TRUE(Contains(c.Out(), "  note [x]: "));  // no label: the name is asked
}

TEST_F(ParameterDialog, EndOfInputCancels) {
  CapturedConsole c(true, "2020\n");
  TerminalUI ui(c.Get(), false);
  auto params = Params();
  EXPECT_FALSE(ui.EditParameters("Esportazione", params));
}

// --- Ctrl-C ------------------------------------------------------------------------------------

TEST(StopSignal, FirstSignalSetsTheStopEventAndASecondSaysItIsAlreadyStopping) {
  CapturedConsole c(false);
  Harness h(c);
  std::atomic<bool> running{false}, stopping{false};
  ScriptedProcedure p([&](ScriptedProcedure& self) {
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
  std::thread user([&] {
    while (!running) std::this_thread::sleep_for(5ms);
    ::kill(::getpid(), SIGINT);
    while (!stopping) std::this_thread::sleep_for(5ms);
    ::kill(::getpid(), SIGINT);
  });
  int result = h.Run(p);
  user.join();
  EXPECT_EQ(result, 0);
  EXPECT_EQ(ExitCodeForResult(result), 1);
  std::string out = c.Out();
  EXPECT_TRUE(Contains(out, "stop requested")) << out;
  EXPECT_TRUE(Contains(out, "already stopping")) << out;
  EXPECT_LT(out.find("already stopping"), out.find("Esportazione interrotta."));
  EXPECT_EQ(c.Err(), "[errore] Operazione interrotta dall'utente.\n");
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
  CString value;
  EXPECT_TRUE(p.GetFilterParam("DATA", value));
  EXPECT_EQ(value, "2026-01-01");
  EXPECT_TRUE(p.GetFilterParam("descr", value));
  EXPECT_EQ(value, W("più bella"));
  EXPECT_TRUE(p.GetFilterParam("vuoto", value));
  EXPECT_EQ(value, "");
  EXPECT_EQ(CRegistryAdministrator::GetApplicationSetting("RootDirectory"), "/opt/tarvo/");
  EXPECT_EQ(CUserAdministrator::GetIDREFERENCE(), 7);
  EXPECT_EQ(CUserAdministrator::GetIDSOCIETA(), 2);  // not given: unchanged
  EXPECT_EQ(CConfigAdministrator::GetKey("precisione/prezzi"), "4");
  CConfigAdministrator::Clear();
}

}  // namespace
