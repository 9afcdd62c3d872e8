#include "platform/records/record_batch.h"

#include <algorithm>

namespace {

using tarvo::CException;
using tarvo::ErrorKind;

// Parameters per statement: libpq refuses the server's description of a statement's parameters
// when it exceeds 30,000 bytes (4 bytes a parameter), well before PostgreSQL's own limit of
// 65,535 and SQLite's of 32,766. A few hundred rows already make the round trip's share of a
// row negligible.
constexpr size_t kMaxParameters = 7000;
constexpr size_t kMaxRows = 1000;
// Rows of one UPDATE. The server joins them to the table by its key; a longer list lets
// PostgreSQL's planner prefer a scan of the whole table to one index probe per row, above all
// right after a large load, before the table's statistics are gathered.
constexpr size_t kMaxUpdateRows = 100;

const char kSavepoint[] = "TARVO_BATCH";

// PostgreSQL gives a VALUES column one type for all its rows; a NULL travels as text, so every
// value is cast to its column's type. SQLite takes the values as they come.
const char* PostgresType(CRecordSetBase::EColumn column) {
  switch (column) {
    case CRecordSetBase::EColumn::kInteger: return "BIGINT";
    case CRecordSetBase::EColumn::kReal: return "DOUBLE PRECISION";
    case CRecordSetBase::EColumn::kDate: return "TIMESTAMP";
    case CRecordSetBase::EColumn::kText: break;
  }
  return "VARCHAR";
}

}  // namespace

CRecordBatch::CRecordBatch(CRecordSetBase& table, std::vector<int> columns) : table_(table), columns_(std::move(columns)) {
  for (int i = 0; i < table_.GetFieldCount(); ++i)
    if (table_.IsKeyField(i)) key_ = i;
  if (!Supported(table_) || columns_.empty())
    throw CException(ErrorKind::kInternal, table_.GetTableName() + ": scrittura a blocchi non possibile");
  capacity_ = std::clamp<size_t>(kMaxParameters / (columns_.size() + 1), 1, kMaxRows);
}

CRecordBatch::~CRecordBatch() = default;

bool CRecordBatch::Supported(const CRecordSetBase& table) {
  const EDialect dialect = table.GetDatabase() ? table.GetDatabase()->GetDialect() : EDialect::kOther;
  if (dialect != EDialect::kSQLite && dialect != EDialect::kPostgreSQL) return false;
  int keys = 0;
  for (int i = 0; i < table.GetFieldCount(); ++i) keys += table.IsKeyField(i) ? 1 : 0;
  return keys == 1;
}

void CRecordBatch::AddInsert(std::vector<CDBValue> values) {
  if (values.size() != columns_.size()) throw CException(ErrorKind::kInternal, "CRecordBatch: riga incompleta");
  for (CDBValue& v : values) inserts_.push_back(std::move(v));
}

void CRecordBatch::AddUpdate(CDBValue key, std::vector<CDBValue> values) {
  if (values.size() != columns_.size()) throw CException(ErrorKind::kInternal, "CRecordBatch: riga incompleta");
  updates_.push_back(std::move(key));
  for (CDBValue& v : values) updates_.push_back(std::move(v));
}

void CRecordBatch::Clear() {
  inserts_.clear();
  updates_.clear();
}

CString CRecordBatch::InsertSql(size_t rows) const {
  CString names, marks;
  for (int c : columns_) {
    if (!names.empty()) names += ", ", marks += ", ";
    names += table_.GetFieldName(c);
    marks += "?";
  }
  CString sql = "INSERT INTO " + table_.GetTableName() + " (" + names + ") VALUES ";
  sql.reserve(sql.size() + rows * (marks.size() + 4));
  for (size_t r = 0; r < rows; ++r) sql += (r ? ", (" : "(") + marks + ")";
  return sql;
}

CString CRecordBatch::UpdateSql(size_t rows) const {
  const bool postgres = table_.GetDatabase()->GetDialect() == EDialect::kPostgreSQL;
  auto mark = [postgres](CRecordSetBase::EColumn type) {
    return postgres ? CString("CAST(? AS ") + PostgresType(type) + ")" : CString("?");
  };
  const CString& table = table_.GetTableName();
  // A row that already holds every value is left alone: writing it again would change nothing
  // but cost a new row version and its index entries (PostgreSQL) or its pages (SQLite). Values
  // are compared as the column holds them; a doubtful comparison counts as a change.
  const char* differs = postgres ? " IS DISTINCT FROM " : " IS NOT ";
  CString names = "K", row = mark(table_.GetFieldColumnType(key_)), sets, changed;
  for (size_t i = 0; i < columns_.size(); ++i) {
    CString alias = tarvo::StrFormat("C%zu", i);
    const CString& column = table_.GetFieldName(columns_[i]);
    names += ", " + alias;
    row += ", " + mark(table_.GetFieldColumnType(columns_[i]));
    if (!sets.empty()) sets += ", ", changed += " OR ";
    sets += column + " = V." + alias;
    changed += table + "." + column + differs + "V." + alias;
  }
  CString sql = "WITH V (" + names + ") AS (VALUES ";
  sql.reserve(sql.size() + rows * (row.size() + 4) + sets.size() + changed.size() + 100);
  for (size_t r = 0; r < rows; ++r) sql += (r ? ", (" : "(") + row + ")";
  return sql + ") UPDATE " + table + " SET " + sets + " FROM V WHERE " + table + "." + table_.GetFieldName(key_) +
         " = V.K AND (" + changed + ")";
}

CODBCStatement& CRecordBatch::Statement(std::map<size_t, std::unique_ptr<CODBCStatement>>& cache, size_t rows,
                                        bool update) {
  std::unique_ptr<CODBCStatement>& statement = cache[rows];
  if (!statement) {
    auto prepared = std::make_unique<CODBCStatement>(table_.GetDatabase());
    prepared->PrepareRepeated(update ? UpdateSql(rows) : InsertSql(rows));
    statement = std::move(prepared);
  }
  return *statement;
}

void CRecordBatch::Run(std::map<size_t, std::unique_ptr<CODBCStatement>>& cache, std::vector<CDBValue>& params,
                       size_t rows, bool update) {
  if (rows == 0) return;
  // Every size stays prepared: full batches come again, and so do the small batches of a table
  // written a few rows at a time (the lines of a document). Freeing a prepared statement inside a
  // transaction would cost PostgreSQL's driver one more round trip.
  Statement(cache, rows, update).Execute(params);
}

void CRecordBatch::Execute() {
  const size_t width = columns_.size();
  // The queues hold about a batch (the owner executes at Capacity), but a caller may queue more:
  // they go out in batches, the updates in statements of at most kMaxUpdateRows rows.
  auto runAll = [&](std::vector<CDBValue>& queue, size_t rowWidth, bool update,
                    std::map<size_t, std::unique_ptr<CODBCStatement>>& cache) {
    const size_t rows = queue.size() / rowWidth;
    const size_t most = update ? std::min(capacity_, kMaxUpdateRows) : capacity_;
    if (rows <= most) return Run(cache, queue, rows, update);
    for (size_t first = 0; first < rows; first += most) {
      const size_t count = std::min(most, rows - first);
      std::vector<CDBValue> params(queue.begin() + static_cast<std::ptrdiff_t>(first * rowWidth),
                                   queue.begin() + static_cast<std::ptrdiff_t>((first + count) * rowWidth));
      Run(cache, params, count, update);
    }
  };
  runAll(updates_, width + 1, true, updateStatements_);
  runAll(inserts_, width, false, insertStatements_);
  table_.CountWrites(static_cast<long long>(inserts_.size() / width),
                     static_cast<long long>(updates_.size() / (width + 1)));
  Clear();
}

void CRecordBatch::ExecuteOrReplay(const std::function<void()>& replay) {
  Savepoint();
  try {
    Execute();
  } catch (const CDBException&) {
    Clear();
    RollbackToSavepoint();
    replay();
  }
  ReleaseSavepoint();
}

void CRecordBatch::Savepoint() { table_.GetDatabase()->ExecuteSQL(CString("SAVEPOINT ") + kSavepoint); }
void CRecordBatch::ReleaseSavepoint() { table_.GetDatabase()->ExecuteSQL(CString("RELEASE SAVEPOINT ") + kSavepoint); }
void CRecordBatch::RollbackToSavepoint() {
  table_.GetDatabase()->ExecuteSQL(CString("ROLLBACK TO SAVEPOINT ") + kSavepoint);
}
