#include "partners/fixed_width.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <clocale>
#include <cstdio>
#include <locale.h>

#include <type_traits>

#include "platform/errors.h"
#include "platform/files.h"

namespace tarvo::partner {

namespace {

// The "C" locale, made once; printf under it always writes a point.
locale_t CLocale() {
  static locale_t c = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
  return c;
}

// Length of the numeric prefix of text[pos..]: digits, an optional point with digits, an optional
// exponent. `digits` tells whether any digit was seen.
size_t NumericPrefix(const CString& text, size_t pos, bool allowFraction, bool* digits) {
  size_t i = pos;
  *digits = false;
  while (i < text.size() && std::isdigit(static_cast<unsigned char>(text[i]))) ++i, *digits = true;
  if (!allowFraction) return i - pos;
  if (i < text.size() && text[i] == '.') {
    ++i;
    while (i < text.size() && std::isdigit(static_cast<unsigned char>(text[i]))) ++i, *digits = true;
  }
  if (*digits && i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
    size_t j = i + 1;
    if (j < text.size() && (text[j] == '+' || text[j] == '-')) ++j;
    size_t k = j;
    while (k < text.size() && std::isdigit(static_cast<unsigned char>(text[k]))) ++k;
    if (k > j) i = k;
  }
  return i - pos;
}

// Leading blanks and an optional sign; returns the position after them.
size_t SkipBlanksAndSign(const CString& text, bool* negative) {
  size_t i = 0;
  while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i]))) ++i;
  *negative = false;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) *negative = text[i++] == '-';
  return i;
}

}  // namespace

// The leading number of a text as atof/atol read it; 0 when there is none.
template <class T>
T LeadingNumber(const CString& text) {
  bool negative = false, digits = false;
  size_t start = SkipBlanksAndSign(text, &negative);
  size_t len = NumericPrefix(text, start, std::is_floating_point_v<T>, &digits);
  T value = 0;
  if (digits) std::from_chars(text.data() + start, text.data() + start + len, value);
  return negative ? -value : value;
}

double TextToDouble(const CString& text) { return LeadingNumber<double>(text); }
long TextToLong(const CString& text) { return LeadingNumber<long>(text); }

CString FormatWithPattern(const char* pattern, double value) {
  locale_t previous = uselocale(CLocale());
  char buffer[512];
  int n = std::snprintf(buffer, sizeof buffer, pattern, value);
  uselocale(previous);
  return CString(buffer, n > 0 ? std::min<size_t>(static_cast<size_t>(n), sizeof buffer - 1) : 0);
}

CString DecimalPattern(int width, int precision, bool sign) {
  return sign ? StrFormat("%%+0%d.%df", width, precision) : StrFormat("%%0%d.%df", width, precision);
}

CString IntegerPattern(int width) { return StrFormat("%%0%dd", width); }

CString FitText(const CString& value, int width, EAlign align) {
  CString text = value.substr(0, static_cast<size_t>(width));
  size_t pad = static_cast<size_t>(width) - text.size();
  return align == EAlign::kLeft ? text + CString(pad, ' ') : CString(pad, ' ') + text;
}

CString FormatDate(const CDBTimestamp& d) { return StrFormat("%02d%02d%02d", d.day, d.month, d.year % 100); }

std::optional<CDBTimestamp> ParseDate(const CString& ddmmyy) {
  if (ddmmyy.size() != 6) return std::nullopt;
  for (char c : ddmmyy)
    if (!std::isdigit(static_cast<unsigned char>(c))) return std::nullopt;
  CDBTimestamp d;
  d.day = std::stoi(ddmmyy.substr(0, 2));
  d.month = std::stoi(ddmmyy.substr(2, 2));
  d.year = 2000 + std::stoi(ddmmyy.substr(4, 2));
  static const int kDays[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (d.month < 1 || d.month > 12 || d.day < 1 || d.day > kDays[d.month - 1]) return std::nullopt;
  if (d.month == 2 && d.day == 29 && d.year % 4 != 0) return std::nullopt;
  return d;
}

namespace {
long long DaysFromCivil(long long y, unsigned m, unsigned d) {  // days since 1970-01-01
  y -= m <= 2;
  const long long era = (y >= 0 ? y : y - 399) / 400;
  const unsigned yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<long long>(doe) - 719468;
}
}  // namespace

CDBTimestamp RolledDate(int year, int month, int day) {
  long long months = static_cast<long long>(year) * 12 + (month - 1);
  long long y = months >= 0 ? months / 12 : (months - 11) / 12;
  unsigned m = static_cast<unsigned>(months - y * 12) + 1;
  long long z = DaysFromCivil(y, m, 1) + (day - 1) + 719468;  // civil_from_days
  const long long era = (z >= 0 ? z : z - 146096) / 146097;
  const unsigned doe = static_cast<unsigned>(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  CDBTimestamp t;
  t.day = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  t.month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  t.year = static_cast<int>(static_cast<long long>(yoe) + era * 400 + (t.month <= 2));
  return t;
}

CString FormatField(const CFieldSpec& f, const CString& value) {
  switch (f.format) {
    case EFieldFormat::kText:
      return FitText(value, f.width, f.align);
    case EFieldFormat::kDecimal: {
      const int printed = f.decimal ? f.width : f.width + 1;
      CString text = FormatWithPattern(DecimalPattern(printed, f.precision, f.sign).c_str(), TextToDouble(value));
      if (!f.decimal) {
        text.erase(std::remove(text.begin(), text.end(), '.'), text.end());
        return text;
      }
      for (char& c : text)
        if (c == '.') c = f.decimal;
      return text;
    }
    case EFieldFormat::kInteger:
      return StrFormat(IntegerPattern(f.width).c_str(), static_cast<int>(TextToLong(value)));
    case EFieldFormat::kFlag:
      return TextToLong(value) != 0 ? "S" : "N";
    case EFieldFormat::kDate: {
      std::optional<CDBTimestamp> d = CDBTimestamp::Parse(value);
      if (!d && value == CDBTimestamp{}.ToString()) d = CDBTimestamp{};  // a null date read by a record
      return d ? FormatDate(*d) : CString(static_cast<size_t>(f.width), ' ');
    }
    case EFieldFormat::kImplied: {
      CString text = FormatWithPattern(StrFormat("%%0#%d.%df", f.width + 1, f.precision).c_str(), TextToDouble(value));
      ReplaceAll(text, ".", "");
      return text;
    }
    case EFieldFormat::kDigits: {
      const int digits = f.width - f.precision;
      return StrFormat("%.*ld", digits, TextToLong(value)) + CString(static_cast<size_t>(f.precision), '0');
    }
    case EFieldFormat::kDate8:
    case EFieldFormat::kTimestamp: {
      std::optional<CDBTimestamp> d = CDBTimestamp::Parse(value);
      if (!d) return CString(static_cast<size_t>(f.width), ' ');
      return f.format == EFieldFormat::kDate8
                 ? StrFormat("%02d%02d%04d", d->day, d->month, d->year)
                 : StrFormat("%04d%02d%02d%02d%02d%02d", d->year, d->month, d->day, d->hour, d->minute, d->second);
    }
    case EFieldFormat::kFiller:
      return CString(static_cast<size_t>(f.width), ' ');
  }
  throw CException(ErrorKind::kInternal, StrFormat("Formato sconosciuto per il campo %s", f.name));
}

int RecordLength(const CRecordLayout& layout) {
  int end = 0;
  for (const CFieldSpec& f : layout) end = std::max(end, f.offset + f.width);
  return end;
}

CRecordLayout JoinLayouts(const CRecordLayout& first, const CRecordLayout& rest) {
  CRecordLayout joined = first;
  joined.insert(joined.end(), rest.begin(), rest.end());
  return joined;
}

size_t ValueCount(const CRecordLayout& layout) {
  size_t n = 0;
  for (const CFieldSpec& f : layout) n += f.format != EFieldFormat::kFiller;
  return n;
}

std::vector<const char*> ValueNames(const CRecordLayout& layout) {
  std::vector<const char*> names;
  for (const CFieldSpec& f : layout)
    if (f.format != EFieldFormat::kFiller) names.push_back(f.name);
  return names;
}

const CFieldSpec& FieldOf(const CRecordLayout& layout, const char* name) {
  for (const CFieldSpec& f : layout)
    if (std::string_view(f.name) == name) return f;
  throw CException(ErrorKind::kInternal, StrFormat("Tracciato senza il campo %s", name));
}

CString FormatRecord(const CRecordLayout& layout, const std::vector<CString>& values) {
  if (values.size() != ValueCount(layout))
    throw CException(ErrorKind::kInternal,
                     StrFormat("Record a larghezza fissa: %zu valori per %zu campi", values.size(), ValueCount(layout)));
  CString record;
  size_t next = 0;
  static const CString kNone;
  for (const CFieldSpec& f : layout)
    record += FormatField(f, f.format == EFieldFormat::kFiller ? kNone : values[next++]);
  return record;
}

// ---------------------------------------------------------------------------------------------
CString CFixedWidthLine::Raw(int offset, int width) const {
  if (offset < 0 || width <= 0 || static_cast<size_t>(offset) >= line_.size()) return CString();
  return line_.substr(static_cast<size_t>(offset), static_cast<size_t>(width));
}

CString CFixedWidthLine::Text(int offset, int width, ETrim trim) const {
  CString raw = Raw(offset, width);
  switch (trim) {
    case ETrim::kNone: return raw;
    case ETrim::kRight: return TrimRight(raw, " ");
    case ETrim::kLeft: return TrimLeft(raw, " ");
    case ETrim::kBoth: return Trim(raw, " ");
  }
  return raw;
}

CString CFixedWidthLine::DecimalText(int offset, int width) const {
  CString text = Text(offset, width, ETrim::kBoth);
  for (char& c : text)
    if (c == ',') c = '.';
  return text;
}

// ---------------------------------------------------------------------------------------------
CFixedWidthReader::CFixedWidthReader(const CString& path) { file_.Open(NativePath(path), CStdioFile::Mode::kRead); }

bool CFixedWidthReader::Next(CString& line) {
  if (!file_.ReadString(line)) return false;
  ++number_;
  return true;
}

// ---------------------------------------------------------------------------------------------
CFixedWidthWriter::CFixedWidthWriter(const CString& path) { file_.Open(NativePath(path), CStdioFile::Mode::kWrite); }

void CFixedWidthWriter::WriteRecord(const CString& record) {
  file_.WriteString(TextModeLineEnds(record + "\n"));  // a line feed inside a value too
  ++records_;
}

CString PartnerFilePath(const CString& folder, const CString& name) {
  return folder.empty() ? name : folder + "\\" + name;
}

CFixedLengthReader::CFixedLengthReader(const CString& path, size_t length)
    : bytes_(ReadFileBytes(path)), length_(length) {}

bool CFixedLengthReader::Next(CFixedWidthLine& record) {
  if (length_ == 0 || bytes_.size() - pos_ < length_) return false;
  record = CFixedWidthLine(bytes_.substr(pos_, length_));
  pos_ += length_;
  return true;
}

}  // namespace tarvo::partner
