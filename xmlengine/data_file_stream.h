// CDataFileStream writes an XML data file ("exchangedata", encoding iso8859-1, CR LF, indented)
// one record at a time, byte for byte as the XML library's serializer writes the same document,
// so that an export of any size needs no document in memory. The file is written under a
// temporary name and takes its own name only in Commit: a failed or stopped export leaves the
// previous file, if any, untouched. One object per file, one thread.
#pragma once

#include <string_view>

#include "platform/stdio_file.h"
#include "platform/text.h"

class CDataFileStream {
 public:
  // Opens the temporary file beside `path` (a native path); IsOpen tells whether that worked.
  explicit CDataFileStream(const CString& path);
  ~CDataFileStream();  // removes the temporary file when not committed
  CDataFileStream(const CDataFileStream&) = delete;
  CDataFileStream& operator=(const CDataFileStream&) = delete;

  bool IsOpen() const { return file_.IsOpen(); }
  // The message the XML library gives for a file it cannot create.
  CString OpenError() const { return "unable to open file '" + path_ + "'"; }
  // False once a text held a character that XML does not allow (the serializer refuses those).
  bool IsValid() const { return valid_; }

  // The `table` element; its attribute texts are taken as they are (callers put them in capitals).
  void BeginTable(const CString& name, const CString& primarykey);
  void BeginRecord(int number);
  // One `column`; `name` and `type` as from EscapeAttribute, `text` as the value to write.
  void Column(const CString& name, const CString& type, bool isNull, std::string_view text);
  void EndRecord();
  // Closes the document and gives the file its name. Throws tarvo::CFileException.
  void Commit();

  // Windows-1252 text as an attribute value of the data file.
  CString EscapeAttribute(std::string_view text);

 private:
  void Append(std::string_view text, bool attribute);
  void Flush();
  CString path_;
  CString temp_;
  CStdioFile file_;
  CString buffer_;
  CString tableTag_;
  bool tableOpen_ = false;
  bool valid_ = true;
  bool committed_ = false;
};
