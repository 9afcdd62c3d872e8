// File system services in the form the procedures use them. Paths may be written with "\" or
// "/"; NativePath turns either into the native form. Functions that fail return false or throw
// tarvo::CFileException as stated.
#pragma once

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
// Files matching a pattern with wild cards ("*.FAT"), in the order the file system returns them.
std::vector<CString> MatchFiles(const CString& pattern);
}  // namespace tarvo

// If a file matches the pattern `path`, replaces `path` by the full path of the first match;
// otherwise leaves it unchanged.
void FindFile(CString& path);
CString GetSystemError();
