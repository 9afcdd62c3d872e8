// The catalogue of partner file layouts, and the inspection of a file against one of them: every
// record cut into its named fields (offset, width, raw text, value read) with what does not fit
// the layout flagged (a record of the wrong length, a number field that is no number, a date that
// is no date, a missing line end, ...). `tarvo-exchange inspect` prints it.
//
// How a layout joins the catalogue: declare one registration object in the .cpp that defines its
// field tables, next to them; the catalogue lists it from the moment the library is loaded.
//
//   // a file of one record kind
//   static const partner::CLayoutRegistration kClienti{partner::OneRecordFile(
//       "solvar-clienti", "Solvar customers (3)", {"clienti.txt"}, ClientiLayout())};
//   // a header record, then line records (told apart by position)
//   static const partner::CLayoutRegistration kFatture{partner::HeaderLinesFile(
//       "solvar-fatture", "Solvar invoices (12)", {"*.FAT", "*.FA?"}, FatturaTestataLayout(),
//       FatturaRigaLayout())};
//
// Record kinds told apart by a field of their own: fill CFileLayout::records and set `select`
// to ByField (or any function of the record's position and text). Fixed-length files read as
// binary (Pellor's package) set `fixedLength` (line end included). Names are unique; a second
// registration of a name is an internal error at load time.
//
// The catalogue is filled while the library loads and only read afterwards: thread-safe to read.
// Inspection functions are pure but for InspectFile, which reads the file.
#pragma once

#include <functional>
#include <utility>
#include <vector>

#include "partners/fixed_width.h"

namespace tarvo::partner {

// One kind of record of a file: its layout and the lengths (line end excluded) a record of it may
// have; both 0: RecordLength(layout).
struct CRecordKind {
  const char* name;  // "testata", "riga", "record"
  const CRecordLayout* layout;
  int minLength = 0;
  int maxLength = 0;
};

// The kind (index into CFileLayout::records) of the record number `index` (from 0) with text `line`.
using CRecordSelector = std::function<size_t(int index, const CString& line)>;

struct CFileLayout {
  CString name;                   // what `inspect --layout` takes
  CString description;
  std::vector<CString> patterns;  // file names it fits: "*" and "?" wild cards, case ignored
  std::vector<CRecordKind> records;
  CRecordSelector select;         // empty: every record is of the first kind
  size_t fixedLength = 0;         // records of this many bytes, CR LF last; 0: lines ended by CR LF
};

// Record 0 is of the first kind, every other of the second.
CRecordSelector HeaderThenLines();
// The kind named by the text of the field at offset/width (trimmed on the right); `otherwise`
// for a text not in `kinds`.
CRecordSelector ByField(int offset, int width, std::vector<std::pair<CString, size_t>> kinds, size_t otherwise);

// Entries of the common shapes.
CFileLayout OneRecordFile(CString name, CString description, std::vector<CString> patterns,
                          const CRecordLayout& layout, int minLength = 0, int maxLength = 0);
CFileLayout HeaderLinesFile(CString name, CString description, std::vector<CString> patterns,
                            const CRecordLayout& header, const CRecordLayout& lines);
CFileLayout FixedLengthFile(CString name, CString description, std::vector<CString> patterns,
                            const CRecordLayout& layout, size_t length);

class CLayoutRegistration {
 public:
  explicit CLayoutRegistration(CFileLayout layout);
};

// Every registered layout, by name.
std::vector<const CFileLayout*> LayoutCatalog();
const CFileLayout* FindLayout(const CString& name);  // nullptr when unknown
// The layouts whose patterns fit the file name (folders stripped), by name.
std::vector<const CFileLayout*> LayoutsForFile(const CString& path);

// ---------------------------------------------------------------------------------------------
struct CFieldReport {
  CString name;  // the field's name, "(unused)" for positions no field covers
  int offset = 0;
  int width = 0;
  CString raw;      // the characters there (fewer where the record ends early)
  CString value;    // the value as a reader takes it
  CString problem;  // "" when the field fits its format
};

struct CRecordReport {
  int number = 0;  // from 1
  CString kind;
  int length = 0;
  std::vector<CFieldReport> fields;
  std::vector<CString> problems;  // the record's own (length, line end); the fields' are theirs
  bool Flagged() const;           // a problem of the record or of one of its fields
};

struct CFileReport {
  const CFileLayout* layout = nullptr;
  std::vector<CRecordReport> records;
  std::vector<CString> problems;  // of the file as a whole (empty, trailing bytes)
  int Flagged() const;            // records with a problem, plus 1 for a file problem
};

CRecordReport InspectRecord(const CFileLayout& layout, int index, const CString& record);
// The records of `bytes` (a whole file) against `layout`.
CFileReport InspectBytes(const CFileLayout& layout, const CString& bytes);
// Throws tarvo::CFileException when the file cannot be read.
CFileReport InspectFile(const CFileLayout& layout, const CString& path);
// The report as text lines (Windows-1252, as the file's own text).
std::vector<CString> FormatReport(const CFileReport& report);

}  // namespace tarvo::partner
