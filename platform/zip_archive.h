// ZIP archives: CZipper writes one, CUnzipper unpacks one. Each object owns at most one open
// archive and closes it when destroyed (a CZipper closed that way writes what it holds). Not for
// use from several threads at once. Failures return false; the reason is in GetLastErrorText().
#pragma once

#include <memory>
#include <vector>

#include "platform/text.h"

class CZipper {
 public:
  CZipper();
  ~CZipper();
  CZipper(const CZipper&) = delete;
  CZipper& operator=(const CZipper&) = delete;

  // Creates the archive (or opens it to add to when `append`). Entry names of files under
  // `rootFolder` are taken relative to it.
  bool OpenZip(const CString& path, const CString& rootFolder = "", bool append = false);
  // Adds a file; with `ignorePath` the entry is named after the file alone.
  bool AddFileToZip(const CString& path, bool ignorePath);
  // Writes the archive. An archive without entries is written too, as an empty ZIP file.
  bool CloseZip();
  const CString& GetLastErrorText() const { return lastError_; }

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
  CString lastError_;
};

class CUnzipper {
 public:
  CUnzipper();
  ~CUnzipper();
  CUnzipper(const CUnzipper&) = delete;
  CUnzipper& operator=(const CUnzipper&) = delete;

  bool OpenZip(const CString& path);
  int GetFileCount() const;
  // Unpacks every entry into `folder`, keeping the stored folder paths unless `ignorePath`.
  // An entry whose stored path is absolute or climbs out of `folder` with ".." is refused: it
  // is not written, the other entries still are, and the result is false. Files already in
  // `folder` with an entry's name are replaced.
  bool Unzip(const CString& folder, bool ignorePath);
  void CloseZip();
  // One text per entry that was refused or could not be written (for the log).
  const std::vector<CString>& GetErrors() const { return errors_; }
  const CString& GetLastErrorText() const { return lastError_; }

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
  std::vector<CString> errors_;
  CString lastError_;
};
