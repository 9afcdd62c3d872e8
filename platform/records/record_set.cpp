#include "platform/records/record_set.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <algorithm>

namespace {

using tarvo::CException;
using tarvo::ErrorKind;

enum class EMember { kLong, kText, kDate };

}  // namespace

struct CRecordSetBase::Field {
  Field(const char* n, EColumn c, EMember m) : name(n), column(c), member(m) {}
  CString name;
  EColumn column;
  EMember member;
  long l = 0;
  CString s;
  CDBTimestamp t;
  bool null = true;    // NULL as read, after AddNew or after SetFieldNull(true)
  bool forced = false;  // SetFieldNull/SetFieldValue since the last read: write it
  CDBValue base;        // the member's value when `null` was last decided

  CDBValue Raw() const {
    switch (member) {
      case EMember::kLong: return static_cast<long long>(l);
      case EMember::kText: return s;
      case EMember::kDate: return t;
    }
    return {};
  }
  void Clear(long pseudoNull) {
    l = pseudoNull;
    s.clear();
    t = CDBTimestamp{};
  }
};

namespace tarvo {

CString FormatNumber(double value) {
  char buf[64];
  auto res = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::fixed);
  if (res.ec != std::errc()) res = std::to_chars(buf, buf + sizeof buf, value);
  CString text(buf, res.ptr);
  if (text == "-0") text = "0";
  return text;
}

std::optional<double> ParseNumber(const CString& text) {
  CString t = Trim(text);
  if (t.empty()) return std::nullopt;
  if (t.find('.') == CString::npos) std::replace(t.begin(), t.end(), ',', '.');
  if (t[0] == '+') t.erase(0, 1);
  double value = 0;
  auto res = std::from_chars(t.data(), t.data() + t.size(), value);
  if (res.ec != std::errc() || res.ptr != t.data() + t.size() || !std::isfinite(value)) return std::nullopt;
  return value;
}

}  // namespace tarvo

namespace {

std::optional<long long> ParseInteger(const CString& text) {
  CString t = tarvo::Trim(text);
  if (!t.empty() && t[0] == '+') t.erase(0, 1);
  long long value = 0;
  auto res = std::from_chars(t.data(), t.data() + t.size(), value);
  if (t.empty() || res.ec != std::errc() || res.ptr != t.data() + t.size()) return std::nullopt;
  return value;
}

CString ValueText(const CDBValue& v) {
  if (auto* l = std::get_if<long long>(&v)) return tarvo::StrFormat("%lld", *l);
  if (auto* d = std::get_if<double>(&v)) return tarvo::FormatNumber(*d);
  if (auto* s = std::get_if<CString>(&v)) return *s;
  if (auto* t = std::get_if<CDBTimestamp>(&v)) return t->ToString();
  return CString();
}

[[noreturn]] void NotANumber(const CString& table, const CString& column, const CString& text) {
  throw CException(ErrorKind::kInput, table + "." + column + ": '" + text + tarvo::W("' non è un numero"));
}

[[noreturn]] void NotADate(const CString& table, const CString& column, const CString& text) {
  throw CException(ErrorKind::kInput, table + "." + column + ": '" + text + tarvo::W("' non è una data"));
}

}  // namespace

namespace {
std::vector<CString> SplitNames(const char* list) {
  std::vector<CString> names;
  CString text = list ? list : "";
  size_t start = 0;
  while (start < text.size()) {
    size_t comma = text.find(',', start);
    if (comma == CString::npos) comma = text.size();
    CString name = tarvo::Trim(text.substr(start, comma - start));
    if (!name.empty()) names.push_back(name);
    start = comma + 1;
  }
  return names;
}
}  // namespace

CRecordSetBase::CRecordSetBase(CDatabase* db, const char* table, const char* keyColumns, const char* notNullColumns)
    : db_(db), table_(table), key_names_(SplitNames(keyColumns)), not_null_names_(SplitNames(notNullColumns)),
      read_only_(key_names_.empty()), rs_(std::make_unique<CODBCRecordset>(db)) {}

CRecordSetBase::~CRecordSetBase() { Close(); }

long& CRecordSetBase::Long(const char* column) {
  fields_.push_back(std::make_unique<Field>(column, EColumn::kInteger, EMember::kLong));
  return fields_.back()->l;
}

CString& CRecordSetBase::Text(const char* column, EColumn type) {
  fields_.push_back(std::make_unique<Field>(column, type, EMember::kText));
  return fields_.back()->s;
}

CDBTimestamp& CRecordSetBase::Date(const char* column) {
  fields_.push_back(std::make_unique<Field>(column, EColumn::kDate, EMember::kDate));
  return fields_.back()->t;
}

CString CRecordSetBase::GetSelectSQL() const {
  CString sql = "SELECT ";
  for (size_t i = 0; i < fields_.size(); ++i) {
    if (i) sql += ", ";
    sql += fields_[i]->name;
  }
  sql += " FROM " + table_;
  if (!m_strFilter.empty()) sql += " WHERE " + m_strFilter;
  if (!m_strSort.empty()) sql += " ORDER BY " + m_strSort;
  return sql;
}

bool CRecordSetBase::Open() {
  Close();
  if (key_.size() != key_names_.size()) {
    key_.clear();
    for (const CString& name : key_names_) {
      int i = FindField(name);
      if (i < 0) throw CException(ErrorKind::kInternal, table_ + ": colonna chiave non legata " + name);
      key_.push_back(i);
    }
  }
  rs_->Open(GetSelectSQL());
  open_ = true;
  Load();
  if (!IsEOF() && db_->RowsReadCounted()) ++counts_.read;
  return true;
}

bool CRecordSetBase::Requery() { return Open(); }

void CRecordSetBase::CountWrites(long long inserted, long long updated) {
  counts_.inserted += inserted;
  counts_.updated += updated;
}

void CRecordSetBase::Close() {
  tarvo::AddTableRowCounts(table_, counts_);
  counts_ = {};
  if (rs_) rs_->Close();
  open_ = false;
  mode_ = Mode::kNone;
}

void CRecordSetBase::MoveNext() {
  if (IsEOF()) throw CException(ErrorKind::kInternal, table_ + ": MoveNext oltre la fine");
  mode_ = Mode::kNone;
  rs_->MoveNext();
  Load();
  if (!IsEOF() && db_->RowsReadCounted()) ++counts_.read;
}

void CRecordSetBase::Load() {
  if (IsEOF()) {
    row_.clear();
    return;
  }
  row_.assign(fields_.size(), CDBValue{});
  for (size_t i = 0; i < fields_.size(); ++i) {
    Field& f = *fields_[i];
    const CDBField& col = rs_->Field(static_cast<int>(i));
    if (col.IsNull()) continue;
    switch (f.member) {
      case EMember::kLong: row_[i] = static_cast<long long>(col.AsLong()); break;
      case EMember::kDate: row_[i] = col.AsDate(); break;
      case EMember::kText:
        row_[i] = f.column == EColumn::kReal ? tarvo::FormatNumber(col.AsDouble()) : col.AsString();
        break;
    }
  }
  Restore();
}

void CRecordSetBase::Restore() {
  for (size_t i = 0; i < fields_.size(); ++i) {
    Field& f = *fields_[i];
    f.Clear(0);
    const CDBValue* v = i < row_.size() ? &row_[i] : nullptr;
    f.null = v == nullptr || std::holds_alternative<std::monostate>(*v);
    if (!f.null) {
      if (auto* l = std::get_if<long long>(v)) f.l = static_cast<long>(*l);
      if (auto* s = std::get_if<CString>(v)) f.s = *s;
      if (auto* t = std::get_if<CDBTimestamp>(v)) f.t = *t;
    }
    f.forced = false;
    f.base = f.Raw();
  }
}

void CRecordSetBase::MarkAllNull() {
  for (auto& f : fields_) {
    f->Clear(kPseudoNullLong);
    f->null = true;
    f->forced = false;
    f->base = f->Raw();
  }
}

void CRecordSetBase::AddNew() {
  if (read_only_) throw CException(ErrorKind::kInternal, table_ + ": record set di sola lettura");
  mode_ = Mode::kAdd;
  MarkAllNull();
}

void CRecordSetBase::Edit() {
  if (read_only_) throw CException(ErrorKind::kInternal, table_ + ": record set di sola lettura");
  if (IsEOF()) throw CException(ErrorKind::kInternal, table_ + ": Edit senza riga corrente");
  mode_ = Mode::kEdit;
}

void CRecordSetBase::CancelUpdate() {
  mode_ = Mode::kNone;
  Restore();
}

bool CRecordSetBase::Changed(const Field& f) const { return f.Raw() != f.base; }

CDBValue CRecordSetBase::ParameterValue(const Field& f) const {
  if (f.null && !Changed(f)) return std::monostate{};
  switch (f.member) {
    case EMember::kLong:
      if (f.column == EColumn::kReal) return static_cast<double>(f.l);
      if (f.column == EColumn::kText) return tarvo::StrFormat("%ld", f.l);
      return static_cast<long long>(f.l);
    case EMember::kDate:
      if (f.t.year == 0) return std::monostate{};
      return f.t;
    case EMember::kText:
      switch (f.column) {
        case EColumn::kText: return f.s;
        case EColumn::kReal: {
          if (tarvo::Trim(f.s).empty()) return std::monostate{};
          auto d = tarvo::ParseNumber(f.s);
          if (!d) NotANumber(table_, f.name, f.s);
          return *d;
        }
        case EColumn::kInteger: {
          if (tarvo::Trim(f.s).empty()) return std::monostate{};
          auto l = ParseInteger(f.s);
          if (!l) NotANumber(table_, f.name, f.s);
          return *l;
        }
        case EColumn::kDate: {
          if (tarvo::Trim(f.s).empty()) return std::monostate{};
          auto t = CDBTimestamp::Parse(tarvo::Trim(f.s));
          if (!t) NotADate(table_, f.name, f.s);
          return *t;
        }
      }
  }
  return std::monostate{};
}

std::vector<CDBValue> CRecordSetBase::KeyValues() const {
  std::vector<CDBValue> values;
  for (int i : key_) values.push_back(row_.at(static_cast<size_t>(i)));
  return values;
}

CString CRecordSetBase::KeyCondition() const {
  CString where;
  for (int i : key_) {
    if (!where.empty()) where += " AND ";
    where += fields_[static_cast<size_t>(i)]->name + " = ?";
  }
  return where;
}

long CRecordSetBase::Run(const CString& sql, const std::vector<CDBValue>& params) {
  auto& stmt = statements_[sql];
  if (!stmt) {
    stmt = std::make_unique<CODBCStatement>(db_);
    try {
      stmt->Prepare(sql);
    } catch (...) {
      statements_.erase(sql);
      throw;
    }
  }
  return stmt->Execute(params);
}

bool CRecordSetBase::Update() {
  if (mode_ == Mode::kNone) throw CException(ErrorKind::kInternal, table_ + ": Update senza AddNew o Edit");
  CString columns, marks, sets;
  std::vector<CDBValue> params;
  std::vector<size_t> written;
  for (size_t i = 0; i < fields_.size(); ++i) {
    const Field& f = *fields_[i];
    if (!f.forced && !Changed(f)) continue;
    params.push_back(ParameterValue(f));
    written.push_back(i);
    if (!columns.empty()) columns += ", ", marks += ", ", sets += ", ";
    columns += f.name;
    marks += "?";
    sets += f.name + " = ?";
  }
  const Mode mode = mode_;
  mode_ = Mode::kNone;
  if (mode == Mode::kAdd) {
    CString sql = columns.empty() ? "INSERT INTO " + table_ + " DEFAULT VALUES"
                                  : "INSERT INTO " + table_ + " (" + columns + ") VALUES (" + marks + ")";
    try {
      long rows = Run(sql, params);
      Restore();
      CountWrites(rows != 0 ? 1 : 0, 0);
      return rows != 0;
    } catch (...) {
      Restore();
      throw;
    }
  }
  if (written.empty() || row_.empty()) {
    Restore();
    ++counts_.skipped;
    return false;
  }
  for (const CDBValue& v : KeyValues()) params.push_back(v);
  long rows = Run("UPDATE " + table_ + " SET " + sets + " WHERE " + KeyCondition(), params);
  if (rows == 0) {
    Restore();
    ++counts_.skipped;
    return false;
  }
  CountWrites(0, 1);
  for (size_t k = 0; k < written.size(); ++k) {
    const Field& f = *fields_[written[k]];
    row_[written[k]] = std::holds_alternative<std::monostate>(params[k]) ? CDBValue{} : f.Raw();
  }
  Restore();
  return true;
}

void CRecordSetBase::Delete() {
  if (read_only_) throw CException(ErrorKind::kInternal, table_ + ": record set di sola lettura");
  if (IsEOF() || row_.empty()) throw CException(ErrorKind::kInternal, table_ + ": Delete senza riga corrente");
  mode_ = Mode::kNone;
  Run("DELETE FROM " + table_ + " WHERE " + KeyCondition(), KeyValues());
}

int CRecordSetBase::IndexOf(const void* member) const {
  for (size_t i = 0; i < fields_.size(); ++i) {
    const Field& f = *fields_[i];
    if (member == &f.l || member == &f.s || member == &f.t) return static_cast<int>(i);
  }
  throw CException(ErrorKind::kInternal, table_ + ": membro non legato a una colonna");
}

bool CRecordSetBase::IsFieldNull(const void* member) const { return IsFieldNull(IndexOf(member)); }
void CRecordSetBase::SetFieldNull(const void* member, bool null) { SetFieldNull(IndexOf(member), null); }

bool CRecordSetBase::IsFieldNull(int index) const {
  const Field& f = *fields_.at(static_cast<size_t>(index));
  return f.null && !Changed(f);
}

void CRecordSetBase::SetFieldNull(int index, bool null) {
  Field& f = *fields_.at(static_cast<size_t>(index));
  if (null) f.Clear(0);
  f.null = null;
  f.forced = true;
  f.base = f.Raw();
}

const CString& CRecordSetBase::GetFieldName(int index) const { return fields_.at(static_cast<size_t>(index))->name; }

CRecordSetBase::EColumn CRecordSetBase::GetFieldColumnType(int index) const {
  return fields_.at(static_cast<size_t>(index))->column;
}

bool CRecordSetBase::IsKeyField(int index) const {
  return std::any_of(key_names_.begin(), key_names_.end(),
                     [&](const CString& k) { return tarvo::EqualsNoCase(k, GetFieldName(index)); });
}

bool CRecordSetBase::IsFieldNullable(int index) const {
  const CString& name = GetFieldName(index);
  auto same = [&](const CString& n) { return tarvo::EqualsNoCase(n, name); };
  return std::none_of(key_names_.begin(), key_names_.end(), same) &&
         std::none_of(not_null_names_.begin(), not_null_names_.end(), same);
}

int CRecordSetBase::FindField(const CString& name) const {
  for (size_t i = 0; i < fields_.size(); ++i) {
    if (tarvo::EqualsNoCase(fields_[i]->name, name)) return static_cast<int>(i);
  }
  return -1;
}

CDBValue CRecordSetBase::GetFieldValue(int index) const {
  if (IsFieldNull(index)) return std::monostate{};
  return fields_.at(static_cast<size_t>(index))->Raw();
}

CDBValue CRecordSetBase::GetParameterValue(int index) const {
  return ParameterValue(*fields_.at(static_cast<size_t>(index)));
}

bool CRecordSetBase::IsFieldWritten(int index) const {
  const Field& f = *fields_.at(static_cast<size_t>(index));
  return f.forced || Changed(f);
}

void CRecordSetBase::SetFieldValue(int index, const CDBValue& value) {
  if (std::holds_alternative<std::monostate>(value)) {
    SetFieldNull(index, true);
    return;
  }
  Field& f = *fields_.at(static_cast<size_t>(index));
  switch (f.member) {
    case EMember::kText: f.s = ValueText(value); break;
    case EMember::kLong:
      if (auto* l = std::get_if<long long>(&value)) {
        f.l = static_cast<long>(*l);
      } else if (auto* d = std::get_if<double>(&value)) {
        f.l = static_cast<long>(std::llround(*d));
      } else if (auto* s = std::get_if<CString>(&value)) {
        auto l = ParseInteger(*s);
        if (!l) NotANumber(table_, f.name, *s);
        f.l = static_cast<long>(*l);
      } else {
        NotANumber(table_, f.name, ValueText(value));
      }
      break;
    case EMember::kDate:
      if (auto* stamp = std::get_if<CDBTimestamp>(&value)) {
        f.t = *stamp;
      } else {
        auto parsed = CDBTimestamp::Parse(ValueText(value));
        if (!parsed) NotADate(table_, f.name, ValueText(value));
        f.t = *parsed;
      }
      break;
  }
  f.null = false;
  f.forced = true;
  f.base = f.Raw();
}
