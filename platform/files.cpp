#include "platform/files.h"

#include <dirent.h>
#include <fcntl.h>
#include <glob.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/errors.h"
#include "platform/stdio_file.h"

namespace tarvo {

CString SystemErrorText(int err) {
  char buf[256];
  const char* s = strerror_r(err, buf, sizeof buf);
  return StrFormat("%s", Utf8ToCp1252(s).c_str());
}

CString GetSystemError() { return SystemErrorText(errno); }

CString NativePath(const CString& path) {
  CString p = path;
  for (char& c : p)
    if (c == '\\') c = '/';
  return p;
}

CString JoinPath(const CString& dir, const CString& name) {
  if (dir.empty()) return NativePath(name);
  CString d = NativePath(dir);
  CString n = NativePath(name);
  if (d.back() == '/') d.pop_back();
  if (!n.empty() && n.front() == '/') n.erase(0, 1);
  return d + "/" + n;
}

bool FileExists(const CString& path) {
  struct stat st{};
  return ::stat(NativePath(path).c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

bool DirectoryExists(const CString& path) {
  struct stat st{};
  return ::stat(NativePath(path).c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

CString GetCurrentDirectory() {
  char buf[PATH_MAX];
  return ::getcwd(buf, sizeof buf) ? CString(buf) : CString();
}

bool SetCurrentDirectory(const CString& path) { return ::chdir(NativePath(path).c_str()) == 0; }

CString ReadFileBytes(const CString& path) {
  CString native = NativePath(path);
  std::FILE* f = std::fopen(native.c_str(), "rbe");
  if (!f) throw CFileException(path, "Impossibile aprire il file " + path + ": " + GetSystemError());
  CString out;
  char buf[65536];
  size_t n;
  while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) out.append(buf, n);
  bool failed = std::ferror(f);
  std::fclose(f);
  if (failed) throw CFileException(path, "Errore di lettura del file " + path);
  return out;
}

void WriteFileBytes(const CString& path, const CString& bytes) {
  CStdioFile f(NativePath(path), CStdioFile::Mode::kWrite);
  f.Write(bytes.data(), bytes.size());
}

std::FILE* CreateTemporaryBeside(const CString& target, CString& tempPath) {
  static std::atomic<unsigned> counter{0};
  for (;;) {
    CString name = StrFormat("%s.%ld-%u.part", target.c_str(), static_cast<long>(::getpid()), counter++);
    int fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0 && errno == EEXIST) continue;  // left behind by a killed run of the same id
    if (fd < 0) return nullptr;
    std::FILE* f = ::fdopen(fd, "wb");
    if (!f) {
      int err = errno;
      ::close(fd);
      ::unlink(name.c_str());
      errno = err;
      return nullptr;
    }
    tempPath = name;
    return f;
  }
}

std::vector<CString> MatchFiles(const CString& pattern) {
  std::vector<CString> out;
  glob_t g{};
  if (::glob(NativePath(pattern).c_str(), 0, nullptr, &g) == 0) {
    for (size_t i = 0; i < g.gl_pathc; ++i) out.emplace_back(g.gl_pathv[i]);
  }
  ::globfree(&g);
  return out;
}

std::vector<CFolderEntry> ListFolder(const CString& folder) {
  std::vector<CFolderEntry> out;
  CString native = folder.empty() ? CString(".") : NativePath(folder);
  DIR* dir = ::opendir(native.c_str());
  if (!dir) return out;
  while (const dirent* e = ::readdir(dir)) {
    CFolderEntry entry;
    entry.name = e->d_name;
    entry.isHidden = entry.name.size() > 0 && entry.name[0] == '.';
    if (e->d_type == DT_DIR) {
      entry.isDirectory = true;
    } else if (e->d_type == DT_UNKNOWN || e->d_type == DT_LNK) {
      entry.isDirectory = DirectoryExists(JoinPath(native, entry.name));
    }
    out.push_back(std::move(entry));
  }
  ::closedir(dir);
  std::sort(out.begin(), out.end(), [](const CFolderEntry& a, const CFolderEntry& b) { return a.name < b.name; });
  return out;
}

bool GetFileStatus(const CString& path, CFileStatus& status) {
  struct stat st{};
  if (::stat(NativePath(path).c_str(), &st) != 0) return false;
  status.size = static_cast<long long>(st.st_size);
  status.modified = st.st_mtime;
  return true;
}

bool RenameFile(const CString& from, const CString& to) {
  return std::rename(NativePath(from).c_str(), NativePath(to).c_str()) == 0;
}

bool RenameFileNoReplace(const CString& from, const CString& to) {
  const CString a = NativePath(from), b = NativePath(to);
  if (::renameat2(AT_FDCWD, a.c_str(), AT_FDCWD, b.c_str(), RENAME_NOREPLACE) == 0) return true;
  if (errno != EINVAL && errno != ENOSYS) return false;
  // A file system without the flag: a new link fails when the name is taken.
  if (::link(a.c_str(), b.c_str()) != 0) return false;
  ::unlink(a.c_str());
  return true;
}

bool RemoveFile(const CString& path) { return std::remove(NativePath(path).c_str()) == 0; }

}  // namespace tarvo

void FindFile(CString& path) {
  auto matches = tarvo::MatchFiles(path);
  if (matches.empty()) return;
  char full[PATH_MAX];
  path = ::realpath(matches.front().c_str(), full) ? CString(full) : matches.front();
}

CString GetSystemError() { return tarvo::GetSystemError(); }
