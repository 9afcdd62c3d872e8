#include "host/cli.h"

#include <CLI/CLI.hpp>

#include <string_view>


#include "build_info.h"
#include "framework/exchange_factory.h"
#include "host/console.h"
#include "host/init_command.h"
#include "host/inspect_command.h"
#include "host/run_command.h"

namespace {
constexpr const char* kConfigEnv = "TARVO_EXCHANGE_CONFIG";

std::string ProcedureHelp() {
  std::string text = "Procedures by number (run NUMBER):\n";
  bool missing = false;
  for (const ProcedureEntry& e : KnownProcedures()) {
    text += tarvo::StrFormat("  %5ld %c %s\n", e.number, e.create ? ' ' : '-',
                             tarvo::Cp1252ToUtf8(e.description).c_str());
    missing = missing || !e.create;
  }
  text += "Procedures without a number (run --class NAME):\n";
  for (const ProcedureEntry& e : UnnumberedProcedures()) {
    text += tarvo::StrFormat("  %c %s\n      %s\n", e.create ? ' ' : '-', e.className,
                             tarvo::Cp1252ToUtf8(e.description).c_str());
    missing = missing || !e.create;
  }
  if (missing) text += "  (- : not available in this build)\n";
  text += tarvo::StrFormat(
      "  Driver procedures (types xmlexport/xmlimport) have their own numbers, from %ld in a\n"
      "  database made by init; `tarvo-exchange list --db DB` shows a database's table.\n",
      DriverProcedureNumber(0));
  return text;
}

const char* kRunFooter =
    "Exit codes: 0 the procedure succeeded (result 1), 1 it failed, was stopped or met a database\n"
    "error (result 0), 2 it could not start (result -1), 3 no procedure for the number or class,\n"
    "64 usage error, 75 the same procedure is running against the same destination (run lock).\n"
    "Ctrl-C or SIGTERM asks the procedure to stop at its next unit of work.\n"
    "--config FILE (default: $TARVO_EXCHANGE_CONFIG) is an INI file of the same settings, one\n"
    "`name = value` per line (db = company.db, out-dir = /srv/out, param = \"DATA=2026\",\n"
    "precisione/prezzi = 4, ...); options on the command line override it.\n"
    "Passwords need not appear on the command line, where other users of the machine can read\n"
    "them: give --db-password, --http-password and --ftp-password in the INI file or in the\n"
    "environment variables TARVO_DB_PASSWORD, TARVO_HTTP_PASSWORD, TARVO_FTP_PASSWORD.\n"
    "Passwords never appear in the output: they are shown as ***.\n";

// A subcommand that reads its own INI file: CLI11 reads configuration files for the main
// program only, so `run --config FILE` applies the file itself after the command line was
// parsed. Values given on the command line win; an unknown name is an error.
class ConfigurableCommand : public CLI::App {
 public:
  using CLI::App::App;
  // Throws CLI::FileError or CLI::ConfigError.
  void ApplyConfigFile(const std::string& file) {
    std::vector<CLI::ConfigItem> items = get_config_formatter_base()->from_file(file);
    _parse_config(items);
    _process_callbacks();
  }
};

void AddRunOptions(CLI::App& run, RunOptions& o) {
  CLI::Option* number = run.add_option("NUMBER", o.number, "procedure number");
  run.add_option("--class", o.class_name, "a procedure without a number, by class name (instead of NUMBER)")
      ->excludes(number);
  run.add_option("--db", o.db, "main database: an ODBC connection string or a SQLite file");
  run.add_option("--src", o.src, "source database (SrcConfig); default --db");
  run.add_option("--dest", o.dest, "destination database (DestConfig); default --db");
  run.add_option("--db-password", o.db_password, "password added as PWD to connection strings without one")
      ->envname("TARVO_DB_PASSWORD");
  run.add_option("--in-dir", o.in_dir, "folder data is read from");
  run.add_option("--out-dir", o.out_dir, "folder data is written to");
  run.add_option("--http-server", o.http_server, "HTTP server");
  run.add_option("--http-url", o.http_url, "HTTP URL on the server");
  run.add_option("--http-user", o.http_user, "HTTP user");
  run.add_option("--http-password", o.http_password, "HTTP password")->envname("TARVO_HTTP_PASSWORD");
  run.add_option("--ftp-server", o.ftp_server, "FTP server");
  run.add_option("--ftp-user", o.ftp_user, "FTP user");
  run.add_option("--ftp-password", o.ftp_password, "FTP password")->envname("TARVO_FTP_PASSWORD");
  run.add_option("--ftp-folder", o.ftp_folder, "FTP folder");
  run.add_option("--param", o.params, "filter parameter NAME=VALUE (repeatable)")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  run.add_option("--root-dir", o.root_dir, "root folder (driver files lie in its \"exchange\" folder)");
  run.add_option("--agent-id", o.agent_id, "current user's agent");
  run.add_option("--company-id", o.company_id, "current user's company");
  run.add_option("--branch-id", o.branch_id, "current user's company branch");
  run.add_option("--precisione/prezzi", o.precision_prices, "price precision (configuration key)");
  run.add_option("--precisione/totali", o.precision_totals, "total precision (configuration key)");
  run.add_option("--connect-timeout", o.connect_timeout, "seconds to wait for an HTTP/FTP server to answer (0: no limit)")
      ->capture_default_str();
  run.add_option("--stall-timeout", o.stall_timeout, "seconds an HTTP/FTP transfer may stall before it is ended (0: no limit)")
      ->capture_default_str();
  run.add_option("--log-file", o.log_file, "log file, appended (Windows-1252, as the procedure writes it)");
  run.add_flag("--batch", o.batch, "no questions: message boxes off, documented default answers");
  run.add_option("--choice", o.choice,
                 "the parameter dialog without a person: its choice; for the articles\n"
                 "(1002, 1) 0 hand-picked categories, 1 published ones, 2 all categories, 3 all articles")
      ->check(CLI::NonNegativeNumber);
  run.add_option("--category", o.categories, "a category to check in the dialog (repeatable; alone: --choice 0)")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  run.add_option("--lock-wait", o.lock_wait,
                 "seconds to wait while the same procedure runs against the same destination (default 0:\n"
                 "exit at once with code 75)")
      ->check(CLI::NonNegativeNumber);
  run.add_option("--summary", o.summary_file, "write a JSON summary of the run to FILE (also of a failed or refused run)");
  run.add_flag("--dry-run", o.dry_run,
               "run without effect: every database change is rolled back, files go to a scratch folder;\n"
               "refused for HTTP/FTP transfers and driver files");
  run.add_option("--settings", o.settings_file,
                 "file of what dialogs remember\n(default: $XDG_CONFIG_HOME or ~/.config, then tarvo-exchange/settings.ini)")
      ->envname("TARVO_EXCHANGE_SETTINGS");
}
}  // namespace

void HidePasswordArguments(int argc, char** argv) {
  auto blank = [](char* text) {
    for (; *text; ++text) *text = '*';
  };
  for (int i = 1; i < argc; ++i) {
    std::string_view arg(argv[i]);
    if (!arg.starts_with("--")) continue;
    size_t eq = arg.find('=');
    if (!arg.substr(0, eq).ends_with("-password")) continue;
    if (eq != std::string_view::npos) blank(argv[i] + eq + 1);  // --x-password=value
    else if (i + 1 < argc) blank(argv[++i]);                    // --x-password value
  }
}

int HostMain(int argc, char** argv) {
  Console console(Console::ProcessStreams());

  CLI::App app{"Runs the exchange procedures of " TARVO_PRODUCT_NAME ".", "tarvo-exchange"};
  app.set_version_flag("--version", std::string(TARVO_PRODUCT_NAME) + " " + TARVO_PRODUCT_VERSION);
  app.require_subcommand(1);
  app.footer(ProcedureHelp());

  InitOptions init_options;
  CLI::App* init = app.add_subcommand("init", "create a SQLite company database with the procedure table");
  init->add_option("--db", init_options.db, "SQLite file to create")->required();
  init->add_flag("--demo", init_options.demo, "load the demo data");
  init->add_option("--generate", init_options.generate,
                   "also generate a company of N articles, with a customer per 10 and an order per 5")
      ->check(CLI::PositiveNumber);
  init->add_option("--root-dir", init_options.root_dir, "write the sample driver files to DIR/exchange");
  init->add_flag("--force", init_options.force, "replace an existing file");

  std::string list_db;
  CLI::App* list = app.add_subcommand("list", "show the procedure table: number, type, description");
  list->add_option("--db", list_db, "database: an ODBC connection string or a SQLite file")->required();

  InspectOptions inspect_options;
  CLI::App* inspect = app.add_subcommand(
      "inspect", "show a partner file record by record as named fields and flag what does not fit its layout");
  inspect->add_option("FILE", inspect_options.file, "the file")->required();
  inspect->add_option("--layout", inspect_options.layout, "layout name (default: chosen by the file name)");
  inspect->footer("Exit codes: 0 nothing flagged, 1 something flagged, 2 the file cannot be read, 64 unknown layout\n"
                  "(the layouts are listed).");

  RunOptions run_options;
  auto run = std::make_shared<ConfigurableCommand>("run a procedure by number (or by class name)", "run");
  app.add_subcommand(run);
  AddRunOptions(*run, run_options);
  std::string config_file;
  run->add_option("--config", config_file, "INI file of run settings")->envname(kConfigEnv)->configurable(false);
  run->allow_config_extras(CLI::config_extras_mode::error);
  run->footer(std::string(kRunFooter) + "\n" + ProcedureHelp());

  try {
    app.parse(argc, argv);
    HidePasswordArguments(argc, argv);
    if (*run && !config_file.empty()) run->ApplyConfigFile(config_file);
  } catch (const CLI::ParseError& e) {
    int code = app.exit(e);
    return code == 0 ? 0 : kExitUsage;
  }

  if (*init) return InitCommand(init_options, console);
  if (*list) return ListCommand(list_db, console);
  if (*inspect) return InspectCommand(inspect_options, console);
  return RunCommand(run_options, console);
}
