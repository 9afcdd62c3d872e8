#include "dbexchange/record_transfer.h"

namespace tarvo::exchange {

CString DoubleQuotes(const CString& value) {
  CString doubled = value;
  ReplaceAll(doubled, "'", "''");
  return doubled;
}

CString FieldText(const CRecordSetBase& record, int index) {
  CDBValue v = record.GetFieldValue(index);
  if (const CString* s = std::get_if<CString>(&v)) return *s;
  if (const long long* n = std::get_if<long long>(&v)) return StrFormat("%lld", *n);
  if (const double* d = std::get_if<double>(&v)) return FormatNumber(*d);
  if (const CDBTimestamp* t = std::get_if<CDBTimestamp>(&v)) return t->ToString();
  return CString();
}

void CopyFields(const CRecordSetBase& source, CRecordSetBase& target, const std::vector<CColumnRange>& columns) {
  for (const CColumnRange& range : columns)
    for (int i = range.first; i < range.first + range.count; ++i) target.SetFieldValue(i, source.GetFieldValue(i));
}

bool FindRow(CRecordSetBase& target, const CString& filter) {
  target.m_strFilter = filter;
  if (target.IsOpen()) target.Requery();
  else target.Open();
  return !target.IsEOF();
}

bool AddOrEdit(CRecordSetBase& target, const CString& filter) {
  if (!FindRow(target, filter)) {
    target.AddNew();
    return false;
  }
  target.Edit();
  return true;
}

bool InterruptRequested(CTarvoImport& procedure) {
  if (!procedure.CtrlEventStop()) return false;
  procedure.Log("Operazione interrotta dall'utente", TMS_NONE);
  return true;
}

bool CopyTable(CTarvoImport& procedure, CRecordSetBase& source, CRecordSetBase& target, const CTableCopy& copy) {
  bool completed = true;
  source.m_strSort = copy.sort;
  source.m_strFilter = copy.filter;
  source.Open();
  while (!source.IsEOF()) {
    if (InterruptRequested(procedure)) {
      completed = false;
      break;
    }
    if (copy.rowLine) procedure.Log(copy.rowLine(source), TMS_NONE);
    CString key = DoubleQuotes(FieldText(source, 0));
    if (copy.doubleKeyInPlace) source.SetFieldValue(0, key);
    AddOrEdit(target, StrFormat(copy.keyFilter.c_str(), key.c_str()));
    CopyFields(source, target, copy.columns);
    target.Update();
    source.MoveNext();
  }
  source.Close();
  target.Close();
  return completed;
}

}  // namespace tarvo::exchange
