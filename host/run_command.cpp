#include "host/run_command.h"

#include <stdlib.h>

#include <chrono>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <memory>
#include <thread>

#include "framework/exchange_factory.h"
#include "host/parser_dialog_run.h"
#include "host/run_lock.h"
#include "host/run_summary.h"
#include "host/stop_signals.h"
#include "host/terminal_ui.h"
#include "platform/files.h"
#include "platform/http_client.h"
#include "platform/run_journal.h"
#include "platform/settings.h"
#include "platform/stdio_file.h"
#include "xmlengine/tarvo_exchange_xml.h"

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

namespace {
// The procedure as the notes call it.
std::string ProcedureName(const RunOptions& o) {
  return o.number ? tarvo::StrFormat("procedure %ld", *o.number) : "procedure " + o.class_name;
}

// Keeps the dry-run switch on for a scope.
class DryRunScope {
 public:
  explicit DryRunScope(bool on) : on_(on) { tarvo::SetDryRun(on); }
  ~DryRunScope() {
    if (on_) tarvo::SetDryRun(false);
  }
  DryRunScope(const DryRunScope&) = delete;
  DryRunScope& operator=(const DryRunScope&) = delete;

 private:
  bool on_;
};

// The folder a dry run writes its files into, under the temporary folder; removed again at the
// end of the command when nothing was written into it.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "tarvo-exchange-dry-run-XXXXXX").string();
    if (::mkdtemp(pattern.data())) path_ = pattern;
  }
  ~ScratchFolder() {
    std::error_code ec;
    if (!path_.empty()) std::filesystem::remove(path_, ec);  // only an empty folder goes
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  const std::string& Path() const { return path_; }  // empty when it could not be made
  bool Empty() const {
    std::error_code ec;
    return std::filesystem::is_empty(path_, ec) || ec;
  }

 private:
  std::string path_;
};

// Takes the run lock of the procedure on the destination, waiting as the options say. Returns 0
// when it is held by this run, otherwise the exit code.
int TakeRunLock(RunLock& lock, const RunOptions& options, const std::string& destination, Console& console) {
  const std::string name = ProcedureName(options);
  auto stopped = [] { return StopSignals::Count() > 0; };
  try {
    RunLock::Outcome outcome = lock.Acquire(std::chrono::milliseconds(0), stopped);
    if (outcome == RunLock::Outcome::kHeld && options.lock_wait > 0) {
      console.Note(tarvo::StrFormat("%s is running against \"%s\" (%s): waiting up to %ld s for it to end",
                                    name.c_str(), destination.c_str(), lock.Holder().c_str(), options.lock_wait));
      outcome = lock.Acquire(std::chrono::seconds(options.lock_wait), stopped);
    }
    if (outcome == RunLock::Outcome::kAcquired) return 0;
    if (outcome == RunLock::Outcome::kStopped) {
      console.Note("stopped while waiting for the run lock: the procedure did not run");
      return kExitFailed;
    }
  } catch (const tarvo::CException& e) {
    console.Error("cannot take the run lock on \"" + destination + "\": " + tarvo::Cp1252ToUtf8(e.what()));
    return kExitNotStarted;
  }
  console.Error(tarvo::StrFormat("%s is already running against \"%s\" (%s, %s)%s: this run did not start",
                                 name.c_str(), destination.c_str(),
                                 lock.Holder().empty() ? "holder unknown" : lock.Holder().c_str(), lock.Where().c_str(),
                                 options.lock_wait > 0 ? tarvo::StrFormat(" after %ld s", options.lock_wait).c_str() : ""));
  return kExitLocked;
}

// The dry run's last line, to the terminal and the log file like the procedure's own.
void LogDryRunEnd(Console& console, CStdioFile* log, const std::string& scratch) {
  std::vector<CString> lines = {"Prova a vuoto: tutte le transazioni sono state annullate, nessuna modifica salvata."};
  if (!scratch.empty()) lines.push_back(Cp1252("Prova a vuoto: file scritti nella cartella " + scratch));
  for (const CString& line : lines) {
    console.Line(line, TMS_INFO);
    if (log) {
      try {
        log->WriteLine(line);
        log->Flush();
      } catch (const tarvo::CException&) {
      }
    }
  }
}

// Whether a dry run of the procedure of class `className` must be refused (said on the console):
// what it does outside the databases cannot be tried without doing it.
bool RefuseDryRun(const RunOptions& options, const std::string& className, Console& console) {
  const char* why = nullptr;
  switch (ProcedureKindOf(className)) {
    case EProcedureKind::kLocal: return false;
    case EProcedureKind::kTransfer: why = "transfers files over HTTP or FTP"; break;
    case EProcedureKind::kDriver: why = "runs a driver file, whose steps name their own files, commands and servers"; break;
  }
  console.Error(ProcedureName(options) + " (" + className + ") " + why +
                ", which cannot be tried without doing it: --dry-run refused");
  return true;
}

const char* OutcomeOf(int exitCode) {
  switch (exitCode) {
    case kExitDone: return "done";
    case kExitNotStarted: return "not-started";
    case kExitNoProcedure: return "no-procedure";
    case kExitUsage: return "usage";
    case kExitLocked: return "locked";
    default: return "failed";
  }
}

int RunSteps(const RunOptions& options, Console& console, RunSummary& summary) {
  if (std::string problem = ValidateRunOptions(options); !problem.empty()) {
    console.Error(problem);
    return kExitUsage;
  }
  const ProcedureEntry* entry = options.number ? FindProcedure(*options.number) : FindProcedureByClass(options.class_name);
  if (entry) {
    summary.class_name = entry->className;
    summary.description = tarvo::Cp1252ToUtf8(entry->description);
  }
  if (options.dry_run && entry && RefuseDryRun(options, entry->className, console)) return kExitUsage;
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
  const std::string destination = WithPassword(AbsoluteConfig(options.dest.empty() ? options.db : options.dest), options.db_password);
  summary.destination = tarvo::MaskSecrets(destination);
  RunLock lock(destination, options.number ? std::to_string(*options.number) : options.class_name);
  const int refused = TakeRunLock(lock, options, summary.destination, console);
  summary.lock = lock.Where();
  if (refused == kExitFailed) summary.outcome = "stopped";  // while it waited
  if (refused) return refused;

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

  // Connections opened from here on (the procedure's) never commit in a dry run.
  DryRunScope dryRun(options.dry_run);
  std::optional<ScratchFolder> scratch;
  if (options.dry_run) scratch.emplace();
  if (scratch && scratch->Path().empty()) {
    console.Error("cannot make a scratch folder for the dry run: " + tarvo::Cp1252ToUtf8(tarvo::GetSystemError()));
    return kExitNotStarted;
  }

  ProcedurePtr procedure;
  const std::string name = ProcedureName(options);
  if (options.number) {
    const long number = *options.number;
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

  // A number of the procedure table of type "xmlexport" or "xmlimport" gives the driver engine.
  if (dynamic_cast<CTarvoExchangeXML*>(procedure.get())) {
    summary.class_name = "CTarvoExchangeXML";
    if (options.dry_run && RefuseDryRun(options, summary.class_name, console)) return kExitUsage;
  }
  ConfigureProcedure(*procedure, options);
  if (!procedure->GetDescrizione().empty()) summary.description = tarvo::Cp1252ToUtf8(procedure->GetDescrizione());
  if (scratch) procedure->SetOutDir(scratch->Path());
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

  // The files the run writes: into its output folder, or for a mirror into its input folder.
  const std::vector<std::string> folders = {procedure->GetOutDir(), procedure->GetInDir()};
  const FolderSnapshot before = FolderSnapshot::Take(folders);
  tarvo::TakeTableRowCounts();  // what the factory and the dialog read is not the run's
  int result = RunOnWorker(*procedure, window, stop, console);
  ui.Attach(nullptr);
  procedure.reset();  // closes the databases: a dry run's work is rolled back here
  summary.result = result;
  summary.tables = tarvo::TakeTableRowCounts();
  summary.files = FilesWritten(before, FolderSnapshot::Take(folders));
  if (scratch) {
    if (!scratch->Empty()) summary.scratch_folder = scratch->Path();
    LogDryRunEnd(console, log.get(), summary.scratch_folder);
  }
  if (result != 1 && stop.IsSet()) summary.outcome = "stopped";
  console.Note(tarvo::StrFormat("%s ended with result %d", name.c_str(), result));
  return ExitCodeForResult(result);
}
}  // namespace

int RunCommand(const RunOptions& options, Console& console) {
  RunSummary summary;
  summary.number = options.number;
  summary.class_name = options.class_name;
  summary.dry_run = options.dry_run;
  console.SetListener(&summary.lines);
  const int code = RunSteps(options, console, summary);
  summary.ended = std::chrono::system_clock::now();
  summary.exit_code = code;
  if (summary.outcome.empty()) summary.outcome = OutcomeOf(code);
  if (!options.summary_file.empty()) {
    try {
      summary.Write(AbsolutePath(options.summary_file));
    } catch (const tarvo::CException& e) {
      console.Error(tarvo::Cp1252ToUtf8(e.what()) + " (\"" + options.summary_file + "\")");
    }
  }
  console.SetListener(nullptr);
  return code;
}
