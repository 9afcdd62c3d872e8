#include "platform/stdio_file.h"

#include <cerrno>

using tarvo::CFileException;

CStdioFile::~CStdioFile() { Close(); }

void CStdioFile::Open(const CString& path, Mode mode) {
  Close();
  const char* m = mode == Mode::kRead ? "rb" : mode == Mode::kWrite ? "wb" : "ab";
  file_ = std::fopen(path.c_str(), m);
  if (!file_) {
    int err = errno;
    throw CFileException(path, "Impossibile aprire il file " + path + ": " + tarvo::SystemErrorText(err), err);
  }
  path_ = path;
}

void CStdioFile::Close() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (file_) std::fclose(file_);
  file_ = nullptr;
}

void CStdioFile::WriteString(const CString& text) { Write(text.data(), text.size()); }

void CStdioFile::Write(const void* data, size_t length) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!file_) throw CFileException(path_, "File non aperto");
  if (length && std::fwrite(data, 1, length, file_) != length) {
    int err = errno;
    throw CFileException(path_, "Errore di scrittura nel file " + path_ + ": " + tarvo::SystemErrorText(err), err);
  }
}

void CStdioFile::Flush() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (file_) std::fflush(file_);
}

bool CStdioFile::ReadString(CString& line) {
  std::lock_guard<std::mutex> lock(mutex_);
  line.clear();
  if (!file_) return false;
  int c;
  bool any = false;
  while ((c = std::fgetc(file_)) != EOF) {
    any = true;
    if (c == '\n') break;
    line += static_cast<char>(c);
  }
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return any;
}
