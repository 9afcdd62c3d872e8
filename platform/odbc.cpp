#include "platform/odbc.h"

#include <sql.h>
#include <sqlext.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>

#include <sys/stat.h>

#include "platform/files.h"
#include "platform/run_journal.h"

namespace tarvo {

bool IsSqlTextType(short t) {
  return t == SQL_CHAR || t == SQL_VARCHAR || t == SQL_LONGVARCHAR || t == SQL_WCHAR || t == SQL_WVARCHAR ||
         t == SQL_WLONGVARCHAR;
}
bool IsSqlIntegerType(short t) {
  return t == SQL_INTEGER || t == SQL_SMALLINT || t == SQL_BIGINT || t == SQL_TINYINT || t == SQL_BIT;
}
bool IsSqlRealType(short t) {
  return t == SQL_FLOAT || t == SQL_REAL || t == SQL_DOUBLE || t == SQL_NUMERIC || t == SQL_DECIMAL;
}
bool IsSqlDateType(short t) {
  return t == SQL_TYPE_DATE || t == SQL_TYPE_TIME || t == SQL_TYPE_TIMESTAMP || t == SQL_DATETIME || t == SQL_DATE ||
         t == SQL_TIME || t == SQL_TIMESTAMP;
}
bool IsSqlBinaryType(short t) { return t == SQL_BINARY || t == SQL_VARBINARY || t == SQL_LONGVARBINARY; }

}  // namespace tarvo

using namespace tarvo;

namespace {

// The process-wide ODBC environment, created on first use and kept for the process.
SQLHENV Environment() {
  static SQLHENV env = [] {
    SQLHENV h = SQL_NULL_HENV;
    if (!SQL_SUCCEEDED(SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &h)))
      throw CDBException(SQL_ERROR, "HY000", 0, "Impossibile inizializzare il gestore ODBC.");
    SQLSetEnvAttr(h, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
    return h;
  }();
  return env;
}

// Reads the diagnostic records of a handle and throws them as one CDBException.
[[noreturn]] void ThrowDiag(SQLRETURN rc, SQLSMALLINT type, SQLHANDLE handle, const char* what) {
  CString text, state;
  SQLINTEGER native = 0, firstNative = 0;
  SQLCHAR st[6] = {0};
  SQLCHAR msg[1024];
  SQLSMALLINT len = 0;
  for (SQLSMALLINT i = 1; handle != nullptr; ++i) {
    if (!SQL_SUCCEEDED(SQLGetDiagRec(type, handle, i, st, &native, msg, sizeof msg, &len))) break;
    if (i == 1) {
      state.assign(reinterpret_cast<char*>(st));
      firstNative = native;
    } else {
      text += "\n";
    }
    text += Utf8ToCp1252(reinterpret_cast<char*>(msg));
  }
  if (text.empty()) text = StrFormat("%s: errore ODBC %d", what, static_cast<int>(rc));
  throw CDBException(rc, state, firstNative, text);
}

void Check(SQLRETURN rc, SQLSMALLINT type, SQLHANDLE handle, const char* what) {
  if (!SQL_SUCCEEDED(rc)) ThrowDiag(rc, type, handle, what);
}

// WAL with synchronous NORMAL: a committed row survives a crash of the program; busy waits up to
// 10 s for another process's lock instead of failing at once. A new file is put in WAL mode only
// after its page size is chosen (OpenEx), as the switch writes the first page.
CString SqliteConnectionString(const CString& path, bool newFile) {
  CString conn = "DRIVER=SQLite3;Database=" + path + ";Timeout=10000;SyncPragma=NORMAL;LongNames=0";
  return newFile ? conn : conn + ";JournalMode=WAL";
}

// Options for a connection string that names the PostgreSQL driver, unless it sets them itself.
// Server-side prepare: a statement prepared once is parsed and planned once on the server and
// each execution sends only its parameters (psqlODBC's default today, stated so that an older
// driver or a DSN setting does not turn it off). Without statement savepoints ("Protocol=7.4-0",
// the driver does nothing on an error) only for callers that asked (SetStatementSavepoints).
// No communication log: Debian registers the driver with "CommLog=1", which leaves a file per
// connection in /tmp with the session's traffic in it.
CString PostgresConnectionString(const CString& conn, bool statementSavepoints) {
  const CString lower = ToLower(conn);
  if (lower.find("driver={postgresql") == CString::npos) return conn;
  CString options = conn;
  if (!options.empty() && options.back() != ';') options += ";";
  if (lower.find("useserversideprepare=") == CString::npos) options += "UseServerSidePrepare=1;";
  if (!statementSavepoints && lower.find("protocol=") == CString::npos) options += "Protocol=7.4-0;";
  if (lower.find("commlog=") == CString::npos) options += "CommLog=0;";
  return options;
}

bool IsNewSqliteFile(const CString& path) {
  struct stat st {};
  return ::stat(NativePath(path).c_str(), &st) != 0 || st.st_size == 0;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
CString CDBTimestamp::ToString() const {
  return StrFormat("%04d-%02d-%02d %02d:%02d:%02d", year, month, day, hour, minute, second);
}

std::optional<CDBTimestamp> CDBTimestamp::Parse(const CString& s) {
  CDBTimestamp t;
  int n = 0;
  char sep = ' ';
  if (std::sscanf(s.c_str(), "%4d-%2d-%2d%n", &t.year, &t.month, &t.day, &n) != 3 || n != 10) return std::nullopt;
  if (s.size() > 10) {
    sep = s[10];
    if (sep != ' ' && sep != 'T') return std::nullopt;
    if (std::sscanf(s.c_str() + 11, "%2d:%2d:%2d", &t.hour, &t.minute, &t.second) < 2) return std::nullopt;
  }
  if (t.month < 1 || t.month > 12 || t.day < 1 || t.day > 31) return std::nullopt;
  return t;
}

CDBTimestamp CDBTimestamp::Now() {
  std::time_t now = std::time(nullptr);
  std::tm tm{};
  localtime_r(&now, &tm);
  return CDBTimestamp{tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec};
}

// ---------------------------------------------------------------------------------------------
CDatabase::CDatabase() = default;

CDatabase::~CDatabase() {
  try {
    Close();
  } catch (...) {
  }
}

bool CDatabase::OpenEx(const CString& config) {
  if (IsOpen()) return true;
  CString conn = Trim(config);
  bool newSqliteFile = false;
  if (conn.find('=') == CString::npos) {
    newSqliteFile = IsNewSqliteFile(conn);
    conn = SqliteConnectionString(conn, newSqliteFile);
  } else {
    conn = PostgresConnectionString(conn, statement_savepoints_);
  }
  SQLHDBC h = SQL_NULL_HDBC;
  Check(SQLAllocHandle(SQL_HANDLE_DBC, Environment(), &h), SQL_HANDLE_ENV, Environment(), "SQLAllocHandle");
  SQLSetConnectAttr(h, SQL_ATTR_LOGIN_TIMEOUT, reinterpret_cast<SQLPOINTER>(15), 0);
  CString utf8 = Cp1252ToUtf8(conn);
  SQLCHAR out[2048];
  SQLSMALLINT outLen = 0;
  SQLRETURN rc = SQLDriverConnect(h, nullptr, reinterpret_cast<SQLCHAR*>(utf8.data()), SQL_NTS, out, sizeof out,
                                  &outLen, SQL_DRIVER_NOPROMPT);
  if (!SQL_SUCCEEDED(rc)) {
    try {
      ThrowDiag(rc, SQL_HANDLE_DBC, h, "SQLDriverConnect");
    } catch (...) {
      SQLFreeHandle(SQL_HANDLE_DBC, h);
      throw;
    }
  }
  hdbc_ = h;
  connect_ = conn;
  char name[128] = {0};
  SQLSMALLINT nameLen = 0;
  if (SQL_SUCCEEDED(SQLGetInfo(h, SQL_DBMS_NAME, name, sizeof name, &nameLen))) {
    CString dbms = ToLower(name);
    if (dbms.find("sqlite") != CString::npos) dialect_ = EDialect::kSQLite;
    else if (dbms.find("postgres") != CString::npos) dialect_ = EDialect::kPostgreSQL;
    else dialect_ = EDialect::kOther;
  }
  if (newSqliteFile) {
    // Small pages: the procedures commit row by row, and every commit writes whole pages to the
    // log. Chosen before the first write, which the switch to WAL is.
    ExecuteSQL("PRAGMA page_size = 1024");
    ExecuteSQL("PRAGMA journal_mode = WAL");
  }
  if (dialect_ == EDialect::kSQLite) {
    // Foreign keys are enforced only when asked for, per connection.
    try {
      ExecuteSQL("PRAGMA foreign_keys = ON");
    } catch (const CDBException&) {
    }
  }
  if (tarvo::IsDryRun()) {
    // Nothing is committed until the end, so a second connection of the run that wants a row
    // this one changed would wait for ever: give up after a minute with an error instead.
    if (dialect_ == EDialect::kPostgreSQL) ExecuteSQL("SET lock_timeout = '60s'");
    Check(SQLSetConnectAttr(h, SQL_ATTR_AUTOCOMMIT, reinterpret_cast<SQLPOINTER>(SQL_AUTOCOMMIT_OFF), 0),
          SQL_HANDLE_DBC, h, "OpenEx");
    dry_run_ = true;
  }
  return true;
}

void CDatabase::Close() {
  if (!hdbc_) return;
  SQLHDBC h = static_cast<SQLHDBC>(hdbc_);
  if (in_transaction_ || dry_run_) {
    SQLEndTran(SQL_HANDLE_DBC, h, SQL_ROLLBACK);
    SQLSetConnectAttr(h, SQL_ATTR_AUTOCOMMIT, reinterpret_cast<SQLPOINTER>(SQL_AUTOCOMMIT_ON), 0);
    in_transaction_ = false;
    dry_run_ = false;
  }
  SQLDisconnect(h);
  SQLFreeHandle(SQL_HANDLE_DBC, h);
  hdbc_ = nullptr;
}

bool CDatabase::IsOpen() const { return hdbc_ != nullptr; }

long CDatabase::ExecuteSQL(const CString& sql) { return ExecuteSQL(sql, {}); }

long CDatabase::ExecuteSQL(const CString& sql, const std::vector<CDBValue>& params) {
  CODBCStatement stmt(this);
  if (params.empty()) {
    SQLHSTMT h = static_cast<SQLHSTMT>(stmt.Handle());
    CString text = ToDatabaseText(sql);
    SQLRETURN rc = SQLExecDirect(h, reinterpret_cast<SQLCHAR*>(text.data()), SQL_NTS);
    if (rc == SQL_NO_DATA) return 0;
    Check(rc, SQL_HANDLE_STMT, h, "SQLExecDirect");
    SQLLEN rows = -1;
    SQLRowCount(h, &rows);
    return static_cast<long>(rows);
  }
  return stmt.ExecuteDirect(sql, params);
}

namespace {
// A SQLite trigger ("CREATE TRIGGER ... BEGIN stmt; stmt; END") ends at the ";" after its END.
bool InsideTriggerBody(const CString& statement) {
  CString upper = ToUpper(Trim(statement));
  if (upper.rfind("CREATE", 0) != 0) return false;
  size_t trigger = upper.find("TRIGGER");
  size_t begin = upper.find("BEGIN");
  if (trigger == CString::npos || begin == CString::npos || begin < trigger) return false;
  return !(upper.size() >= begin + 8 && upper.ends_with("END") &&
           !std::isalnum(static_cast<unsigned char>(upper[upper.size() - 4])) && upper[upper.size() - 4] != '_');
}
}  // namespace

std::vector<CString> SplitSqlScript(const CString& script) {
  std::vector<CString> out;
  CString cur;
  size_t i = 0, n = script.size();
  auto flush = [&] {
    CString t = Trim(cur);
    if (!t.empty()) out.push_back(t);
    cur.clear();
  };
  while (i < n) {
    char c = script[i];
    if (c == '-' && i + 1 < n && script[i + 1] == '-') {
      while (i < n && script[i] != '\n') ++i;
      continue;
    }
    if (c == '\'' || c == '"') {
      size_t j = i + 1;
      while (j < n) {
        if (script[j] == c) {
          if (j + 1 < n && script[j + 1] == c) {
            j += 2;
            continue;
          }
          break;
        }
        ++j;
      }
      cur.append(script, i, j + 1 - i);
      i = j + 1;
      continue;
    }
    if (c == '$') {
      // Dollar quoting: $tag$ ... $tag$
      size_t j = i + 1;
      while (j < n && (std::isalnum(static_cast<unsigned char>(script[j])) || script[j] == '_')) ++j;
      if (j < n && script[j] == '$') {
        CString tag = script.substr(i, j + 1 - i);
        size_t end = script.find(tag, j + 1);
        size_t stop = end == CString::npos ? n : end + tag.size();
        cur.append(script, i, stop - i);
        i = stop;
        continue;
      }
    }
    if (c == ';' && !InsideTriggerBody(cur)) {
      flush();
      ++i;
      continue;
    }
    cur += c;
    ++i;
  }
  flush();
  return out;
}

void CDatabase::ExecuteScript(const CString& script) {
  for (const CString& stmt : SplitSqlScript(script)) ExecuteSQL(stmt);
}

namespace {
const char kDryRunSavepoint[] = "TARVO_DRY_RUN";
}

bool CDatabase::BeginTrans() {
  if (!hdbc_ || in_transaction_) return false;
  if (dry_run_) {
    ExecuteSQL(CString("SAVEPOINT ") + kDryRunSavepoint);
    in_transaction_ = true;
    return true;
  }
  Check(SQLSetConnectAttr(static_cast<SQLHDBC>(hdbc_), SQL_ATTR_AUTOCOMMIT,
                          reinterpret_cast<SQLPOINTER>(SQL_AUTOCOMMIT_OFF), 0),
        SQL_HANDLE_DBC, hdbc_, "BeginTrans");
  in_transaction_ = true;
  return true;
}

bool CDatabase::CommitTrans() {
  if (!hdbc_ || !in_transaction_) return false;
  if (dry_run_) {
    ExecuteSQL(CString("RELEASE SAVEPOINT ") + kDryRunSavepoint);
    in_transaction_ = false;
    return true;
  }
  SQLHDBC h = static_cast<SQLHDBC>(hdbc_);
  SQLRETURN rc = SQLEndTran(SQL_HANDLE_DBC, h, SQL_COMMIT);
  if (!SQL_SUCCEEDED(rc)) ThrowDiag(rc, SQL_HANDLE_DBC, h, "CommitTrans");
  SQLSetConnectAttr(h, SQL_ATTR_AUTOCOMMIT, reinterpret_cast<SQLPOINTER>(SQL_AUTOCOMMIT_ON), 0);
  in_transaction_ = false;
  return true;
}

bool CDatabase::Rollback() {
  if (!hdbc_ || !in_transaction_) return false;
  if (dry_run_) {
    in_transaction_ = false;
    ExecuteSQL(CString("ROLLBACK TO SAVEPOINT ") + kDryRunSavepoint);
    ExecuteSQL(CString("RELEASE SAVEPOINT ") + kDryRunSavepoint);
    return true;
  }
  SQLHDBC h = static_cast<SQLHDBC>(hdbc_);
  SQLRETURN rc = SQLEndTran(SQL_HANDLE_DBC, h, SQL_ROLLBACK);
  SQLSetConnectAttr(h, SQL_ATTR_AUTOCOMMIT, reinterpret_cast<SQLPOINTER>(SQL_AUTOCOMMIT_ON), 0);
  in_transaction_ = false;
  if (!SQL_SUCCEEDED(rc)) ThrowDiag(rc, SQL_HANDLE_DBC, h, "Rollback");
  return true;
}

CString CDatabase::ToDatabaseText(std::string_view text) const {
  return utf8_ ? Cp1252ToUtf8(text) : CString(text);
}

CString CDatabase::FromDatabaseText(std::string_view text) const {
  return utf8_ ? Utf8ToCp1252(text) : CString(text);
}

// ---------------------------------------------------------------------------------------------
CODBCStatement::CODBCStatement(CDatabase* db) : db_(db) {
  if (!db_ || !db_->IsOpen()) throw CDBException(SQL_ERROR, "08003", 0, "Database non aperto.");
  SQLHSTMT h = SQL_NULL_HSTMT;
  Check(SQLAllocHandle(SQL_HANDLE_STMT, static_cast<SQLHDBC>(db_->ConnectionHandle()), &h), SQL_HANDLE_DBC,
        db_->ConnectionHandle(), "SQLAllocHandle");
  hstmt_ = h;
}

CODBCStatement::~CODBCStatement() {
  if (hstmt_) SQLFreeHandle(SQL_HANDLE_STMT, static_cast<SQLHSTMT>(hstmt_));
}

void CODBCStatement::Prepare(const CString& sql) {
  CloseCursor();
  CString text = db_->ToDatabaseText(sql);
  Check(SQLPrepare(static_cast<SQLHSTMT>(hstmt_), reinterpret_cast<SQLCHAR*>(text.data()), SQL_NTS),
        SQL_HANDLE_STMT, hstmt_, "SQLPrepare");
  sql_ = sql;
  prepared_ = true;
  countUnknown_ = false;
}

void CODBCStatement::PrepareRepeated(const CString& sql) {
  CString verb = ToUpper(Trim(sql).substr(0, 7));
  bool changesData = verb.rfind("INSERT", 0) == 0 || verb.rfind("UPDATE", 0) == 0 || verb.rfind("DELETE", 0) == 0;
  if (db_->GetDialect() != EDialect::kSQLite || !changesData) {
    Prepare(sql);
    return;
  }
  Prepare("WITH TARVO_REPEATED AS (SELECT 1) " + sql);
  sql_ = sql;
  countUnknown_ = true;
}

void CODBCStatement::CloseCursor() {
  if (hstmt_) SQLFreeStmt(static_cast<SQLHSTMT>(hstmt_), SQL_CLOSE);
}

long CODBCStatement::Execute(const std::vector<CDBValue>& params) {
  if (!prepared_) throw CException(ErrorKind::kInternal, "CODBCStatement::Execute senza Prepare");
  return Run(params, nullptr);
}

long CODBCStatement::ExecuteDirect(const CString& sql, const std::vector<CDBValue>& params) {
  sql_ = sql;
  prepared_ = false;
  countUnknown_ = false;
  return Run(params, &sql);
}

long CODBCStatement::Run(const std::vector<CDBValue>& params, const CString* direct) {
  SQLHSTMT h = static_cast<SQLHSTMT>(hstmt_);
  CloseCursor();
  SQLFreeStmt(h, SQL_RESET_PARAMS);
  // Buffers must live until SQLExecute returns.
  std::vector<CString> texts(params.size());
  std::vector<SQLLEN> ind(params.size());
  std::vector<long long> ints(params.size());
  std::vector<double> reals(params.size());
  std::vector<SQL_TIMESTAMP_STRUCT> stamps(params.size());
  for (size_t i = 0; i < params.size(); ++i) {
    SQLUSMALLINT n = static_cast<SQLUSMALLINT>(i + 1);
    const CDBValue& v = params[i];
    SQLRETURN rc;
    if (std::holds_alternative<std::monostate>(v)) {
      ind[i] = SQL_NULL_DATA;
      texts[i] = "";
      rc = SQLBindParameter(h, n, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 1, 0, texts[i].data(), 0, &ind[i]);
    } else if (auto* l = std::get_if<long long>(&v)) {
      ints[i] = *l;
      ind[i] = 0;
      rc = SQLBindParameter(h, n, SQL_PARAM_INPUT, SQL_C_SBIGINT, SQL_BIGINT, 0, 0, &ints[i], 0, &ind[i]);
    } else if (auto* d = std::get_if<double>(&v)) {
      reals[i] = *d;
      ind[i] = 0;
      rc = SQLBindParameter(h, n, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 0, 0, &reals[i], 0, &ind[i]);
    } else if (auto* s = std::get_if<CString>(&v)) {
      texts[i] = db_->ToDatabaseText(*s);
      ind[i] = static_cast<SQLLEN>(texts[i].size());
      SQLULEN size = texts[i].empty() ? 1 : texts[i].size();
      rc = SQLBindParameter(h, n, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, size, 0, texts[i].data(),
                            static_cast<SQLLEN>(texts[i].size() + 1), &ind[i]);
    } else {
      const CDBTimestamp& t = std::get<CDBTimestamp>(v);
      stamps[i] = SQL_TIMESTAMP_STRUCT{static_cast<SQLSMALLINT>(t.year),    static_cast<SQLUSMALLINT>(t.month),
                                       static_cast<SQLUSMALLINT>(t.day),     static_cast<SQLUSMALLINT>(t.hour),
                                       static_cast<SQLUSMALLINT>(t.minute), static_cast<SQLUSMALLINT>(t.second),
                                       0};
      ind[i] = 0;
      rc = SQLBindParameter(h, n, SQL_PARAM_INPUT, SQL_C_TYPE_TIMESTAMP, SQL_TYPE_TIMESTAMP, 19, 0, &stamps[i],
                            sizeof(SQL_TIMESTAMP_STRUCT), &ind[i]);
    }
    Check(rc, SQL_HANDLE_STMT, h, "SQLBindParameter");
  }
  SQLRETURN rc;
  if (direct) {
    CString text = db_->ToDatabaseText(*direct);
    rc = SQLExecDirect(h, reinterpret_cast<SQLCHAR*>(text.data()), SQL_NTS);
  } else {
    rc = SQLExecute(h);
  }
  if (rc == SQL_NO_DATA) return countUnknown_ ? -1 : 0;
  Check(rc, SQL_HANDLE_STMT, h, direct ? "SQLExecDirect" : "SQLExecute");
  if (countUnknown_) return -1;
  SQLLEN rows = -1;
  SQLRowCount(h, &rows);
  return static_cast<long>(rows);
}

std::optional<CString> CODBCStatement::QueryFirstValue(const std::vector<CDBValue>& params) {
  Execute(params);
  SQLHSTMT h = static_cast<SQLHSTMT>(hstmt_);
  SQLRETURN rc = SQLFetch(h);
  if (rc == SQL_NO_DATA) {
    CloseCursor();
    return std::nullopt;
  }
  Check(rc, SQL_HANDLE_STMT, h, "SQLFetch");
  CString value;
  char buffer[256];
  SQLLEN length = 0;
  while (true) {
    rc = SQLGetData(h, 1, SQL_C_CHAR, buffer, sizeof buffer, &length);
    if (rc == SQL_NO_DATA || length == SQL_NULL_DATA) break;
    Check(rc, SQL_HANDLE_STMT, h, "SQLGetData");
    if (rc == SQL_SUCCESS) {
      value += buffer;
      break;
    }
    value += buffer;  // truncated: the rest follows in the next call
  }
  CloseCursor();
  return db_->FromDatabaseText(value);
}

// ---------------------------------------------------------------------------------------------
CString CDBField::AsString() const {
  if (null_) return CString();
  switch (kind_) {
    case Kind::kInteger:
      return StrFormat("%lld", int_);
    case Kind::kReal:
      return StrFormat("%.15g", real_);
    case Kind::kDate:
      if (sql_type_ == SQL_TYPE_DATE) return StrFormat("%04d-%02d-%02d", date_.year, date_.month, date_.day);
      // A time of day comes through the driver with today's date in front: the time alone.
      if (sql_type_ == SQL_TYPE_TIME || sql_type_ == SQL_TIME)
        return StrFormat("%02d:%02d:%02d", date_.hour, date_.minute, date_.second);
      return date_.ToString();
    default:
      return text_;
  }
}

long long CDBField::AsInt64() const {
  if (null_) return 0;
  switch (kind_) {
    case Kind::kInteger:
      return int_;
    case Kind::kReal:
      return static_cast<long long>(real_);
    case Kind::kText:
      return std::strtoll(text_.c_str(), nullptr, 10);
    default:
      return 0;
  }
}

long CDBField::AsLong() const { return static_cast<long>(AsInt64()); }

double CDBField::AsDouble() const {
  if (null_) return 0;
  switch (kind_) {
    case Kind::kInteger:
      return static_cast<double>(int_);
    case Kind::kReal:
      return real_;
    case Kind::kText:
      return std::strtod(text_.c_str(), nullptr);
    default:
      return 0;
  }
}

bool CDBField::AsBool() const { return AsInt64() != 0; }

CDBTimestamp CDBField::AsDate() const {
  if (null_) return CDBTimestamp{};
  if (kind_ == Kind::kDate) return date_;
  if (kind_ == Kind::kText) return CDBTimestamp::Parse(text_).value_or(CDBTimestamp{});
  return CDBTimestamp{};
}

// ---------------------------------------------------------------------------------------------
CODBCRecordset::CODBCRecordset(CDatabase* db) : db_(db) {}

CODBCRecordset::~CODBCRecordset() { Close(); }

bool CODBCRecordset::Open(const CString& sql, const std::vector<CDBValue>& params) {
  Close();
  // A blank text is prepared too: psqlODBC runs a prepared empty query with no result, but
  // refuses it when sent directly.
  const bool blank = sql.find_first_not_of(" \t\r\n") == CString::npos;
  if ((stmt_ && stmt_->Sql() == sql) || blank) {
    // The same query again: prepared now, each later run sends only its values.
    if (!stmt_) stmt_ = std::make_unique<CODBCStatement>(db_);
    if (!stmt_->IsPrepared() || stmt_->Sql() != sql) stmt_->Prepare(sql);
    stmt_->Execute(params);
  } else {
    // A query of its own (a filter with its values in the text, as a row lookup has): run once,
    // with nothing left prepared on a server that would cost a round trip to free.
    if (!stmt_) stmt_ = std::make_unique<CODBCStatement>(db_);
    stmt_->ExecuteDirect(sql, params);
  }
  SQLHSTMT h = static_cast<SQLHSTMT>(stmt_->Handle());
  SQLSMALLINT cols = 0;
  Check(SQLNumResultCols(h, &cols), SQL_HANDLE_STMT, h, "SQLNumResultCols");
  fields_.assign(static_cast<size_t>(cols), CDBField());
  for (SQLSMALLINT c = 0; c < cols; ++c) {
    SQLCHAR name[256] = {0};
    SQLSMALLINT nameLen = 0, type = 0, scale = 0, nullable = 0;
    SQLULEN size = 0;
    Check(SQLDescribeCol(h, static_cast<SQLUSMALLINT>(c + 1), name, sizeof name, &nameLen, &type, &size, &scale,
                         &nullable),
          SQL_HANDLE_STMT, h, "SQLDescribeCol");
    CDBField& f = fields_[static_cast<size_t>(c)];
    f.name_ = db_->FromDatabaseText(reinterpret_cast<char*>(name));
    f.sql_type_ = type;
    f.precision_ = static_cast<unsigned long>(size);
    f.scale_ = scale;
    f.nullable_ = nullable != SQL_NO_NULLS;
    if (IsSqlIntegerType(type)) f.kind_ = CDBField::Kind::kInteger;
    else if (IsSqlRealType(type)) f.kind_ = CDBField::Kind::kReal;
    else if (IsSqlDateType(type)) f.kind_ = CDBField::Kind::kDate;
    else if (IsSqlBinaryType(type)) f.kind_ = CDBField::Kind::kBinary;
    else f.kind_ = CDBField::Kind::kText;
  }
  open_ = cols > 0;
  eof_ = !open_;
  if (open_) Fetch();
  return open_;
}

void CODBCRecordset::Close() {
  if (stmt_) stmt_->CloseCursor();
  open_ = false;
  eof_ = true;
}

void CODBCRecordset::MoveNext() {
  if (!open_ || eof_) return;
  Fetch();
}

void CODBCRecordset::Fetch() {
  SQLHSTMT h = static_cast<SQLHSTMT>(stmt_->Handle());
  SQLRETURN rc = SQLFetch(h);
  if (rc == SQL_NO_DATA) {
    eof_ = true;
    return;
  }
  Check(rc, SQL_HANDLE_STMT, h, "SQLFetch");
  for (size_t c = 0; c < fields_.size(); ++c) {
    CDBField& f = fields_[c];
    SQLUSMALLINT col = static_cast<SQLUSMALLINT>(c + 1);
    SQLLEN ind = 0;
    switch (f.kind_) {
      case CDBField::Kind::kInteger: {
        SQLBIGINT v = 0;
        Check(SQLGetData(h, col, SQL_C_SBIGINT, &v, sizeof v, &ind), SQL_HANDLE_STMT, h, "SQLGetData");
        f.int_ = v;
        break;
      }
      case CDBField::Kind::kReal: {
        double v = 0;
        Check(SQLGetData(h, col, SQL_C_DOUBLE, &v, sizeof v, &ind), SQL_HANDLE_STMT, h, "SQLGetData");
        f.real_ = v;
        break;
      }
      case CDBField::Kind::kDate: {
        SQL_TIMESTAMP_STRUCT v{};
        Check(SQLGetData(h, col, SQL_C_TYPE_TIMESTAMP, &v, sizeof v, &ind), SQL_HANDLE_STMT, h, "SQLGetData");
        f.date_ = CDBTimestamp{v.year, v.month, v.day, v.hour, v.minute, v.second};
        break;
      }
      case CDBField::Kind::kText:
      case CDBField::Kind::kBinary: {
        const bool binary = f.kind_ == CDBField::Kind::kBinary;
        const SQLSMALLINT ctype = binary ? SQL_C_BINARY : SQL_C_CHAR;
        const size_t term = binary ? 0 : 1;
        CString raw;
        char buf[4096];
        for (;;) {
          SQLLEN got = 0;
          rc = SQLGetData(h, col, ctype, buf, sizeof buf, &got);
          if (rc == SQL_NO_DATA) break;
          Check(rc, SQL_HANDLE_STMT, h, "SQLGetData");
          ind = got;
          if (got == SQL_NULL_DATA) break;
          size_t chunk = (got == SQL_NO_TOTAL || static_cast<size_t>(got) > sizeof buf - term) ? sizeof buf - term
                                                                                               : static_cast<size_t>(got);
          raw.append(buf, chunk);
          if (rc == SQL_SUCCESS) break;
        }
        if (ind != SQL_NULL_DATA) f.text_ = binary ? raw : db_->FromDatabaseText(raw);
        else f.text_.clear();
        break;
      }
    }
    f.null_ = ind == SQL_NULL_DATA;
  }
}

CDBField& CODBCRecordset::Field(int index) {
  if (index < 0 || index >= GetFieldCount())
    throw CException(ErrorKind::kInternal, StrFormat("Campo %d inesistente", index));
  return fields_[static_cast<size_t>(index)];
}

int CODBCRecordset::FindField(const CString& name) const {
  for (size_t i = 0; i < fields_.size(); ++i)
    if (EqualsNoCase(fields_[i].GetName(), name)) return static_cast<int>(i);
  return -1;
}

CDBField& CODBCRecordset::Field(const CString& name) {
  int i = FindField(name);
  if (i < 0) throw CException(ErrorKind::kInternal, "Campo inesistente: " + name);
  return fields_[static_cast<size_t>(i)];
}
