// Row copying between the out database (the source) and the in database (the destination), as
// every database exchange does it: rows are read from a record set on the out database and
// written, by key, into a record set of the same class on the in database; insert when the key
// is missing, overwrite column by column when it exists; never delete, never compare values.
//
// The partner imports use the same key lookup (AddOrEdit, DoubleQuotes) and column access.
// These are helpers over CRecordSetBase and CTarvoImport; they own nothing and keep no state.
// Use them from the procedure's worker thread. Database failures propagate as CDBException (the
// procedure's own handler logs them and rolls back); the functions themselves catch nothing.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "framework/tarvo_import.h"
#include "platform/records/record_set.h"

class CRecordBatch;

namespace tarvo::exchange {

// The direction flag of an export/import pair: 1 export, 0 import. Only words of the log (and,
// for orders, the modified flag) depend on it; which database is read is fixed by the host.
inline const char* DirectionWord(int direction) { return direction ? "esportazione" : "importazione"; }

// Doubles every single quote, for a value pasted between quotes into a filter.
CString DoubleQuotes(const CString& value);

// The current value of a column (by binding position) as text; NULL gives "".
CString FieldText(const CRecordSetBase& record, int index);

// Columns [first, first + count) in binding order.
struct CColumnRange {
  int first;
  int count;
};

// Copies the listed columns of the source's current row into the target's row being added or
// edited: values as read, NULL state included.
void CopyFields(const CRecordSetBase& source, CRecordSetBase& target, const std::vector<CColumnRange>& columns);

// Positions `target` with `filter` (requery when open, open otherwise); true when a row matches.
bool FindRow(CRecordSetBase& target, const CString& filter);

// Positions `target` with `filter` (requery when open, open otherwise) and starts a new row when
// nothing matches, or an edit of the row found. Returns true when a row was found.
bool AddOrEdit(CRecordSetBase& target, const CString& filter);

// Stop test of a row loop: when the host's stop event is set, logs "Operazione interrotta
// dall'utente." (error) and the same words without the full stop (plain), and returns true.
bool InterruptRequested(CTarvoImport& procedure);

// One table of a row-by-row copy.
struct CTableCopy {
  CString sort;                       // source sort
  CString filter;                     // source filter; empty: every row
  CString keyFilter;                  // target filter with one "%s" for the key (column 0)
  std::vector<CColumnRange> columns;  // columns copied
  // The key is doubled in the source row itself, so the target receives the doubled key (the
  // article rule); otherwise only the filter sees the doubled copy.
  bool doubleKeyInPlace = false;
  // The row's log line (plain status), written before the key is touched.
  std::function<CString(const CRecordSetBase& source)> rowLine;
};

// Copies every source row into the target as `copy` says, testing the stop event before each
// row. Opens the source, closes source and target at the end. Returns false when it stopped on
// request (the two interruption lines are logged). Throws CDBException.
//
// Inside a transaction on the target (the caller's own, committed or rolled back as a whole)
// and with a key filter of the form "COLUMN = '%s'" on the table's text key, the copy takes few
// round trips to a server: the target's rows are read once per table, a row the target already
// holds with the same values is not written again, and the others go out in multi-row
// statements (CRecordBatch). What the caller and the log see is the row-by-row copy's:
// the row lines come in the same order, each before anything logged after its row, and are
// released once their batch is written; a batch the database refuses is rolled back to its
// savepoint and its rows run again one by one, so the error text, and the rows logged before
// it, are those of the row at fault. A stop request writes the rows queued before its lines are
// logged. Outside a transaction every row is written (and committed) as it comes.
bool CopyTable(CTarvoImport& procedure, CRecordSetBase& source, CRecordSetBase& target, const CTableCopy& copy);

// New rows of one table whose key the database gives (the key column is not written), added
// through `target` and written in multi-row statements (CRecordBatch) while the target's
// database is in a transaction: Add takes the row being added in `target` in place of its
// Update. A row that cannot go in a batch (outside a transaction, a key or a column left to its
// default) is written at once, after the rows queued before it. Flush before anything that must
// see the rows (a commit, a lookup of them); a refused batch is written again row by row, so the
// error is the faulty row's own. Holds `target` (which must outlive it) and the queued values.
// Throws CDBException (and tarvo::CException for a value its column cannot take).
class CInsertQueue {
 public:
  explicit CInsertQueue(CRecordSetBase& target);
  ~CInsertQueue();
  CInsertQueue(const CInsertQueue&) = delete;
  CInsertQueue& operator=(const CInsertQueue&) = delete;

  void Add();
  void Flush();
  void Clear();  // forgets the queued rows (their transaction is being rolled back)

 private:
  void Write(const std::vector<CDBValue>& values);  // one row through target's Update

  CRecordSetBase& target_;
  int key_ = -1;
  std::vector<int> columns_;  // every column but the key
  std::unique_ptr<CRecordBatch> batch_;
  std::vector<std::vector<CDBValue>> pending_;
};

}  // namespace tarvo::exchange
