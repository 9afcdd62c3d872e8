// A text or binary file written byte for byte (no conversion of line ends or characters).
// Used for the log file, which the host owns and a procedure writes from its worker thread.
// Writes are serialised by an internal lock. Errors throw tarvo::CFileException.
#pragma once

#include <cstdio>
#include <mutex>

#include "platform/errors.h"

class CStdioFile {
 public:
  enum class Mode { kRead, kWrite, kAppend };
  CStdioFile() = default;
  CStdioFile(const CString& path, Mode mode) { Open(path, mode); }
  ~CStdioFile();
  CStdioFile(const CStdioFile&) = delete;
  CStdioFile& operator=(const CStdioFile&) = delete;

  void Open(const CString& path, Mode mode);  // throws CFileException
  void Close();
  bool IsOpen() const { return file_ != nullptr; }
  const CString& GetFilePath() const { return path_; }

  void WriteString(const CString& text);
  void Write(const void* data, size_t length);
  // Reads one line without its line end ("\n", "\r\n"); false at the end of the file.
  bool ReadString(CString& line);
  void Flush();

 private:
  std::mutex mutex_;
  std::FILE* file_ = nullptr;
  CString path_;
};
