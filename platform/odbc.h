// The ODBC layer over unixODBC: a connection (CDatabase), a forward-only result set
// (CODBCRecordset with CDBField), prepared statements (CODBCStatement) and the values bound to
// them (CDBValue). Text crosses this layer as Windows-1252; the database's own character set
// (UTF-8 for the SQLite3 and psqlODBC drivers) is converted here and nowhere else.
//
// Every failure of the driver is thrown as CDBException with the return code, SQLSTATE, native
// code and driver text. One CDatabase and the objects made on it are used by one thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <variant>
#include <vector>

#include "platform/errors.h"
#include "platform/text.h"

// ODBC SQL type codes as the drivers report them (values of <sql.h>, kept here so that callers
// need not include the ODBC headers).
enum ESqlType : short {
  kSqlUnknown = 0,
  kSqlChar = 1,
  kSqlNumeric = 2,
  kSqlDecimal = 3,
  kSqlInteger = 4,
  kSqlSmallInt = 5,
  kSqlFloat = 6,
  kSqlReal = 7,
  kSqlDouble = 8,
  kSqlDateTime = 9,
  kSqlVarChar = 12,
  kSqlTypeDate = 91,
  kSqlTypeTime = 92,
  kSqlTypeTimestamp = 93,
  kSqlLongVarChar = -1,
  kSqlBinary = -2,
  kSqlVarBinary = -3,
  kSqlLongVarBinary = -4,
  kSqlBigInt = -5,
  kSqlTinyInt = -6,
  kSqlBit = -7,
  kSqlWChar = -8,
  kSqlWVarChar = -9,
  kSqlWLongVarChar = -10,
};

namespace tarvo {
bool IsSqlTextType(short sqlType);
bool IsSqlIntegerType(short sqlType);
bool IsSqlRealType(short sqlType);  // float, double, numeric, decimal
bool IsSqlDateType(short sqlType);  // date, time, timestamp
bool IsSqlBinaryType(short sqlType);
}  // namespace tarvo

// A date and time as ODBC carries it.
struct CDBTimestamp {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  // "YYYY-MM-DD HH:MM:SS"
  CString ToString() const;
  // Parses "YYYY-MM-DD[ HH:MM:SS[.fff]]" (also with 'T'); nullopt when it is not such a text.
  static std::optional<CDBTimestamp> Parse(const CString& text);
  static CDBTimestamp Now();
  bool operator==(const CDBTimestamp&) const = default;
};

// One value bound to a statement parameter; std::monostate is NULL.
using CDBValue = std::variant<std::monostate, long long, double, CString, CDBTimestamp>;

enum class EDialect { kSQLite, kPostgreSQL, kOther };

class CDatabase {
 public:
  CDatabase();
  ~CDatabase();  // closes; never throws
  CDatabase(const CDatabase&) = delete;
  CDatabase& operator=(const CDatabase&) = delete;

  // Connects from a configuration text: an ODBC connection string ("DRIVER=...;..." or
  // "DSN=...;...") or a bare path of a SQLite file (opened with the SQLite3 ODBC driver, created
  // if missing). Returns true when connected; throws CDBException with the driver's text.
  bool OpenEx(const CString& config);
  // psqlODBC guards every statement it runs inside a transaction with a savepoint of its own
  // (a SAVEPOINT before and a RELEASE after: two more statements per statement) so that a failed
  // statement leaves the transaction usable. A caller that manages its own transaction and ends
  // it at the first error has no use for them: SetStatementSavepoints(false) before OpenEx
  // connects without them, and a failed statement then leaves the transaction aborted until
  // Rollback (or a rollback to the caller's own savepoint). Applies to connection strings that
  // name the PostgreSQL driver and do not choose a level of their own ("Protocol=").
  void SetStatementSavepoints(bool on) { statement_savepoints_ = on; }
  void Close();
  bool IsOpen() const;  // holds a connection handle
  const CString& GetConnect() const { return connect_; }
  EDialect GetDialect() const { return dialect_; }

  // Runs one statement directly; returns the number of rows it affected (-1 if unknown).
  long ExecuteSQL(const CString& sql);
  long ExecuteSQL(const CString& sql, const std::vector<CDBValue>& params);
  // Runs a script of statements separated by ";" (quotes, "--" comments and $$ bodies honoured).
  void ExecuteScript(const CString& script);

  // Transactions: BeginTrans switches auto-commit off until CommitTrans or Rollback.
  // A connection opened during a dry run (tarvo::IsDryRun) never commits: the whole connection is
  // one transaction that Close rolls back, and BeginTrans, CommitTrans and Rollback become a
  // savepoint, its release and a rollback to it, so that the run sees its own work as a real run
  // would while nothing reaches the database. InTransaction tells of the caller's transaction.
  bool CanTransact() const { return true; }
  bool BeginTrans();
  bool CommitTrans();
  bool Rollback();
  bool InTransaction() const { return in_transaction_; }
  bool IsDryRun() const { return dry_run_; }
  // Whether record sets on this connection count the rows they fetch as rows read
  // (tarvo::CTableRowCounts): yes for a source, no for a destination, whose reads are key lookups.
  void SetRowsReadCounted(bool on) { rows_read_counted_ = on; }
  bool RowsReadCounted() const { return rows_read_counted_; }

  // Character set conversion between our Windows-1252 text and the database's.
  CString ToDatabaseText(std::string_view text) const;
  CString FromDatabaseText(std::string_view text) const;

  void* ConnectionHandle() const { return hdbc_; }  // for the ODBC layer's own classes

 private:
  void* hdbc_ = nullptr;
  CString connect_;
  EDialect dialect_ = EDialect::kOther;
  bool utf8_ = true;
  bool in_transaction_ = false;
  bool statement_savepoints_ = true;
  bool dry_run_ = false;
  bool rows_read_counted_ = true;
};

// A prepared statement on one database. Reusable: Execute may be called many times.
class CODBCStatement {
 public:
  explicit CODBCStatement(CDatabase* db);
  ~CODBCStatement();
  CODBCStatement(const CODBCStatement&) = delete;
  CODBCStatement& operator=(const CODBCStatement&) = delete;

  void Prepare(const CString& sql);  // throws CDBException
  // Prepares a statement meant to run many times. The embedded database's driver compiles an
  // INSERT, UPDATE or DELETE anew at every execution, but a query only once; such a statement is
  // therefore prepared behind a common table expression, which makes it read as a query to the
  // driver and leaves its meaning unchanged. Execute then reports no row count (-1).
  void PrepareRepeated(const CString& sql);
  const CString& Sql() const { return sql_; }
  // Binds the values to the parameter markers in order and executes; returns the rows affected.
  long Execute(const std::vector<CDBValue>& params = {});
  // Executes `sql` once without preparing it (a server keeps no plan of it to free later); the
  // statement is then not prepared, and Sql() gives `sql`. Returns the rows affected.
  long ExecuteDirect(const CString& sql, const std::vector<CDBValue>& params = {});
  bool IsPrepared() const { return prepared_; }
  // Executes a query and gives the first column of its first row as text (NULL as the empty
  // text), or nothing when it returns no row. The cursor is closed again.
  std::optional<CString> QueryFirstValue(const std::vector<CDBValue>& params = {});
  void CloseCursor();
  void* Handle() const { return hstmt_; }
  CDatabase* Database() const { return db_; }

 private:
  long Run(const std::vector<CDBValue>& params, const CString* direct);
  CDatabase* db_;
  void* hstmt_ = nullptr;
  CString sql_;
  bool prepared_ = false;
  bool countUnknown_ = false;  // prepared as a query in the driver's eyes: no row count
};

// One column of the current row of a CODBCRecordset.
class CDBField {
 public:
  const CString& GetName() const { return name_; }
  short GetSQLType() const { return sql_type_; }
  unsigned long GetPrecision() const { return precision_; }  // column size
  short GetScale() const { return scale_; }
  bool IsNullable() const { return nullable_; }
  bool IsNull() const { return null_; }

  // Conversions of the current value; NULL gives the empty text, 0, 0.0 or a zero timestamp.
  CString AsString() const;  // Windows-1252 text; numbers as the driver formats them
  long AsLong() const;
  long long AsInt64() const;
  double AsDouble() const;
  bool AsBool() const;
  CDBTimestamp AsDate() const;
  const CString& AsBinary() const { return text_; }  // raw bytes of a binary column

 private:
  friend class CODBCRecordset;
  enum class Kind { kText, kInteger, kReal, kDate, kBinary };
  CString name_;
  short sql_type_ = 0;
  unsigned long precision_ = 0;
  short scale_ = 0;
  bool nullable_ = true;
  Kind kind_ = Kind::kText;
  bool null_ = true;
  CString text_;
  long long int_ = 0;
  double real_ = 0;
  CDBTimestamp date_;
};

// A forward-only, read-only result set. Open executes and positions on the first row.
class CODBCRecordset {
 public:
  explicit CODBCRecordset(CDatabase* db);
  ~CODBCRecordset();
  CODBCRecordset(const CODBCRecordset&) = delete;
  CODBCRecordset& operator=(const CODBCRecordset&) = delete;

  // Executes `sql` (with parameter values for its markers) and reads the first row. Returns true
  // when the statement produced a result set. Throws CDBException.
  bool Open(const CString& sql, const std::vector<CDBValue>& params = {});
  void Close();
  bool IsOpen() const { return open_; }
  bool IsEOF() const { return eof_; }
  void MoveNext();  // throws CDBException

  int GetFieldCount() const { return static_cast<int>(fields_.size()); }
  CDBField& Field(int index);
  // Case-insensitive lookup; throws tarvo::CException (internal) for an unknown name.
  CDBField& Field(const CString& name);
  int FindField(const CString& name) const;  // -1 when absent
  CDBField& operator[](int index) { return Field(index); }
  CDBField& operator[](const CString& name) { return Field(name); }

 private:
  void Fetch();
  CDatabase* db_;
  std::unique_ptr<CODBCStatement> stmt_;
  std::vector<CDBField> fields_;
  bool open_ = false;
  bool eof_ = true;
};

// Splits a script into statements (exposed for tests).
std::vector<CString> SplitSqlScript(const CString& script);
