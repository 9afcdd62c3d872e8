// File system services in the form the procedures use them. Paths may be written with "\" or
// "/"; NativePath turns either into the native form. Functions that fail return false or throw
// tarvo::CFileException as stated.
#pragma once

#include <cstdio>
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
}  // namespace tarvo

// If a file matches the pattern `path`, replaces `path` by the full path of the first match;
// otherwise leaves it unchanged.
void FindFile(CString& path);
CString GetSystemError();
