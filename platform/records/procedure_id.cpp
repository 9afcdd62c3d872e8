#include "platform/records/procedure_id.h"

#include <cctype>
#include <cstdlib>

namespace {

// The name is pasted into the statement on PostgreSQL: only a plain identifier is accepted.
void CheckName(const CString& procedure) {
  bool plain = !procedure.empty() && !std::isdigit(static_cast<unsigned char>(procedure[0]));
  for (char c : procedure) plain = plain && (std::isalnum(static_cast<unsigned char>(c)) || c == '_');
  if (!plain) {
    throw tarvo::CException(tarvo::ErrorKind::kInput, "Nome di procedura non valido: '" + procedure + "'");
  }
}

long FirstColumn(CDatabase* db, const CString& sql, const std::vector<CDBValue>& params) {
  CODBCRecordset rs(db);
  rs.Open(sql, params);
  if (rs.IsEOF() || rs.GetFieldCount() == 0 || rs.Field(0).IsNull()) {
    throw tarvo::CException(tarvo::ErrorKind::kEnvironment, "Nessun identificativo da: " + sql);
  }
  return rs.Field(0).AsLong();
}

}  // namespace

bool CProcedureId::Open(const CString& procedure) {
  open_ = false;
  CheckName(procedure);
  switch (db_->GetDialect()) {
    case EDialect::kPostgreSQL: {
      std::unique_ptr<CODBCStatement>& call = calls_[procedure];
      if (!call) {
        auto prepared = std::make_unique<CODBCStatement>(db_);
        prepared->Prepare("SELECT " + procedure + "()");
        call = std::move(prepared);
      }
      std::optional<CString> id = call->QueryFirstValue();
      if (!id || id->empty()) throw tarvo::CException(tarvo::ErrorKind::kEnvironment, "Nessun identificativo da: " + call->Sql());
      m_ID = std::atol(id->c_str());
      break;
    }
    case EDialect::kSQLite: m_ID = NextFromGenerator(procedure); break;
    case EDialect::kOther: m_ID = FirstColumn(db_, "{call " + procedure + "}", {}); break;
  }
  open_ = true;
  return true;
}

long CProcedureId::GetNewId(const CString& procedure) {
  Open(procedure);
  open_ = false;  // the call stays prepared for the next key
  return m_ID;
}

long CProcedureId::NextFromGenerator(const CString& procedure) {
  // The UPDATE comes first: it takes the database's write lock before anything is read, so the
  // value read back belongs to this transaction alone.
  const bool own = !db_->InTransaction();
  if (own) db_->BeginTrans();
  try {
    long rows = db_->ExecuteSQL("UPDATE ID_GENERATORE SET ULTIMO = ULTIMO + 1 WHERE NOME = ?", {procedure});
    if (rows == 0) {
      throw tarvo::CException(tarvo::ErrorKind::kInput, "Procedura di identificazione sconosciuta: " + procedure);
    }
    long id = FirstColumn(db_, "SELECT ULTIMO FROM ID_GENERATORE WHERE NOME = ?", {procedure});
    if (own) db_->CommitTrans();
    return id;
  } catch (...) {
    if (own) db_->Rollback();
    throw;
  }
}
