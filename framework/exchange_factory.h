// The factories the host calls: CExchangeFactory turns a procedure number into a new procedure
// object configured from the procedure table; CExchangeParserFactory gives the parameter dialog a
// procedure's row asks for. Both return objects owned by the caller. The main database is the
// host's and is not owned. One thread at a time per factory.
#pragma once

#include <vector>

#include "dialogs/parser_dialog.h"
#include "framework/tarvo_import.h"

class CExchangeFactory {
 public:
  explicit CExchangeFactory(CDatabase* database) : m_pDatabase(database) {}
  virtual ~CExchangeFactory() = default;

  // A new procedure (destroy it with Delete), or null for an unknown number or type. A database
  // error while reading the procedure table is shown in a message box and gives null.
  CTarvoImport* GetExchangeProcedure(long number);

 private:
  CDatabase* m_pDatabase;
};

class CExchangeParserFactory {
 public:
  virtual ~CExchangeParserFactory() = default;
  // The dialog named by the procedure's StrParser (case-insensitive), or null when there is none
  // or the procedure's source database cannot be opened.
  CTarvoParserDialog* GetParser(CTarvoImport* procedure, CWnd* parent);
};

// The hard-coded procedures the factory knows, by number, in number order. `create` is null for
// a procedure that this build does not provide yet.
struct ProcedureEntry {
  long number;  // 0 for a procedure without a number
  const char* className;
  const char* description;  // Windows-1252 text, for the procedure table and the help
  CTarvoImport* (*create)();
};
const std::vector<ProcedureEntry>& KnownProcedures();
const ProcedureEntry* FindProcedure(long number);
// The parameter dialog ("parserarticoli") that a new procedure table gives a hard-coded procedure;
// the empty text for none.
const char* DefaultParserName(long number);
// The procedures without a number, which the factory never creates: the host constructs them by
// class name (`tarvo-exchange run --class NAME`). Number 0 in every entry.
const std::vector<ProcedureEntry>& UnnumberedProcedures();
// The entry of a class name (exact spelling) in either table, or null.
const ProcedureEntry* FindProcedureByClass(const CString& className);
// What a procedure does to the world, as far as the host must know it to try the procedure
// without effect (a dry run): database and file work can be tried (connections roll back, files
// go to a scratch folder); a transfer over HTTP or FTP cannot, nor a driver file's steps, which
// name their own paths and commands. Every procedure is kLocal unless procedure_table.cpp lists
// its class among the transfers, or it is the driver engine (kDriver).
enum class EProcedureKind { kLocal, kTransfer, kDriver };
EProcedureKind ProcedureKindOf(const CString& className);
// The driver engine for the types "xmlexport" and "xmlimport" (null while not built).
CTarvoImport* CreateDriverProcedure();
