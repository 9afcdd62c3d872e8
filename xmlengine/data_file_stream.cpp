#include "xmlengine/data_file_stream.h"

#include <array>
#include <cstdio>

namespace {
// The Unicode value of each Windows-1252 byte.
const std::array<char16_t, 256>& UnicodeOfByte() {
  static const std::array<char16_t, 256> table = [] {
    std::array<char16_t, 256> t{};
    for (int b = 0; b < 256; ++b) t[static_cast<size_t>(b)] = tarvo::Cp1252ToUtf16(CString(1, static_cast<char>(b)))[0];
    return t;
  }();
  return table;
}

constexpr size_t kFlushSize = 1 << 20;
}  // namespace

CDataFileStream::CDataFileStream(const CString& path) : path_(path) {
  try {
    // A name of its own: two exports into one folder never write the same temporary file.
    file_.OpenTemporaryBeside(path_);
    temp_ = file_.GetFilePath();
  } catch (const tarvo::CFileException&) {
    return;
  }
  buffer_ = "<?xml version=\"1.0\" encoding=\"iso8859-1\" standalone=\"no\" ?>\r\n<exchangedata>\r\n\r\n";
}

CDataFileStream::~CDataFileStream() {
  if (committed_ || !file_.IsOpen()) return;
  file_.Close();
  std::remove(temp_.c_str());
}

// The serializer escapes &, < and carriage returns everywhere, > in text, and quotes, tabs and
// line feeds in attributes; characters beyond Latin-1 become character references.
void CDataFileStream::Append(std::string_view text, bool attribute) {
  const auto& unicode = UnicodeOfByte();
  for (unsigned char c : text) {
    char16_t u = unicode[c];
    switch (u) {
      case '&':
        buffer_ += "&amp;";
        continue;
      case '<':
        buffer_ += "&lt;";
        continue;
      case '\r':
        buffer_ += "&#xD;";
        continue;
      case '>':
        if (attribute) break;
        buffer_ += "&gt;";
        continue;
      case '"':
        if (!attribute) break;
        buffer_ += "&quot;";
        continue;
      case '\n':
        if (!attribute) break;
        buffer_ += "&#xA;";
        continue;
      case '\t':
        if (!attribute) break;
        buffer_ += "&#x9;";
        continue;
      default:
        break;
    }
    if (u < 0x20 && u != '\t' && u != '\n') valid_ = false;
    if (u > 0xFF) {
      char ref[16];
      std::snprintf(ref, sizeof ref, "&#x%X;", static_cast<unsigned>(u));
      buffer_ += ref;
    } else {
      buffer_ += static_cast<char>(u);
    }
  }
}

CString CDataFileStream::EscapeAttribute(std::string_view text) {
  CString saved;
  saved.swap(buffer_);
  Append(text, true);
  saved.swap(buffer_);
  return saved;
}

void CDataFileStream::BeginTable(const CString& name, const CString& primarykey) {
  tableTag_ = "  <table name=\"" + EscapeAttribute(name) + "\" primarykey=\"" + EscapeAttribute(primarykey) + "\"";
}

void CDataFileStream::BeginRecord(int number) {
  if (!tableOpen_) {
    buffer_ += tableTag_ + ">\r\n";
    tableOpen_ = true;
  }
  buffer_ += "    <record number=\"" + std::to_string(number) + "\">\r\n";
}

void CDataFileStream::Column(const CString& name, const CString& type, bool isNull, std::string_view text) {
  buffer_ += isNull ? "      <column isnull=\"yes\" name=\"" : "      <column isnull=\"no\" name=\"";
  buffer_ += name;
  buffer_ += "\" type=\"";
  buffer_ += type;
  if (text.empty()) {
    buffer_ += "\"/>\r\n";
    return;
  }
  buffer_ += "\">";
  Append(text, false);
  buffer_ += "</column>\r\n";
}

void CDataFileStream::EndRecord() {
  buffer_ += "    </record>\r\n";
  if (buffer_.size() >= kFlushSize) Flush();
}

void CDataFileStream::Flush() {
  if (file_.IsOpen()) file_.WriteString(buffer_);
  buffer_.clear();
}

void CDataFileStream::Commit() {
  buffer_ += tableOpen_ ? "  </table>\r\n" : tableTag_ + "/>\r\n";
  buffer_ += "\r\n</exchangedata>\r\n";
  Flush();
  file_.Close();
  if (std::rename(temp_.c_str(), path_.c_str()) != 0)
    throw tarvo::CFileException(path_, "unable to open file '" + path_ + "'");
  committed_ = true;
}
