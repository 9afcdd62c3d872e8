#include "dbexchange/record_transfer.h"

#include <algorithm>
#include <memory>
#include <regex>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "platform/records/record_batch.h"

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

namespace {

// The key column of a key filter "COLUMN = '%s'"; empty for any other filter.
CString KeyColumnOfFilter(const CString& keyFilter) {
  static const std::regex simple(R"(^\s*([A-Za-z_][A-Za-z0-9_]*)\s*=\s*'%s'\s*$)");
  std::smatch m;
  return std::regex_match(keyFilter, m, simple) ? CString(m[1].str()) : CString();
}

// The fast path of CopyTable: lookups in the target's keys read once, writes in batches.
class CBatchedCopy {
 public:
  // Null when the copy must go row by row (no transaction, another key filter, a database
  // without multi-row statements).
  static std::unique_ptr<CBatchedCopy> For(CTarvoImport& procedure, CRecordSetBase& target, const CTableCopy& copy) {
    CDatabase* db = target.GetDatabase();
    if (!db || !db->InTransaction() || copy.columns.empty() || !CRecordBatch::Supported(target)) return nullptr;
    const int key = target.FindField(KeyColumnOfFilter(copy.keyFilter));
    if (key < 0 || !target.IsKeyField(key) || target.GetFieldColumnType(key) != CRecordSetBase::EColumn::kText)
      return nullptr;
    std::vector<int> columns;
    for (const CColumnRange& range : copy.columns)
      for (int i = range.first; i < range.first + range.count; ++i) columns.push_back(i);
    auto written = std::find(columns.begin(), columns.end(), key);
    if (written == columns.end()) return nullptr;
    const std::ptrdiff_t position = written - columns.begin();
    return std::unique_ptr<CBatchedCopy>(new CBatchedCopy(procedure, target, copy, key, std::move(columns), position));
  }

  // Queues the source's current row (its line, its write); may write the rows queued before.
  void Row(CRecordSetBase& source) {
    CPendingRow row = Capture(source);
    if (disabled_) return RunAlone(row);
    std::vector<CDBValue> params;
    bool found = false;
    try {
      if (!keysLoaded_) LoadKeys();
      found = keys_.count(row.lookup) != 0;
      for (size_t k = 0; k < columns_.size(); ++k) {
        target_.SetFieldValue(columns_[k], row.values[k]);
        params.push_back(target_.GetParameterValue(columns_[k]));
      }
    } catch (...) {
      // What the row-by-row copy would have done at this row (its error included) happens now.
      disabled_ = !keysLoaded_;
      return RunAlone(row);
    }
    const CString* written = std::get_if<CString>(&params[writtenKey_]);
    if (!written) return RunAlone(row);
    const CString key = *written;
    // A row that reads or writes a key of the rows queued waits for them to be written.
    if (touched_.count(row.lookup) || touched_.count(key)) Flush();
    // A row the target already holds as it is needs no write: only its line, in its turn.
    auto stored = found ? stored_.find(row.lookup) : stored_.end();
    if (stored != stored_.end() && stored->second == Packed(params)) {
      pending_.push_back(std::move(row));
      if (pending_.size() >= batch_.Capacity()) Flush();
      return;
    }
    stored_.erase(row.lookup);
    stored_.erase(key);
    if (found) {
      batch_.AddUpdate(row.lookup, std::move(params));
      keys_.erase(row.lookup);
    } else {
      batch_.AddInsert(std::move(params));
    }
    keys_.insert(key);
    touched_.insert(row.lookup);
    touched_.insert(key);
    pending_.push_back(std::move(row));
    if (pending_.size() >= batch_.Capacity()) Flush();
  }

  // Writes the queued rows and logs their lines.
  void Flush() {
    if (pending_.empty()) return;
    std::vector<CPendingRow> rows = std::move(pending_);
    pending_.clear();
    touched_.clear();
    bool replayed = false;
    if (batch_.Size() > 0) {
      batch_.ExecuteOrReplay([&] {
        replayed = true;
        for (const CPendingRow& row : rows) RunRow(row);
      });
    }
    if (replayed) return;
    for (const CPendingRow& row : rows)
      if (row.hasLine) procedure_.Log(row.line, TMS_NONE);
  }

 private:
  struct CPendingRow {
    bool hasLine = false;
    CString line;
    CString lookup;  // the key the filter looks for (the literal's value)
    CString filter;
    std::vector<CDBValue> values;  // the copied columns of the source row
  };

  CBatchedCopy(CTarvoImport& procedure, CRecordSetBase& target, const CTableCopy& copy, int key,
               std::vector<int> columns, std::ptrdiff_t writtenKey)
      : procedure_(procedure), target_(target), copy_(copy), key_(key), columns_(columns),
        writtenKey_(static_cast<size_t>(writtenKey)), batch_(target, std::move(columns)) {}

  // The row as the row-by-row copy sees it: line first, then the key (doubled in the source row
  // itself for the article rule).
  CPendingRow Capture(CRecordSetBase& source) const {
    CPendingRow row;
    row.hasLine = static_cast<bool>(copy_.rowLine);
    if (row.hasLine) row.line = copy_.rowLine(source);
    row.lookup = FieldText(source, 0);
    CString key = DoubleQuotes(row.lookup);
    if (copy_.doubleKeyInPlace) source.SetFieldValue(0, key);
    row.filter = StrFormat(copy_.keyFilter.c_str(), key.c_str());
    for (int i : columns_) row.values.push_back(source.GetFieldValue(i));
    return row;
  }

  // The target's rows, read once: their keys, and the values a write of each would send.
  void LoadKeys() {
    target_.m_strFilter.clear();
    if (target_.IsOpen()) target_.Requery();
    else target_.Open();
    std::vector<CDBValue> values(columns_.size());
    for (; !target_.IsEOF(); target_.MoveNext()) {
      const CString key = FieldText(target_, key_);
      for (size_t k = 0; k < columns_.size(); ++k) values[k] = target_.GetParameterValue(columns_[k]);
      keys_.insert(key);
      stored_[key] = Packed(values);
    }
    keysLoaded_ = true;
  }

  // The values in one comparable text: equal texts, equal values of equal types.
  static std::string Packed(const std::vector<CDBValue>& values) {
    std::string packed;
    auto raw = [&packed](const auto& v) { packed.append(reinterpret_cast<const char*>(&v), sizeof v); };
    for (const CDBValue& value : values) {
      packed += static_cast<char>(value.index());
      if (const long long* n = std::get_if<long long>(&value)) raw(*n);
      else if (const double* d = std::get_if<double>(&value)) raw(*d);
      else if (const CDBTimestamp* t = std::get_if<CDBTimestamp>(&value))
        for (int part : {t->year, t->month, t->day, t->hour, t->minute, t->second}) raw(part);
      else if (const CString* s = std::get_if<CString>(&value)) {
        raw(s->size());
        packed += *s;
      }
    }
    return packed;
  }

  // One row the row-by-row way: its line, the lookup, the write. The keys follow (running the
  // rows of a refused batch again leaves them as they are: those rows have keys of their own).
  void RunRow(const CPendingRow& row) {
    if (row.hasLine) procedure_.Log(row.line, TMS_NONE);
    const bool found = AddOrEdit(target_, row.filter);
    for (size_t k = 0; k < columns_.size(); ++k) target_.SetFieldValue(columns_[k], row.values[k]);
    const CString written = FieldText(target_, key_);
    target_.Update();
    if (found) keys_.erase(row.lookup);
    keys_.insert(written);
  }

  // A row that cannot be queued: the rows before it are written, then it alone.
  void RunAlone(const CPendingRow& row) {
    Flush();
    RunRow(row);
  }

  CTarvoImport& procedure_;
  CRecordSetBase& target_;
  const CTableCopy& copy_;
  int key_;
  std::vector<int> columns_;
  size_t writtenKey_;  // position of the key among columns_
  CRecordBatch batch_;
  bool keysLoaded_ = false;
  bool disabled_ = false;  // the keys could not be read: row by row from here on
  std::unordered_set<CString> keys_;     // the target's keys, the queued rows' writes included
  std::unordered_map<CString, std::string> stored_;  // rows as read, by key, until a write of theirs
  std::unordered_set<CString> touched_;  // keys the queued rows look up or write
  std::vector<CPendingRow> pending_;
};

// The loop of CopyTable. Returns false when it stopped on request.
bool CopyRows(CTarvoImport& procedure, CRecordSetBase& source, CRecordSetBase& target, const CTableCopy& copy,
              CBatchedCopy* batched) {
  while (!source.IsEOF()) {
    // A stop ends the run: the rows queued are written (and logged) before the stop's lines.
    if (batched && procedure.GetEventStop() && procedure.GetEventStop()->IsSet()) batched->Flush();
    if (InterruptRequested(procedure)) return false;
    if (batched) {
      batched->Row(source);
      source.MoveNext();
      continue;
    }
    if (copy.rowLine) procedure.Log(copy.rowLine(source), TMS_NONE);
    CString key = DoubleQuotes(FieldText(source, 0));
    if (copy.doubleKeyInPlace) source.SetFieldValue(0, key);
    AddOrEdit(target, StrFormat(copy.keyFilter.c_str(), key.c_str()));
    CopyFields(source, target, copy.columns);
    target.Update();
    source.MoveNext();
  }
  if (batched) batched->Flush();
  return true;
}

}  // namespace

bool CopyTable(CTarvoImport& procedure, CRecordSetBase& source, CRecordSetBase& target, const CTableCopy& copy) {
  bool completed = true;
  source.m_strSort = copy.sort;
  source.m_strFilter = copy.filter;
  source.Open();
  std::unique_ptr<CBatchedCopy> batched = CBatchedCopy::For(procedure, target, copy);
  try {
    completed = CopyRows(procedure, source, target, copy, batched.get());
  } catch (...) {
    // An error outside the batch (reading the source) comes after the rows queued before it.
    if (batched) batched->Flush();
    throw;
  }
  source.Close();
  target.Close();
  return completed;
}

CInsertQueue::CInsertQueue(CRecordSetBase& target) : target_(target) {
  for (int i = 0; i < target_.GetFieldCount(); ++i) {
    if (target_.IsKeyField(i)) key_ = i;
    else columns_.push_back(i);
  }
}

CInsertQueue::~CInsertQueue() = default;

void CInsertQueue::Add() {
  CDatabase* db = target_.GetDatabase();
  auto written = [&](int c) { return target_.IsFieldWritten(c); };
  const bool batched = db && db->InTransaction() && !columns_.empty() && CRecordBatch::Supported(target_) &&
                       key_ >= 0 && !written(key_) && std::all_of(columns_.begin(), columns_.end(), written);
  if (!batched) {
    Flush();
    target_.Update();
    return;
  }
  std::vector<CDBValue> values;
  try {
    for (int c : columns_) values.push_back(target_.GetParameterValue(c));
  } catch (...) {  // a value its column cannot take: Update would have refused it after the rows before
    Flush();
    throw;
  }
  target_.CancelUpdate();
  if (!batch_) batch_ = std::make_unique<CRecordBatch>(target_, columns_);
  batch_->AddInsert(values);
  pending_.push_back(std::move(values));
  if (batch_->Size() >= batch_->Capacity()) Flush();
}

void CInsertQueue::Write(const std::vector<CDBValue>& values) {
  target_.AddNew();
  for (size_t k = 0; k < columns_.size(); ++k) target_.SetFieldValue(columns_[k], values[k]);
  target_.Update();
}

void CInsertQueue::Flush() {
  if (pending_.empty()) return;
  std::vector<std::vector<CDBValue>> rows = std::move(pending_);
  pending_.clear();
  // A single row goes as it would alone: no savepoint needed to tell its error.
  if (rows.size() == 1) {
    batch_->Clear();
    return Write(rows.front());
  }
  batch_->ExecuteOrReplay([&] {
    for (const std::vector<CDBValue>& row : rows) Write(row);
  });
}

void CInsertQueue::Clear() {
  pending_.clear();
  if (batch_) batch_->Clear();
}

}  // namespace tarvo::exchange
