#include "partners/layout_catalog.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <memory>

#include "platform/errors.h"
#include "platform/files.h"

namespace tarvo::partner {

namespace {

std::map<CString, CFileLayout>& Registry() {
  static std::map<CString, CFileLayout> registry;
  return registry;
}

// Wild-card match, case ignored: "*" any run of characters, "?" one character.
bool Matches(const char* pattern, const char* name) {
  for (; *pattern; ++pattern, ++name) {
    if (*pattern == '*') {
      for (const char* rest = name;; ++rest) {
        if (Matches(pattern + 1, rest)) return true;
        if (!*rest) return false;
      }
    }
    if (!*name) return false;
    if (*pattern != '?' && std::tolower(static_cast<unsigned char>(*pattern)) != std::tolower(static_cast<unsigned char>(*name)))
      return false;
  }
  return !*name;
}

bool AllDigits(const CString& text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return std::isdigit(static_cast<unsigned char>(c)); });
}

// An optional sign, then digits.
bool IsWholeNumber(const CString& text) {
  return AllDigits(!text.empty() && (text[0] == '-' || text[0] == '+') ? text.substr(1) : text);
}

// An optional sign, digits, optionally a point or comma and more digits.
bool IsDecimalNumber(const CString& text) {
  CString t = !text.empty() && (text[0] == '-' || text[0] == '+') ? text.substr(1) : text;
  size_t sep = t.find_first_of(".,");
  if (sep == CString::npos) return AllDigits(t);
  return AllDigits(t.substr(0, sep)) && (sep + 1 == t.size() || AllDigits(t.substr(sep + 1)));
}

// What is wrong with the characters of a text field: control characters, bytes Windows-1252 does
// not define, or a UTF-8 sequence (a file saved by an editor in the wrong code page).
CString TextProblem(const CString& raw) {
  for (size_t i = 0; i < raw.size(); ++i) {
    const unsigned char c = static_cast<unsigned char>(raw[i]);
    if (c < 0x20 || c == 0x7F) return StrFormat("control character 0x%02X at %zu", c, i);
    if (c == 0x81 || c == 0x8D || c == 0x8F || c == 0x90 || c == 0x9D)
      return StrFormat("byte 0x%02X is no Windows-1252 character", c);
    const unsigned char next = i + 1 < raw.size() ? static_cast<unsigned char>(raw[i + 1]) : 0;
    if (c >= 0xC2 && c <= 0xF4 && next >= 0x80 && next <= 0xBF) return "looks like UTF-8, not Windows-1252";
  }
  return CString();
}

// The value a reader takes from the field, and what is wrong with it.
std::pair<CString, CString> ReadField(const CFieldSpec& f, const CString& raw) {
  const CString trimmed = Trim(raw, " ");
  switch (f.format) {
    case EFieldFormat::kText:
      return {TrimRight(raw, " "), TextProblem(raw)};
    case EFieldFormat::kFiller:
      return {CString(), CString()};
    case EFieldFormat::kDecimal: {
      if (!IsDecimalNumber(trimmed)) return {CString(), "not a number"};
      CString text = trimmed;
      ReplaceAll(text, ",", ".");
      return {text, CString()};
    }
    case EFieldFormat::kInteger:
      if (!IsWholeNumber(trimmed)) return {CString(), "not a whole number"};
      return {StrFormat("%ld", TextToLong(trimmed)), CString()};
    case EFieldFormat::kDigits:
      if (!IsWholeNumber(raw)) return {CString(), "not a zero-padded whole number"};
      return {StrFormat("%ld", TextToLong(raw.substr(0, raw.size() - std::min<size_t>(raw.size(), f.precision)))), CString()};
    case EFieldFormat::kImplied: {
      if (!IsWholeNumber(raw)) return {CString(), "not a number with implied decimals"};
      const CString digits = raw[0] == '-' || raw[0] == '+' ? raw.substr(1) : raw;
      const size_t p = std::min(static_cast<size_t>(f.precision), digits.size());
      CString value = StrFormat("%lld", std::stoll(digits.size() > p ? digits.substr(0, digits.size() - p) : CString("0")));
      if (f.precision) value += "." + CString(static_cast<size_t>(f.precision) - p, '0') + digits.substr(digits.size() - p);
      return {(raw[0] == '-' ? "-" : "") + value, CString()};
    }
    case EFieldFormat::kFlag:
      if (raw != "S" && raw != "N") return {raw, "neither S nor N"};
      return {raw == "S" ? "yes" : "no", CString()};
    case EFieldFormat::kDate: {
      if (raw == "000000") return {"(no date)", CString()};  // how a writer puts a null date
      std::optional<CDBTimestamp> d = ParseDate(raw);
      if (!d) return {CString(), "not a date (DDMMYY)"};
      return {d->ToString().substr(0, 10), CString()};
    }
    case EFieldFormat::kDate8:
    case EFieldFormat::kTimestamp: {
      const bool date8 = f.format == EFieldFormat::kDate8;
      const char* what = date8 ? "not a date (DDMMYYYY)" : "not a time stamp (YYYYMMDDhhmmss)";
      if (!AllDigits(raw) || raw.size() != (date8 ? 8u : 14u)) return {CString(), what};
      auto n = [&](size_t at, size_t len) { return std::stoi(raw.substr(at, len)); };
      CDBTimestamp t = date8 ? CDBTimestamp{n(4, 4), n(2, 2), n(0, 2)}
                             : CDBTimestamp{n(0, 4), n(4, 2), n(6, 2), n(8, 2), n(10, 2), n(12, 2)};
      const CDBTimestamp day = RolledDate(t.year, t.month, t.day);
      if (day.year != t.year || day.month != t.month || day.day != t.day || t.hour > 23 || t.minute > 59 || t.second > 59)
        return {CString(), what};
      return {date8 ? t.ToString().substr(0, 10) : t.ToString(), CString()};
    }
  }
  return {CString(), CString()};
}

CFieldReport Unused(const CFixedWidthLine& line, int from, int to) {
  CFieldReport r{"(unused)", from, to - from, line.Raw(from, to - from), CString(), CString()};
  return r;
}

}  // namespace

CRecordSelector HeaderThenLines() {
  return [](int index, const CString&) -> size_t { return index == 0 ? 0 : 1; };
}

CRecordSelector ByField(int offset, int width, std::vector<std::pair<CString, size_t>> kinds, size_t otherwise) {
  return [=](int, const CString& line) {
    const CString tag = CFixedWidthLine(line).Text(offset, width);
    for (const auto& [text, kind] : kinds)
      if (text == tag) return kind;
    return otherwise;
  };
}

CFileLayout OneRecordFile(CString name, CString description, std::vector<CString> patterns, const CRecordLayout& layout,
                          int minLength, int maxLength) {
  return {std::move(name), std::move(description), std::move(patterns), {{"record", &layout, minLength, maxLength}}, {}, 0};
}

CFileLayout HeaderLinesFile(CString name, CString description, std::vector<CString> patterns,
                            const CRecordLayout& header, const CRecordLayout& lines) {
  return {std::move(name), std::move(description), std::move(patterns),
          {{"header", &header}, {"line", &lines}}, HeaderThenLines(), 0};
}

CFileLayout FixedLengthFile(CString name, CString description, std::vector<CString> patterns,
                            const CRecordLayout& layout, size_t length) {
  const int n = static_cast<int>(length);
  return {std::move(name), std::move(description), std::move(patterns), {{"record", &layout, n, n}}, {}, length};
}

CLayoutRegistration::CLayoutRegistration(CFileLayout layout) {
  CString name = layout.name;
  if (!Registry().emplace(name, std::move(layout)).second)
    throw CException(ErrorKind::kInternal, "Tracciato registrato due volte: " + name);
}

std::vector<const CFileLayout*> LayoutCatalog() {
  std::vector<const CFileLayout*> all;
  for (const auto& [name, layout] : Registry()) all.push_back(&layout);
  return all;
}

const CFileLayout* FindLayout(const CString& name) {
  auto it = Registry().find(name);
  return it == Registry().end() ? nullptr : &it->second;
}

std::vector<const CFileLayout*> LayoutsForFile(const CString& path) {
  const size_t slash = path.find_last_of("/\\");
  const CString name = slash == CString::npos ? path : path.substr(slash + 1);
  std::vector<const CFileLayout*> found;
  for (const CFileLayout* layout : LayoutCatalog())
    if (std::any_of(layout->patterns.begin(), layout->patterns.end(),
                    [&](const CString& p) { return Matches(p.c_str(), name.c_str()); }))
      found.push_back(layout);
  return found;
}

// ---------------------------------------------------------------------------------------------
bool CRecordReport::Flagged() const {
  return !problems.empty() ||
         std::any_of(fields.begin(), fields.end(), [](const CFieldReport& f) { return !f.problem.empty(); });
}

int CFileReport::Flagged() const {
  int n = problems.empty() ? 0 : 1;
  for (const CRecordReport& r : records) n += r.Flagged();
  return n;
}

CRecordReport InspectRecord(const CFileLayout& file, int index, const CString& record) {
  size_t kind = file.select ? file.select(index, record) : 0;
  if (kind >= file.records.size()) kind = 0;
  const CRecordKind& k = file.records[kind];
  CString text = record;
  CRecordReport report;
  report.number = index + 1;
  report.kind = k.name;
  if (file.fixedLength) {
    if (text.size() < 2 || text.substr(text.size() - 2) != "\r\n") report.problems.push_back("does not end in CR LF");
    text = text.substr(0, text.size() >= 2 ? text.size() - 2 : 0);
  }
  const CFixedWidthLine line(text);
  report.length = line.Length();
  if (!file.fixedLength && text.empty()) {
    report.kind = "empty line";  // the readers skip it
    return report;
  }
  const int expected = RecordLength(*k.layout);
  const int minLength = k.minLength ? k.minLength - (file.fixedLength ? 2 : 0) : expected;
  const int maxLength = k.maxLength ? k.maxLength - (file.fixedLength ? 2 : 0) : expected;
  if (!file.fixedLength && (report.length < minLength || report.length > maxLength))
    report.problems.push_back(minLength == maxLength
                                  ? StrFormat("%d characters, the layout has %d", report.length, minLength)
                                  : StrFormat("%d characters, the layout has %d to %d", report.length, minLength, maxLength));

  CRecordLayout fields = *k.layout;
  std::stable_sort(fields.begin(), fields.end(), [](const CFieldSpec& a, const CFieldSpec& b) { return a.offset < b.offset; });
  int at = 0;
  for (const CFieldSpec& f : fields) {
    if (f.offset > at) report.fields.push_back(Unused(line, at, f.offset));
    CFieldReport r{f.name, f.offset, f.width, line.Raw(f.offset, f.width), CString(), CString()};
    if (!line.Covers(f)) {
      r.problem = r.raw.empty() ? "missing: the record ends before it" : "cut short by the end of the record";
    } else {
      std::tie(r.value, r.problem) = ReadField(f, r.raw);
    }
    report.fields.push_back(std::move(r));
    at = std::max(at, f.offset + f.width);
  }
  if (report.length > at) report.fields.push_back(Unused(line, at, report.length));
  return report;
}

CFileReport InspectBytes(const CFileLayout& layout, const CString& bytes) {
  CFileReport report;
  report.layout = &layout;
  if (bytes.empty()) report.problems.push_back("the file is empty");
  if (layout.fixedLength) {
    size_t pos = 0;
    for (int i = 0; bytes.size() - pos >= layout.fixedLength; ++i, pos += layout.fixedLength)
      report.records.push_back(InspectRecord(layout, i, bytes.substr(pos, layout.fixedLength)));
    if (pos < bytes.size())
      report.problems.push_back(StrFormat("%zu bytes at the end are no whole record of %zu", bytes.size() - pos, layout.fixedLength));
    return report;
  }
  size_t pos = 0;
  for (int i = 0; pos < bytes.size(); ++i) {
    size_t end = bytes.find('\n', pos);
    CString line = bytes.substr(pos, end == CString::npos ? CString::npos : end - pos);
    CRecordReport r;
    if (end == CString::npos) {
      r = InspectRecord(layout, i, line);
      r.problems.push_back("no line end (CR LF) after the last record");
      pos = bytes.size();
    } else {
      const bool cr = !line.empty() && line.back() == '\r';
      if (cr) line.pop_back();
      r = InspectRecord(layout, i, line);
      if (!cr) r.problems.push_back("line ends in LF without CR");
      pos = end + 1;
    }
    report.records.push_back(std::move(r));
  }
  return report;
}

CFileReport InspectFile(const CFileLayout& layout, const CString& path) { return InspectBytes(layout, ReadFileBytes(path)); }

std::vector<CString> FormatReport(const CFileReport& report) {
  std::vector<CString> out;
  for (const CRecordReport& r : report.records) {
    out.push_back(StrFormat("record %d (%s), %d characters%s", r.number, r.kind.c_str(), r.length,
                            r.Flagged() ? " -- FLAGGED" : ""));
    for (const CFieldReport& f : r.fields)
      out.push_back(StrFormat("  %5d %4d  %-24s |%s|  %s%s%s", f.offset, f.width, f.name.c_str(), f.raw.c_str(),
                              f.value.c_str(), f.problem.empty() ? "" : "  <-- ", f.problem.c_str()));
    for (const CString& p : r.problems) out.push_back("  ! " + p);
  }
  for (const CString& p : report.problems) out.push_back("! " + p);
  out.push_back(StrFormat("%zu records, %d flagged (layout %s)", report.records.size(), report.Flagged(),
                          report.layout->name.c_str()));
  return out;
}

}  // namespace tarvo::partner
