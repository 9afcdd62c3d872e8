// CRecordSetBase: a record class over one table or view of the company database. A derived class
// declares one member per column, in binding order, each bound by a call in its initializer:
// Long (INTEGER column, long member), Text (text member; of a VARCHAR column, or of an INTEGER
// column with EColumn::kInteger), Number (DOUBLE column held as decimal text, "12.5"), Date.
//
//   class CIvaSet : public CRecordSetBase {
//    public:
//     explicit CIvaSet(CDatabase* db) : CRecordSetBase(db, "IVA", "CODICE") {}
//     CString& m_CODICE = Text("CODICE");
//     CString& m_ALIQUOTA = Number("ALIQUOTA");
//   };
//
// Reading: set m_strFilter (an SQL condition, pasted as given) and m_strSort, Open, then IsEOF/
// MoveNext; the members hold the current row, a NULL column as an empty text, 0 or a zero date
// (IsFieldNull tells). Requery runs the query again with the filter and sort as they are now.
// The cursor is forward-only.
// Writing: AddNew or Edit, assign members, Update. Only the columns that changed (or were given a
// null state with SetFieldNull/SetFieldValue) are written, so columns a new row never touches keep
// the database's defaults. Values always travel as statement parameters; rows are found by the
// primary key as it was read. After AddNew every column is NULL: text members are empty, dates
// are zero and long members hold kPseudoNullLong, so that assigning any value, 0 included, marks
// the column as set. Assigning the value a NULL column already shows (an empty text, a zero date,
// 0 to a long read as NULL) leaves it NULL: use SetFieldNull(&m, false) to write it.
// Copying a column with its null state: dst.SetFieldValue(i, src.GetFieldValue(i)).
//
// The record set does not own the database and must not outlive it; statements it prepares stay
// valid while the connection stays open. One thread at a time. Driver errors are thrown as
// CDBException; misuse (Edit at the end, Update without AddNew/Edit, writing a view) as
// tarvo::CException of kind kInternal; a member holding text that its column cannot take (a
// Number that is no number) as kind kInput, naming table, column and text.
#pragma once

#include <map>
#include <memory>
#include <vector>

#include "platform/odbc.h"
#include "platform/run_journal.h"

class CRecordSetBase {
 public:
  static constexpr long kPseudoNullLong = 0x4a4d4120;
  // The column type in the database, which decides how a member's value is sent.
  enum class EColumn { kInteger, kReal, kText, kDate };

  virtual ~CRecordSetBase();
  CRecordSetBase(const CRecordSetBase&) = delete;
  CRecordSetBase& operator=(const CRecordSetBase&) = delete;

  CString m_strFilter;  // WHERE condition, pasted as given; empty: every row
  CString m_strSort;    // ORDER BY list, pasted as given; empty: the database's order

  // Runs the query and positions on the first row (members filled; IsEOF when there is none).
  // Returns true. Throws CDBException.
  bool Open();
  bool Requery();  // Open again, with the filter and sort as they are now
  void Close();    // never throws
  bool IsOpen() const { return open_; }
  bool IsEOF() const { return !open_ || rs_->IsEOF(); }
  void MoveNext();

  void AddNew();        // starts a new row; every field NULL
  void Edit();          // starts changing the current row
  bool Update();        // writes the row; false when nothing was written (no change, row gone)
  void CancelUpdate();  // forgets AddNew/Edit and restores the current row
  void Delete();        // removes the current row (the members keep its values)
  bool IsAdding() const { return mode_ == Mode::kAdd; }
  bool IsEditing() const { return mode_ == Mode::kEdit; }
  bool CanUpdate() const { return !read_only_; }

  // Null state by member address (&m_X) or by position in binding order.
  bool IsFieldNull(const void* member) const;
  void SetFieldNull(const void* member, bool null = true);
  bool IsFieldNull(int index) const;
  void SetFieldNull(int index, bool null = true);

  // Generic access in binding order, for procedures that copy "the first n columns".
  int GetFieldCount() const { return static_cast<int>(fields_.size()); }
  const CString& GetFieldName(int index) const;
  EColumn GetFieldColumnType(int index) const;
  bool IsKeyField(int index) const;
  bool IsFieldNullable(int index) const;  // false for the key and the NOT NULL columns
  int FindField(const CString& name) const;  // case-insensitive; -1 when absent
  // The member's value as it is now (monostate when NULL). Number members give their text.
  CDBValue GetFieldValue(int index) const;
  // Assigns the member from any value (converted to the member's type) and marks the column
  // as set; monostate sets it NULL. Throws tarvo::CException (kInput) when a text is no number.
  void SetFieldValue(int index, const CDBValue& value);
  // The value Update would send for the column now (NULL aware, converted to the column's type):
  // what a batch of rows (CRecordBatch) sends in its place. Throws tarvo::CException (kInput)
  // like Update when the member holds text its column cannot take.
  CDBValue GetParameterValue(int index) const;
  // Whether Update would send the column now (set since AddNew/Edit, or forced NULL).
  bool IsFieldWritten(int index) const;

  const CString& GetTableName() const { return table_; }
  CDatabase* GetDatabase() const { return db_; }
  CString GetSelectSQL() const;  // the query Open runs now

  // Rows written for this table in its place (by a batch of rows); counted in the run's rows per
  // table (platform/run_journal.h), which the record set feeds when it closes.
  void CountWrites(long long inserted, long long updated);

 protected:
  // `keyColumns`: the primary key, comma-separated ("ID", "ID_ARTICOLO, ID_DEPOSITO, ANNO");
  // empty for a view, which is then read-only. `notNullColumns`: the other columns the table
  // declares NOT NULL, comma-separated.
  CRecordSetBase(CDatabase* db, const char* table, const char* keyColumns, const char* notNullColumns = "");

  long& Long(const char* column);                                        // INTEGER column
  CString& Text(const char* column, EColumn type = EColumn::kText);     // text (or other) column
  CString& Number(const char* column) { return Text(column, EColumn::kReal); }  // decimal as text
  CDBTimestamp& Date(const char* column);                                // TIMESTAMP column

 private:
  enum class Mode { kNone, kAdd, kEdit };
  struct Field;

  int IndexOf(const void* member) const;
  void Load();                       // current row -> members and snapshot
  void Restore();                    // snapshot of the current row -> members
  void MarkAllNull();
  bool Changed(const Field& f) const;
  CDBValue ParameterValue(const Field& f) const;  // the value to send for f (NULL aware)
  std::vector<CDBValue> KeyValues() const;        // the current row's key as read
  CString KeyCondition() const;
  long Run(const CString& sql, const std::vector<CDBValue>& params);

  CDatabase* db_;
  CString table_;
  std::vector<int> key_;  // indices of the key columns
  std::vector<CString> key_names_;
  std::vector<CString> not_null_names_;
  bool read_only_;
  std::vector<std::unique_ptr<Field>> fields_;
  std::unique_ptr<CODBCRecordset> rs_;
  bool open_ = false;
  Mode mode_ = Mode::kNone;
  std::vector<CDBValue> row_;  // the current row as read (for Restore and the key)
  std::map<CString, std::unique_ptr<CODBCStatement>> statements_;  // prepared writes, by SQL
  tarvo::CTableRowCounts counts_;  // since the last Close
};

namespace tarvo {
// The text a Number member holds for a value: shortest round-trip, fixed notation ("12.5", "10").
CString FormatNumber(double value);
// Parses a Number member's text ("12.5", " 12,5 "); nullopt when it is no number.
std::optional<double> ParseNumber(const CString& text);
}  // namespace tarvo
