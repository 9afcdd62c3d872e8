// The one place that talks to libzip.
#include "platform/zip_archive.h"

#include <sys/stat.h>
#include <zip.h>

#include <cerrno>
#include <cstdio>

#include "platform/errors.h"
#include "platform/files.h"

namespace {

CString ZipErrorText(int code) {
  zip_error_t error;
  zip_error_init_with_code(&error, code);
  CString text = zip_error_strerror(&error);
  zip_error_fini(&error);
  return text;
}

CString ArchiveErrorText(zip_t* archive) { return zip_error_strerror(zip_get_error(archive)); }

CString BaseName(const CString& path) {
  size_t slash = path.find_last_of("/\\");
  return slash == CString::npos ? path : path.substr(slash + 1);
}

// Stored entry names use "/"; archives made on Windows sometimes use "\".
std::vector<CString> SplitEntryName(const CString& name) {
  std::vector<CString> parts;
  CString part;
  for (char c : name) {
    if (c == '/' || c == '\\') {
      parts.push_back(part);
      part.clear();
    } else {
      part += c;
    }
  }
  parts.push_back(part);
  return parts;
}

// True when the stored name would land outside the target folder: absolute ("/x", "\x",
// "C:..."), or any ".." component.
bool EscapesFolder(const CString& name) {
  if (name.empty() || name[0] == '/' || name[0] == '\\') return true;
  if (name.size() >= 2 && name[1] == ':') return true;
  for (const CString& part : SplitEntryName(name))
    if (part == "..") return true;
  return false;
}

bool MakeDirectories(const CString& path) {
  CString sofar = !path.empty() && path[0] == '/' ? "/" : "";
  for (const CString& part : SplitEntryName(path)) {
    if (part.empty()) continue;
    sofar += part;
    if (::mkdir(sofar.c_str(), 0777) != 0 && errno != EEXIST) return false;
    sofar += '/';
  }
  return tarvo::DirectoryExists(path);
}

// A ZIP file with no entries: the end-of-central-directory record alone.
bool WriteEmptyArchive(const CString& path) {
  static const unsigned char kEmpty[22] = {'P', 'K', 5, 6};
  std::FILE* f = std::fopen(path.c_str(), "wbe");
  if (!f) return false;
  bool ok = std::fwrite(kEmpty, 1, sizeof kEmpty, f) == sizeof kEmpty;
  return std::fclose(f) == 0 && ok;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
struct CZipper::Impl {
  zip_t* archive = nullptr;
  CString path;
  CString root;
};

CZipper::CZipper() : impl_(std::make_unique<Impl>()) {}
CZipper::~CZipper() { CloseZip(); }

bool CZipper::OpenZip(const CString& path, const CString& rootFolder, bool append) {
  CloseZip();
  int error = 0;
  impl_->path = tarvo::NativePath(path);
  impl_->root = tarvo::NativePath(rootFolder);
  if (!impl_->root.empty() && impl_->root.back() != '/') impl_->root += '/';
  impl_->archive = zip_open(impl_->path.c_str(), ZIP_CREATE | (append ? 0 : ZIP_TRUNCATE), &error);
  if (!impl_->archive) {
    lastError_ = path + ": " + ZipErrorText(error);
    return false;
  }
  // libzip writes only at close: make sure the file can be created now.
  if (!append || !tarvo::FileExists(impl_->path)) {
    if (!WriteEmptyArchive(impl_->path)) {
      lastError_ = path + ": " + tarvo::GetSystemError();
      zip_discard(impl_->archive);
      impl_->archive = nullptr;
      return false;
    }
  }
  return true;
}

bool CZipper::AddFileToZip(const CString& path, bool ignorePath) {
  if (!impl_->archive) {
    lastError_ = "archivio non aperto";
    return false;
  }
  CString native = tarvo::NativePath(path);
  if (!tarvo::FileExists(native)) {
    lastError_ = path + ": " + tarvo::SystemErrorText(ENOENT);
    return false;
  }
  CString entry;
  if (ignorePath) entry = BaseName(native);
  else if (!impl_->root.empty() && native.compare(0, impl_->root.size(), impl_->root) == 0)
    entry = native.substr(impl_->root.size());
  else entry = native;
  while (!entry.empty() && entry.front() == '/') entry.erase(0, 1);

  zip_source_t* source = zip_source_file(impl_->archive, native.c_str(), 0, -1);
  if (!source || zip_file_add(impl_->archive, entry.c_str(), source, ZIP_FL_OVERWRITE | ZIP_FL_ENC_GUESS) < 0) {
    lastError_ = path + ": " + ArchiveErrorText(impl_->archive);
    if (source) zip_source_free(source);
    return false;
  }
  return true;
}

bool CZipper::CloseZip() {
  if (!impl_->archive) return false;
  zip_t* archive = impl_->archive;
  impl_->archive = nullptr;
  if (zip_get_num_entries(archive, 0) == 0) {
    // libzip removes an archive left empty; keep a valid empty one instead.
    zip_discard(archive);
    if (WriteEmptyArchive(impl_->path)) return true;
    lastError_ = impl_->path + ": " + tarvo::GetSystemError();
    return false;
  }
  if (zip_close(archive) != 0) {
    lastError_ = impl_->path + ": " + ArchiveErrorText(archive);
    zip_discard(archive);
    return false;
  }
  return true;
}

// ---------------------------------------------------------------------------------------------
struct CUnzipper::Impl {
  zip_t* archive = nullptr;
};

CUnzipper::CUnzipper() : impl_(std::make_unique<Impl>()) {}
CUnzipper::~CUnzipper() { CloseZip(); }

bool CUnzipper::OpenZip(const CString& path) {
  CloseZip();
  int error = 0;
  impl_->archive = zip_open(tarvo::NativePath(path).c_str(), ZIP_RDONLY, &error);
  if (!impl_->archive) {
    lastError_ = path + ": " + ZipErrorText(error);
    return false;
  }
  return true;
}

void CUnzipper::CloseZip() {
  if (impl_->archive) zip_discard(impl_->archive);
  impl_->archive = nullptr;
}

int CUnzipper::GetFileCount() const {
  return impl_->archive ? static_cast<int>(zip_get_num_entries(impl_->archive, 0)) : 0;
}

bool CUnzipper::Unzip(const CString& folder, bool ignorePath) {
  errors_.clear();
  if (!impl_->archive) {
    lastError_ = "archivio non aperto";
    return false;
  }
  CString base = tarvo::NativePath(folder.empty() ? CString(".") : folder);
  zip_int64_t count = zip_get_num_entries(impl_->archive, 0);
  for (zip_int64_t i = 0; i < count; ++i) {
    // Names come back as stored, so our Windows-1252 names survive the round trip.
    const char* rawName = zip_get_name(impl_->archive, static_cast<zip_uint64_t>(i), ZIP_FL_ENC_RAW);
    CString name = rawName ? rawName : "";
    bool isFolder = !name.empty() && (name.back() == '/' || name.back() == '\\');
    if (EscapesFolder(name)) {
      errors_.push_back(name + ": percorso non consentito fuori dalla cartella di estrazione");
      continue;
    }
    if (ignorePath) {
      if (isFolder) continue;
      name = BaseName(name);
    }
    CString target = tarvo::JoinPath(base, name);
    if (isFolder) {
      if (!MakeDirectories(target)) errors_.push_back(name + ": " + tarvo::GetSystemError());
      continue;
    }
    size_t slash = target.rfind('/');
    if (slash != CString::npos && !MakeDirectories(target.substr(0, slash))) {
      errors_.push_back(name + ": " + tarvo::GetSystemError());
      continue;
    }
    zip_file_t* entry = zip_fopen_index(impl_->archive, static_cast<zip_uint64_t>(i), 0);
    if (!entry) {
      errors_.push_back(name + ": " + ArchiveErrorText(impl_->archive));
      continue;
    }
    std::FILE* out = std::fopen(target.c_str(), "wbe");
    if (!out) {
      errors_.push_back(name + ": " + tarvo::GetSystemError());
      zip_fclose(entry);
      continue;
    }
    char buffer[65536];
    zip_int64_t n;
    CString problem;
    while ((n = zip_fread(entry, buffer, sizeof buffer)) > 0) {
      if (std::fwrite(buffer, 1, static_cast<size_t>(n), out) != static_cast<size_t>(n)) {
        problem = tarvo::GetSystemError();
        break;
      }
    }
    if (problem.empty() && n < 0) problem = zip_error_strerror(zip_file_get_error(entry));
    if (std::fclose(out) != 0 && problem.empty()) problem = tarvo::GetSystemError();
    if (!problem.empty()) errors_.push_back(name + ": " + problem);
    zip_fclose(entry);
  }
  if (!errors_.empty()) lastError_ = errors_.front();
  return errors_.empty();
}
