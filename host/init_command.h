// `tarvo-exchange init` and `tarvo-exchange list`: create a SQLite company database with the
// procedure table filled in, and show the procedure table of any database.
#pragma once

#include <string>
#include <string_view>

#include "host/console.h"
#include "platform/text.h"

struct InitOptions {
  std::string db;        // path of the SQLite file to create
  bool demo = false;     // also load the demo data
  long generate = 0;     // when above 0, also generate a company of this many articles
  std::string root_dir;  // when set, the sample driver files go to ROOT/exchange/
  bool force = false;    // replace an existing file
};

// The procedure table row of a sample driver file: its type ("xmlexport" or "xmlimport") and
// description (Windows-1252), read from the driver text. The type is "xmlimport" when a step
// imports ("action" "import") and "xmlexport" otherwise; the description is the root element's
// "descrizione" attribute, else the first sentence of the first comment, else the file name;
// at most 100 characters.
struct DriverRow {
  CString tipo;
  CString descrizione;
};
DriverRow DescribeDriver(std::string_view file_name, std::string_view text);

// The number given to the n-th sample driver (0-based) in the procedure table.
long DriverProcedureNumber(size_t index);

// Both return the exit code and report on the console.
int InitCommand(const InitOptions& options, Console& console);
int ListCommand(const std::string& db, Console& console);
