#include "platform/stdio_file.h"

#include <sys/stat.h>

#include <cerrno>

#include "platform/files.h"

using tarvo::CFileException;

CStdioFile::~CStdioFile() { Close(); }

void CStdioFile::Open(const CString& path, Mode mode) {
  Close();
  const char* m = mode == Mode::kRead ? "rbe" : mode == Mode::kWrite ? "wbe" : "abe";
  file_ = std::fopen(path.c_str(), m);
  struct stat info {};
  if (file_ && mode == Mode::kRead && ::fstat(::fileno(file_), &info) == 0 && S_ISDIR(info.st_mode)) {
    std::fclose(file_);  // a folder opens for reading but has no lines
    file_ = nullptr;
    errno = EISDIR;
  }
  if (!file_) {
    int err = errno;
    throw CFileException(path, "Impossibile aprire il file " + path + ": " + tarvo::SystemErrorText(err), err);
  }
  path_ = path;
}

void CStdioFile::OpenTemporaryBeside(const CString& target) {
  Close();
  CString temp;
  file_ = tarvo::CreateTemporaryBeside(target, temp);
  if (!file_) {
    int err = errno;
    throw CFileException(target, "Impossibile aprire il file " + target + ": " + tarvo::SystemErrorText(err), err);
  }
  path_ = temp;
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

void CStdioFile::WriteLine(const CString& text) {
  CString line;
  line.reserve(text.size() + 1);
  line += text;
  line += '\n';
  std::lock_guard<std::mutex> lock(mutex_);
  if (!file_) throw CFileException(path_, "File non aperto");
  if (std::fwrite(line.data(), 1, line.size(), file_) != line.size() || std::fflush(file_) != 0) {
    int err = errno;
    throw CFileException(path_, "Errore di scrittura nel file " + path_ + ": " + tarvo::SystemErrorText(err), err);
  }
}

void CStdioFile::Flush() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (file_) std::fflush(file_);
}

void CStdioFile::FlushChecked() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (file_ && std::fflush(file_) != 0) {
    int err = errno;
    throw CFileException(path_, "Errore di scrittura nel file " + path_ + ": " + tarvo::SystemErrorText(err), err);
  }
}

void CStdioFile::CloseChecked() {
  FlushChecked();
  std::lock_guard<std::mutex> lock(mutex_);
  if (file_ && std::fclose(file_) != 0) {
    int err = errno;
    file_ = nullptr;
    throw CFileException(path_, "Errore di scrittura nel file " + path_ + ": " + tarvo::SystemErrorText(err), err);
  }
  file_ = nullptr;
}

bool CStdioFile::ReadString(CString& line) {
  std::lock_guard<std::mutex> lock(mutex_);
  line.clear();
  if (!file_) return false;
  int c;
  bool any = false;
  while ((c = getc_unlocked(file_)) != EOF) {
    any = true;
    if (c == '\n') break;
    if (line.size() >= kMaxLineLength)
      throw CFileException(path_, tarvo::StrFormat(tarvo::W("Riga del file %s più lunga di %zu byte").c_str(),
                                                   path_.c_str(), kMaxLineLength));
    line += static_cast<char>(c);
  }
  if (std::ferror(file_)) {
    int err = errno;
    throw CFileException(path_, "Errore di lettura del file " + path_ + ": " + tarvo::SystemErrorText(err), err);
  }
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return any;
}
