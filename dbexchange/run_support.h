// Steps every database exchange takes the same way: opening its two databases, the error handler
// its work runs under, and the end of its transactions. The work of a run runs under the handler, and a database error or a value that a column cannot take (a number column given
// text) becomes one plain log line and a false result instead of an exception. Our own bugs
// (tarvo::CException of kind kInternal) are handled the same way: the run ends, the caller rolls
// back, nothing reaches the host.
//
// Stateless; use it from the procedure's worker thread.
#pragma once

#include <functional>

#include "framework/tarvo_import.h"

namespace tarvo::exchange {

// Runs `work`. On tarvo::CException (CDBException included) logs `prefix` followed by the error's text
// (TMS_NONE) and returns false; true when `work` returned normally.
bool RunGuarded(CTarvoImport& procedure, const char* prefix, const std::function<void()>& work);

}  // namespace tarvo::exchange

namespace tarvo::exchange {

// Ends the run's transactions on both databases, the out database first: commits them when
// `commit` is true, rolls them back otherwise. A failing commit is logged like RunGuarded does,
// whatever is still open is rolled back, and false is returned; true when everything committed
// (or, for a rollback, always). A database without an open transaction is left alone.
bool EndTransactions(CTarvoImport& procedure, bool commit, const char* prefix);

}  // namespace tarvo::exchange

namespace tarvo::exchange {

// Which of its two databases a procedure opens first.
enum class EOpenOrder { kOutFirst, kInFirst };
// How far OpenDatabases got.
enum class EOpened { kBoth, kFirstFailed, kSecondFailed };

// Opens the procedure's two databases in `order`, each with its own log lines. On a failure it
// closes the first database and, when the second one failed, then the second (the "database non
// allocato!!" and closing lines as they come); the host is left for the caller to notify.
// Both connect without the driver's per-statement savepoints (CDatabase::SetStatementSavepoints):
// the caller ends a transaction in which a statement failed with a rollback, never goes on in it.
EOpened OpenDatabases(CTarvoImport& procedure, EOpenOrder order);

}  // namespace tarvo::exchange
