// `tarvo-exchange run NUMBER`: creates the procedure with CExchangeFactory on the main database,
// configures it from the options, shows its parameter dialog, runs it on a worker thread while
// the host thread prints its lines, and maps its result to the exit code.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "framework/tarvo_import.h"
#include "host/console.h"

// Exit codes of the command; outside scripts depend on these numbers.
enum ExitCode : int {
  kExitDone = 0,         // the procedure's result was 1
  kExitFailed = 1,       // result 0 (failed or stopped), or a refused command
  kExitNotStarted = 2,   // result -1: could not start
  kExitNoProcedure = 3,  // no procedure for the number or class name
  kExitUsage = 64,       // bad command line
  kExitLocked = 75,      // the same procedure runs against the same destination (run lock held)
};
int ExitCodeForResult(int result);

// True when `config` names a SQLite file (no "=" in it) that does not exist: opening it would
// create an empty database.
bool IsMissingSQLiteFile(const std::string& config);

struct RunOptions {
  std::optional<long> number;  // the procedure by number, or
  std::string class_name;      // a procedure without a number, by its class name
  std::string db, src, dest;
  std::string in_dir, out_dir;
  std::string http_server, http_url, http_user, http_password;
  std::string ftp_server, ftp_user, ftp_password, ftp_folder;
  std::string db_password;                  // PWD of the connection strings that carry none
  long connect_timeout = 30, stall_timeout = 60;  // transfer time-outs in seconds (0 = none)
  std::vector<std::string> params;  // NAME=VALUE
  std::string root_dir;
  std::optional<long> agent_id, company_id, branch_id;
  std::optional<std::string> precision_prices, precision_totals;  // "precisione/prezzi", "precisione/totali"
  std::string log_file;
  bool batch = false;
  // The parameter dialog without a person: a choice of its choice box and categories to check.
  std::optional<int> choice;
  std::vector<std::string> categories;
  std::string settings_file;  // what dialogs remember; default DefaultSettingsFile()
  // Unattended running: seconds to wait for the run lock (0: refuse at once), the JSON summary
  // written at the end (empty: none), and a dry run (nothing committed, files in a scratch
  // folder, transfers refused).
  long lock_wait = 0;
  std::string summary_file;
  bool dry_run = false;
};

// $XDG_CONFIG_HOME/tarvo-exchange/settings.ini, or the same under ~/.config; empty without a home.
std::string DefaultSettingsFile();

// Checks what the command line parser cannot: a number or a class name (not both), a main
// database and NAME=VALUE parameters.
// Returns the problem (UTF-8) or an empty text.
std::string ValidateRunOptions(const RunOptions& options);

// The settings the procedures read from the host: "RootDirectory", the current user and the
// configuration keys. Unset options leave the settings as they are.
void ApplyHostSettings(const RunOptions& options);

// Paths made absolute against the current folder, since a driver run may change it; a
// configuration that is an ODBC connection string (it holds "=") stays as it is.
std::string AbsolutePath(const std::string& path);
std::string AbsoluteConfig(const std::string& config);
// An ODBC connection string with ";PWD=password" added when it has no PWD item of its own; a
// SQLite file name or an empty password leaves `config` as it is.
std::string WithPassword(const std::string& config, const std::string& password);

// Hands folders, connections, servers, filter parameters and the batch mode to `procedure`;
// relative database files and folders become absolute.
void ConfigureProcedure(CTarvoImport& procedure, const RunOptions& options);

// Runs a configured procedure on a worker thread and prints its lines until it ends. Call it
// inside a StopSignals scope: a signal (also one received before the call) sets `stop`, later
// ones are answered with a note. Returns the procedure's result (1, 0, -1). A database error
// that escapes Run is reported on the console and counts as a failed run (0): the procedure's
// databases, and the transaction it left open, are closed when it is destroyed. Any other
// exception counts as a run that could not start (-1).
// The window, stop event and log file must already be set on the procedure; the window is the
// one the host thread pumps.
int RunOnWorker(CTarvoImport& procedure, CWnd& window, CEvent& stop, Console& console);

// The whole command: takes the run lock, runs the procedure (in a dry run if asked) and writes
// the summary when one is asked for, also when the run fails or cannot start. Returns the exit
// code.
int RunCommand(const RunOptions& options, Console& console);
