#include "platform/records/procedure_call.h"

#include <regex>

void ExecuteProcedureCall(CDatabase& db, const CString& call) {
  static const std::regex kCall(R"(^\s*\{\s*call\s+([A-Za-z_][A-Za-z0-9_]*)\s*(\((.*)\))?\s*\}\s*$)",
                                std::regex::icase);
  std::smatch m;
  if (!std::regex_match(call, m, kCall))
    throw tarvo::CException(tarvo::ErrorKind::kInternal, "Chiamata di procedura non valida: " + call);
  const CString name = m[1].str();
  const CString args = "(" + (m[3].matched ? m[3].str() : CString()) + ")";
  switch (db.GetDialect()) {
    case EDialect::kPostgreSQL: db.ExecuteSQL("SELECT " + name + args); break;
    case EDialect::kSQLite: db.ExecuteSQL("INSERT INTO " + name + " VALUES " + args); break;
    case EDialect::kOther: db.ExecuteSQL(call); break;
  }
}
