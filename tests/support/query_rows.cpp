#include "support/query_rows.h"

namespace tarvo::test {

std::vector<std::string> QueryRows(CDatabase& db, const std::string& sql) {
  std::vector<std::string> rows;
  CODBCRecordset rs(&db);
  for (rs.Open(sql); !rs.IsEOF(); rs.MoveNext()) {
    std::string row;
    for (int i = 0; i < rs.GetFieldCount(); ++i) {
      CDBField& f = rs.Field(i);
      if (f.IsNull()) row += "<null>";
      else if (IsSqlIntegerType(f.GetSQLType())) row += StrFormat("%lld", f.AsInt64());
      else if (IsSqlRealType(f.GetSQLType())) row += StrFormat("%g", f.AsDouble());
      else row += f.AsString();
      row += "|";
    }
    rows.push_back(row);
  }
  return rows;
}

std::string QueryRow(CDatabase& db, const std::string& sql) {
  std::vector<std::string> rows = QueryRows(db, sql);
  return rows.empty() ? std::string("<none>") : rows[0];
}

}  // namespace tarvo::test
