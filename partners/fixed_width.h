// Fixed-width partner records: one record per line, fields by position only (offsets from 0),
// Windows-1252 text (one byte, one character), records ended by CR LF.
//
// A record layout is a table of fields (offset, width, format). FormatRecord writes a record from
// the field values given as text (the record classes deliver every column as text, numbers
// included); CFixedWidthLine cuts the fields of a line that was read. Every partner procedure
// uses these two, so the rules below hold for every partner file:
//   - a text field is cut to its width, then padded with blanks (on the right when aligned left);
//   - a number field is never cut: a value too large for its width makes the record longer;
//   - dates are DDMMYY; read back, the year is 2000 + YY.
// All functions are pure and may be used from several threads; numbers are formatted and parsed
// with the point as decimal separator whatever the process locale is.
#pragma once

#include <optional>
#include <vector>

#include "platform/odbc.h"
#include "platform/stdio_file.h"
#include "platform/text.h"

class CRecordSetBase;

namespace tarvo::partner {

enum class EFieldFormat {
  kText,       // cut to width, padded with blanks (right side unless aligned right)
  kDecimal,    // the value read as a number, printf "%[+]0<width>.<precision>f", '.' -> decimal
  kInteger,    // the value read as a whole number, printf "%0<width>d"
  kFlag,       // "S" when the value read as a whole number is non-zero, else "N"
  kDate,       // a "YYYY-MM-DD[ hh:mm:ss]" value as DDMMYY (blanks when it is no date; a record's
               // null date, all zeros, as "000000")
  kImplied,    // the value read as a number, printf "%0#<width + 1>.<precision>f" with the point
               // removed: implied decimals ("12.5" in width 9, precision 2: "000001250")
  kDigits,     // the value read as a whole number, printf "%0<d>.<d>d" (d = width - precision)
               // followed by `precision` zeros ("%07.7d00")
  kDate8,      // DDMMYYYY (read only)
  kTimestamp,  // YYYYMMDDhhmmss (read only)
  kFiller,     // width blanks; takes no value
};

enum class EAlign { kLeft, kRight };

struct CFieldSpec {
  // The column the field carries where the file maps one record class (a writer reads that
  // column, a reader finds the field by it: FieldOf), else a word for messages.
  const char* name;
  int offset;
  int width;
  EFieldFormat format = EFieldFormat::kText;
  int precision = 0;     // kDecimal: digits after the separator
  bool sign = false;     // kDecimal: always print the sign
  char decimal = ',';    // kDecimal: the separator written in place of the point; '\0': none, the
                         // point is removed (implied decimals: width + 1 printed, then cut)
  EAlign align = EAlign::kLeft;  // kText only
};

using CRecordLayout = std::vector<CFieldSpec>;

// Where the record ends when every field fits its width: the end of the field that ends last.
int RecordLength(const CRecordLayout& layout);
// The layout of `first` followed by the fields of `rest` (record layouts built from blocks that
// several files share; offsets are absolute, so the blocks must not overlap).
CRecordLayout JoinLayouts(const CRecordLayout& first, const CRecordLayout& rest);

// Number of values a layout takes (its fields minus the fillers).
size_t ValueCount(const CRecordLayout& layout);
// The names of the fields that take a value, in layout order (the columns a writer reads).
std::vector<const char*> ValueNames(const CRecordLayout& layout);
// The field of that name. Throws tarvo::CException (internal) when the layout has none.
const CFieldSpec& FieldOf(const CRecordLayout& layout, const char* name);

// The values of the current row of `record` for the fields of `layout` that take one, each read
// from the column of the field's name as text (NULL: empty; numbers as the record holds them).
// Throws tarvo::CException (internal) when the record has no such column.
std::vector<CString> RecordValues(const CRecordSetBase& record, const CRecordLayout& layout);

// One field written from its value as the layout says.
CString FormatField(const CFieldSpec& field, const CString& value);

// The record (without line end) of `values`, one per non-filler field in layout order. Fields are
// written one after the other: a number longer than its width pushes the following fields right.
// Throws tarvo::CException (internal) when the number of values does not fit the layout.
CString FormatRecord(const CRecordLayout& layout, const std::vector<CString>& values);

// The text field rule on its own: cut to `width`, then padded with blanks.
CString FitText(const CString& value, int width, EAlign align = EAlign::kLeft);

// printf of one number with the C locale's point, e.g. FormatWithPattern("%+018.5f", 12.5).
CString FormatWithPattern(const char* pattern, double value);
// The patterns the partner files use, built from width and precision:
// DecimalPattern(18, 5, true) = "%+018.5f", DecimalPattern(4, 2, false) = "%04.2f",
// IntegerPattern(7) = "%07d".
CString DecimalPattern(int width, int precision, bool sign);
CString IntegerPattern(int width);

// Text to number as the C library's atof/atol read it: leading blanks, an optional sign, the
// longest numeric prefix (point as decimal separator); 0 when the text does not start with a
// number. Never throws.
double TextToDouble(const CString& text);
long TextToLong(const CString& text);

// DDMMYY of a date; the year is printed modulo 100.
CString FormatDate(const CDBTimestamp& date);
// DDMMYY read back with the year 2000 + YY; nullopt unless six digits forming a valid day.
std::optional<CDBTimestamp> ParseDate(const CString& ddmmyy);
// The day of year/month/day (time 00:00:00) where a month or day outside its range rolls over as
// the calendar does: month 13 is January of the next year, day 0 the last day of the month
// before, month 30 of 2007 is June 2009.
CDBTimestamp RolledDate(int year, int month, int day);

// The fields of one record line as read from a file (line end already removed).
class CFixedWidthLine {
 public:
  enum class ETrim { kNone, kRight, kLeft, kBoth };

  explicit CFixedWidthLine(CString line) : line_(std::move(line)) {}
  const CString& Line() const { return line_; }
  int Length() const { return static_cast<int>(line_.size()); }
  // True when the line reaches to the end of the field (offset + width characters or more).
  bool Covers(int offset, int width) const { return Length() >= offset + width; }
  bool Covers(const CFieldSpec& f) const { return Covers(f.offset, f.width); }

  // The characters of the field; shorter (or empty) where the line ends early.
  CString Raw(int offset, int width) const;
  CString Text(int offset, int width, ETrim trim = ETrim::kRight) const;
  CString Text(const CFieldSpec& f, ETrim trim = ETrim::kRight) const { return Text(f.offset, f.width, trim); }
  // The field trimmed with its decimal comma turned into a point ("+00012,50" -> "+00012.50").
  CString DecimalText(int offset, int width) const;
  CString DecimalText(const CFieldSpec& f) const { return DecimalText(f.offset, f.width); }
  double Number(int offset, int width) const { return TextToDouble(DecimalText(offset, width)); }
  double Number(const CFieldSpec& f) const { return Number(f.offset, f.width); }
  long Integer(int offset, int width) const { return TextToLong(Text(offset, width, ETrim::kBoth)); }
  long Integer(const CFieldSpec& f) const { return Integer(f.offset, f.width); }
  // A DDMMYY field (width 6).
  std::optional<CDBTimestamp> Date(int offset) const { return ParseDate(Raw(offset, 6)); }

 private:
  CString line_;
};

// A partner file read line by line as text: the line end (LF or CR LF) is removed, bytes pass
// unchanged (Windows-1252). Throws tarvo::CFileException when the file cannot be opened or read.
class CFixedWidthReader {
 public:
  explicit CFixedWidthReader(const CString& path);
  // The next line; false at the end of the file. Counts the lines read, empty ones included.
  bool Next(CString& line);
  int LineNumber() const { return number_; }
  void Close() { file_.Close(); }

 private:
  CStdioFile file_;
  int number_ = 0;
};

// A partner file written record by record: created or truncated on open, every record followed
// by CR LF. Throws tarvo::CFileException when the file cannot be created or written.
class CFixedWidthWriter {
 public:
  explicit CFixedWidthWriter(const CString& path);
  void WriteRecord(const CString& record);
  void WriteRecord(const CRecordLayout& layout, const std::vector<CString>& values) {
    WriteRecord(FormatRecord(layout, values));
  }
  void Close() { file_.Close(); }
  int RecordCount() const { return records_; }

 private:
  CStdioFile file_;
  int records_ = 0;
};

// A partner file of fixed-length records, read as binary in one piece: Next gives the next
// `length` bytes as a line (line ends included where the layout has them); a shorter remainder
// at the end is no record and ends the file. Throws tarvo::CFileException when the file cannot
// be read.
class CFixedLengthReader {
 public:
  CFixedLengthReader(const CString& path, size_t length);
  bool Next(CFixedWidthLine& record);

 private:
  CString bytes_;
  size_t length_;
  size_t pos_ = 0;
};

// A partner file's path: the bare name when the folder is empty, else folder + "\" + name, joined
// without looking for a separator already at the end of the folder (as the partners expect it in
// the log). Open the result through NativePath.
CString PartnerFilePath(const CString& folder, const CString& name);

}  // namespace tarvo::partner
