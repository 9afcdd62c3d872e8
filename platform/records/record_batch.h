// CRecordBatch: rows of one table written in a few multi-row statements instead of one statement
// per row, for copies into a database server where every statement costs a network round trip.
// New rows go out as one INSERT with many VALUES rows; changed rows as one UPDATE joined to a
// VALUES list of the keys and the new values. The statements are prepared once per batch size
// and reused (server-side prepare on PostgreSQL).
//
// The batch writes the columns given at construction, by the table's single key column, with the
// values a record set's Update would send (CRecordSetBase::GetParameterValue). It owns its
// prepared statements and nothing else; the record set and its database must outlive it. One
// thread at a time. Execute throws CDBException when the database refuses the statement; which
// row was at fault is then unknown, so callers that must report it run the rows again one by one
// (see dbexchange/record_transfer.h), after rolling back to the savepoint taken with Savepoint.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "platform/records/record_set.h"

class CRecordBatch {
 public:
  // `columns`: binding positions of the columns written, in order. The table must have exactly
  // one key column (Supported tells).
  CRecordBatch(CRecordSetBase& table, std::vector<int> columns);
  ~CRecordBatch();
  CRecordBatch(const CRecordBatch&) = delete;
  CRecordBatch& operator=(const CRecordBatch&) = delete;

  // True when the database speaks the multi-row statements (SQLite, PostgreSQL) and the table
  // has a single key column.
  static bool Supported(const CRecordSetBase& table);

  // Queues a new row / a change of the row whose key is `key` (as stored now). `values` hold one
  // value per column given at construction, in that order.
  void AddInsert(std::vector<CDBValue> values);
  void AddUpdate(CDBValue key, std::vector<CDBValue> values);
  size_t Size() const { return inserts_.size() / columns_.size() + updates_.size() / (columns_.size() + 1); }  // rows
  // Rows a batch takes before its owner should execute it (statement parameters stay below the
  // limits of both databases).
  size_t Capacity() const { return capacity_; }

  // Writes the queued rows and forgets them. On failure the rows stay queued (Clear forgets them).
  void Execute();
  void Clear();

  // Execute between a savepoint and its release, inside the caller's transaction: when the
  // database refuses the batch, the rows are forgotten, the batch is undone alone and `replay`
  // writes them again one by one (so that the error, if any, is the faulty row's own and comes
  // after the rows before it). Throws what `replay` or the savepoint statements throw.
  void ExecuteOrReplay(const std::function<void()>& replay);

  // Savepoints around a batch inside the caller's transaction, so that a refused batch can be
  // undone alone and its rows run again one by one. Each is one statement; throws CDBException.
  void Savepoint();
  void ReleaseSavepoint();
  void RollbackToSavepoint();

 private:
  CODBCStatement& Statement(std::map<size_t, std::unique_ptr<CODBCStatement>>& cache, size_t rows, bool update);
  CString InsertSql(size_t rows) const;
  CString UpdateSql(size_t rows) const;
  void Run(std::map<size_t, std::unique_ptr<CODBCStatement>>& cache, std::vector<CDBValue>& params, size_t rows,
           bool update);

  CRecordSetBase& table_;
  std::vector<int> columns_;
  int key_ = -1;
  size_t capacity_ = 1;
  std::vector<CDBValue> inserts_;  // row after row, columns_.size() values each
  std::vector<CDBValue> updates_;  // key then the values, row after row
  std::map<size_t, std::unique_ptr<CODBCStatement>> insertStatements_, updateStatements_;  // by rows
};
