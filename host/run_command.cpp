#include "host/run_command.h"

#include <chrono>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <memory>
#include <thread>

#include "framework/exchange_factory.h"
#include "host/parser_dialog_run.h"
#include "host/stop_signals.h"
#include "host/terminal_ui.h"
#include "platform/files.h"
#include "platform/http_client.h"
#include "platform/settings.h"
#include "platform/stdio_file.h"

namespace {
// Posted by the worker thread after Run returned: every line of the run is queued before it.
constexpr UINT WM_HOST_WORKER_DONE = WM_USER + 101;

struct ProcedureDeleter {
  void operator()(CTarvoImport* p) const { CTarvoImport::Delete(p); }
};
using ProcedurePtr = std::unique_ptr<CTarvoImport, ProcedureDeleter>;

// Installs the terminal UI for one command and removes it again.
class HostUIScope {
 public:
  explicit HostUIScope(IHostUI& ui) { SetHostUI(&ui); }
  ~HostUIScope() { SetHostUI(nullptr); }
};

// Starts the XML library for the process and stops it at the end of the command.
class XmlPlatform {
 public:
  XmlPlatform() : started_(CTarvoImport::Xerces_StartPlatform()) {}
  ~XmlPlatform() {
    if (started_) CTarvoImport::Xerces_StopPlatform();
  }
  bool Started() const { return started_; }

 private:
  bool started_;
};

// Handles one message of the run window; true for the worker's end.
bool Dispatch(const MSG& m, Console& console) {
  switch (m.message) {
    case WM_EXCHANGE_LOG:
      if (m.lParam != TMS_FINISHED) {
        std::unique_ptr<CString> line(reinterpret_cast<CString*>(m.wParam));
        console.Line(*line, static_cast<int>(m.lParam));
      }
      return false;
    case WM_HOST_UI:
      TerminalUI::Serve(m);
      return false;
    case WM_HOST_WORKER_DONE:
      return true;
    default:
      return false;
  }
}

// Prints what is queued so far without waiting.
void DrainWindow(CWnd& window, Console& console) {
  while (std::optional<MSG> m = window.GetMessage(std::chrono::milliseconds(0))) Dispatch(*m, console);
}

CString Cp1252(const std::string& utf8) { return tarvo::Utf8ToCp1252(utf8); }
}  // namespace

std::string AbsolutePath(const std::string& path) {
  if (path.empty()) return path;
  std::error_code ec;
  std::filesystem::path absolute = std::filesystem::absolute(path, ec);
  return ec ? path : absolute.lexically_normal().string();
}

std::string AbsoluteConfig(const std::string& config) {
  return config.find('=') == std::string::npos ? AbsolutePath(config) : config;
}

std::string WithPassword(const std::string& config, const std::string& password) {
  if (password.empty() || config.find('=') == std::string::npos) return config;
  if (tarvo::MaskSecrets(config) != config) return config;  // it has a password already
  std::string braced = password;
  tarvo::ReplaceAll(braced, "}", "}}");
  std::string out = tarvo::TrimRight(config, "; ");
  return out + ";PWD={" + braced + "}";
}

bool IsMissingSQLiteFile(const std::string& config) {
  return config.find('=') == std::string::npos && !tarvo::FileExists(config);
}

int ExitCodeForResult(int result) {
  switch (result) {
    case 1:
      return kExitDone;
    case -1:
      return kExitNotStarted;
    default:
      return kExitFailed;
  }
}

std::string ValidateRunOptions(const RunOptions& options) {
  if (!options.number && options.class_name.empty()) return "a procedure NUMBER or --class NAME is required";
  if (options.number && !options.class_name.empty()) return "give a procedure NUMBER or --class NAME, not both";
  if (tarvo::Trim(options.db).empty()) return "--db is required (the main database: an ODBC string or a SQLite file)";
  for (const std::string& p : options.params) {
    size_t eq = p.find('=');
    if (eq == std::string::npos || tarvo::Trim(p.substr(0, eq)).empty())
      return "--param expects NAME=VALUE, got \"" + p + "\"";
  }
  return {};
}

std::string DefaultSettingsFile() {
  const char* config = std::getenv("XDG_CONFIG_HOME");
  const char* home = std::getenv("HOME");
  std::filesystem::path dir;
  if (config && *config) dir = config;
  else if (home && *home) dir = std::filesystem::path(home) / ".config";
  else return {};
  return (dir / "tarvo-exchange" / "settings.ini").string();
}

void ApplyHostSettings(const RunOptions& o) {
  if (!o.root_dir.empty()) CRegistryAdministrator::SetApplicationSetting("RootDirectory", AbsolutePath(o.root_dir));
  if (o.agent_id || o.company_id || o.branch_id)
    CUserAdministrator::SetCurrentUser(o.agent_id.value_or(CUserAdministrator::GetIDREFERENCE()),
                                       o.company_id.value_or(CUserAdministrator::GetIDSOCIETA()),
                                       o.branch_id.value_or(CUserAdministrator::GetIDSEDESOCIETA()));
  if (o.precision_prices) CConfigAdministrator::SetKey("precisione/prezzi", *o.precision_prices);
  if (o.precision_totals) CConfigAdministrator::SetKey("precisione/totali", *o.precision_totals);
  tarvo::SetDefaultTransferTimeouts({o.connect_timeout, o.stall_timeout});
}

void ConfigureProcedure(CTarvoImport& p, const RunOptions& o) {
  p.SetSrcConfig(WithPassword(AbsoluteConfig(o.src.empty() ? o.db : o.src), o.db_password));
  p.SetDestConfig(WithPassword(AbsoluteConfig(o.dest.empty() ? o.db : o.dest), o.db_password));
  p.SetInDir(AbsolutePath(o.in_dir));
  p.SetOutDir(AbsolutePath(o.out_dir));
  p.SetHttpServer(o.http_server);
  p.SetHttpURL(o.http_url);
  p.SetHttpUID(o.http_user);
  p.SetHttpPWD(o.http_password);
  p.SetFtpServer(o.ftp_server);
  p.SetFtpUID(o.ftp_user);
  p.SetFtpPWD(o.ftp_password);
  p.SetFtpFolder(o.ftp_folder);
  for (const std::string& item : o.params) {
    size_t eq = item.find('=');
    p.SetFilterParam(Cp1252(tarvo::Trim(item.substr(0, eq))), Cp1252(item.substr(eq + 1)));
  }
  if (o.batch) p.SetVerbose(false);
}

int RunOnWorker(CTarvoImport& procedure, CWnd& window, CEvent& stop, Console& console) {
  int result = -1;
  std::thread worker;
  {
    StopSignals::Blocked blocked;  // the worker inherits the blocked mask
    worker = std::thread([&] {
      try {
        result = procedure.Run();
      } catch (const CDBException& e) {
        console.Error("the procedure failed on a database error: " + tarvo::Cp1252ToUtf8(e.m_strError));
        result = 0;
      } catch (const std::exception& e) {
        // It had started: a failed run, not one that could not start.
        console.Error(std::string("the procedure failed unexpectedly: ") + tarvo::Cp1252ToUtf8(e.what()));
        result = 0;
      } catch (...) {
        console.Error("the procedure failed unexpectedly");
        result = 0;
      }
      CWnd::PostMessage(&window, WM_HOST_WORKER_DONE, 0, 0);
    });
  }
  int signals_seen = 0;
  std::deque<MSG> batch;
  for (bool done = false; !done;) {
    if (window.GetMessages(batch, std::chrono::milliseconds(100)))
      for (const MSG& m : batch)
        if (Dispatch(m, console)) done = true;
    if (done) break;
    int count = StopSignals::Count();
    if (count > signals_seen) {
      if (signals_seen == 0) {
        stop.SetEvent();
        console.Note("stop requested: the procedure stops at its next unit of work");
        ++signals_seen;
      }
      for (; signals_seen < count; ++signals_seen) console.Note("already stopping: waiting for the procedure to end");
    }
  }
  worker.join();
  DrainWindow(window, console);
  return result;
}

int RunCommand(const RunOptions& options, Console& console) {
  if (std::string problem = ValidateRunOptions(options); !problem.empty()) {
    console.Error(problem);
    return kExitUsage;
  }
  // From here on Ctrl-C only asks the procedure to stop, also once it has ended.
  StopSignals signals;
  ApplyHostSettings(options);
  std::string settings = options.settings_file.empty() ? DefaultSettingsFile() : AbsolutePath(options.settings_file);
  try {
    CRegistryAdministrator::SetSettingsFile(settings);
  } catch (const tarvo::CFileException& e) {
    console.Error("cannot read the settings file \"" + settings + "\": " + tarvo::Cp1252ToUtf8(e.what()));
    return kExitNotStarted;
  }
  TerminalUI ui(console, options.batch);
  HostUIScope ui_scope(ui);

  XmlPlatform xml;
  if (!xml.Started()) {
    console.Error("cannot start the XML library");
    return kExitNotStarted;
  }

  if (IsMissingSQLiteFile(options.db)) {
    console.Error("no database \"" + options.db + "\" (create one with tarvo-exchange init)");
    return kExitNotStarted;
  }
  CDatabase database;
  try {
    if (!CConnectionAdministrator::ConnectDatabase(database, WithPassword(options.db, options.db_password))) {
      console.Error("cannot open the database \"" + options.db + "\"");
      return kExitNotStarted;
    }
  } catch (const CDBException& e) {
    console.Error("cannot open the database \"" + options.db + "\": " + tarvo::Cp1252ToUtf8(e.m_strError));
    return kExitNotStarted;
  }

  // Declared before the procedure, which uses them until it is deleted.
  std::unique_ptr<CStdioFile> log;
  if (!options.log_file.empty()) {
    try {
      log = std::make_unique<CStdioFile>(options.log_file, CStdioFile::Mode::kAppend);
    } catch (const tarvo::CFileException& e) {
      console.Error("cannot open the log file \"" + options.log_file + "\": " + tarvo::Cp1252ToUtf8(e.what()));
      return kExitNotStarted;
    }
  }
  CWnd window;
  CEvent stop;

  ProcedurePtr procedure;
  std::string name;  // how the notes call the procedure
  if (options.number) {
    const long number = *options.number;
    name = tarvo::StrFormat("procedure %ld", number);
    CExchangeFactory factory(&database);
    procedure.reset(factory.GetExchangeProcedure(number));
    if (!procedure) {
      const ProcedureEntry* known = FindProcedure(number);
      if (known && !known->create)
        console.Error(tarvo::StrFormat("procedure %ld (%s) is not available in this build", number, known->className));
      else
        console.Error(tarvo::StrFormat("no procedure %ld in the procedure table of \"%s\"", number, options.db.c_str()));
      return kExitNoProcedure;
    }
  } else {
    name = "procedure " + options.class_name;
    const ProcedureEntry* known = FindProcedureByClass(options.class_name);
    if (!known) {
      console.Error("no procedure class " + options.class_name + " (run --help lists them)");
      return kExitNoProcedure;
    }
    if (known->number != 0) {
      console.Error(tarvo::StrFormat("%s is procedure %ld: run it by number", known->className, known->number));
      return kExitUsage;
    }
    if (!known->create) {
      console.Error(std::string("procedure ") + known->className + " is not available in this build");
      return kExitNoProcedure;
    }
    procedure.reset(known->create());
  }

  ConfigureProcedure(*procedure, options);
  procedure->SetParentWnd(&window);
  procedure->SetEventStop(stop);
  procedure->SetLogFile(log.get());
  ui.Attach(&window);

  CExchangeParserFactory parsers;
  std::unique_ptr<CTarvoParserDialog> dialog(parsers.GetParser(procedure.get(), &window));
  DrainWindow(window, console);
  if (!dialog && (options.choice || !options.categories.empty()) && procedure->GetStrParser().empty()) {
    ui.Attach(nullptr);
    console.Error("--choice, --category: " + name + " has no parameter dialog");
    return kExitUsage;
  }
  if (dialog) {
    bool interactive = !options.batch && console.Interactive() && console.OutIsTerminal();
    DialogOutcome outcome = RunParserDialog(*dialog, options, interactive, console);
    if (outcome != DialogOutcome::kOK) {
      ui.Attach(nullptr);
      if (outcome == DialogOutcome::kRefused) return kExitUsage;
      console.Note("cancelled: the procedure did not run");
      return kExitFailed;
    }
    procedure->SetFilterParams(dialog->GetParams());
  }
  dialog.reset();

  int result = RunOnWorker(*procedure, window, stop, console);
  ui.Attach(nullptr);
  procedure.reset();
  console.Note(tarvo::StrFormat("%s ended with result %d", name.c_str(), result));
  return ExitCodeForResult(result);
}
