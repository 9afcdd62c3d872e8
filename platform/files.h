// File system services in the form the procedures use them. Paths may be written with "\" or
// "/"; NativePath turns either into the native form. Functions that fail return false or throw
// tarvo::CFileException as stated.
#pragma once

#include <cstdio>
#include <ctime>
#include <vector>

#include "platform/text.h"

namespace tarvo {
CString NativePath(const CString& path);
// Joins two path parts with one native separator.
CString JoinPath(const CString& dir, const CString& name);
bool FileExists(const CString& path);
bool DirectoryExists(const CString& path);
CString GetCurrentDirectory();
bool SetCurrentDirectory(const CString& path);
// Whole-file read and write, bytes unchanged; throw CFileException.
CString ReadFileBytes(const CString& path);
void WriteFileBytes(const CString& path, const CString& bytes);
// Creates a new, empty file beside `target` under a name no other writer uses
// ("<target>.<pid>-<n>.part"), open for binary writing and closed on exec, and sets `tempPath`
// to it. The caller renames it onto `target` once complete (an atomic replacement) or removes
// it. Returns null with errno set when it cannot be created.
std::FILE* CreateTemporaryBeside(const CString& target, CString& tempPath);
// Files matching a pattern with wild cards ("*.FAT"), in the order the file system returns them.
std::vector<CString> MatchFiles(const CString& pattern);

// One entry of a folder as ListFolder returns it ("." and ".." included, as the system lists
// them). A name beginning with "." is hidden.
struct CFolderEntry {
  CString name;
  bool isDirectory = false;
  bool isHidden = false;
};
// The entries of one folder, one level, sorted by name; empty when the folder cannot be read.
std::vector<CFolderEntry> ListFolder(const CString& folder);

// Length and last write time of a file; false (errno set) when its status cannot be read.
struct CFileStatus {
  long long size = 0;
  std::time_t modified = 0;
};
bool GetFileStatus(const CString& path, CFileStatus& status);
// Renames `from` to `to`, replacing `to` if it exists; false (errno set) on failure.
bool RenameFile(const CString& from, const CString& to);
// Renames `from` to `to` only when `to` does not exist yet; false (errno set, EEXIST when `to`
// exists) otherwise. Atomic: two processes never both get the same free name.
bool RenameFileNoReplace(const CString& from, const CString& to);
// Removes a file; false (errno set) when it cannot.
bool RemoveFile(const CString& path);
}  // namespace tarvo

// If a file matches the pattern `path`, replaces `path` by the full path of the first match;
// otherwise leaves it unchanged.
void FindFile(CString& path);
CString GetSystemError();
