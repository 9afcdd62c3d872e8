// A text or binary file written byte for byte (no conversion of line ends or characters).
// Used for the log file, which the host owns and a procedure writes from its worker thread.
// Writes are serialised by an internal lock. Errors throw tarvo::CFileException. The file is
// opened close-on-exec: child processes do not inherit it.
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

  // Throws CFileException; a folder opened for reading is refused (EISDIR).
  void Open(const CString& path, Mode mode);
  // Opens a new file beside `target` for writing under a name of its own (CreateTemporaryBeside
  // in files.h), which GetFilePath then gives. Throws CFileException naming `target`.
  void OpenTemporaryBeside(const CString& target);
  void Close();
  bool IsOpen() const { return file_ != nullptr; }
  const CString& GetFilePath() const { return path_; }

  void WriteString(const CString& text);
  // Writes `text` and a line feed in one piece and hands them to the system at once, so that a
  // line is in the file whole as soon as this returns, even if the process is killed next.
  void WriteLine(const CString& text);
  void Write(const void* data, size_t length);
  // Reads one line without its line end ("\n", "\r\n"); false at the end of the file. A read
  // error, or a line longer than kMaxLineLength (no record of any file comes near it), throws.
  bool ReadString(CString& line);
  static constexpr size_t kMaxLineLength = 1 << 20;
  void Flush();
  // Flush and Close for a file whose every byte matters: they throw CFileException when what was
  // buffered cannot be written (a full disk shows here, not at the write that buffered it).
  void FlushChecked();
  void CloseChecked();

 private:
  std::mutex mutex_;
  std::FILE* file_ = nullptr;
  CString path_;
};
