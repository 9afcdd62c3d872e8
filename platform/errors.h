// Error types of TarvoExchange. Library error codes (ODBC, errno, curl, zip) are turned into these
// once, in platform/. Three kinds are kept apart: bad input, the environment, and our own bugs.
// Messages are Windows-1252 text, suitable for a log line.
#pragma once

#include <stdexcept>

#include "platform/text.h"

namespace tarvo {

enum class ErrorKind {
  kInput,        // malformed file, bad parameter, wrong encoding
  kEnvironment,  // missing file, full disk, server that does not answer, database refusal
  kInternal,     // a broken promise inside this system
};

class CException : public std::runtime_error {
 public:
  CException(ErrorKind kind, const CString& message) : std::runtime_error(message), kind_(kind) {}
  ErrorKind Kind() const { return kind_; }
  // The message text (Windows-1252), as a log line shows it.
  CString GetErrorMessage() const { return what(); }

 private:
  ErrorKind kind_;
};

// A file that cannot be opened, read, written or removed; `cause` is the system error number
// (errno) when one is known, else 0.
class CFileException : public CException {
 public:
  CFileException(const CString& path, const CString& message, int cause = 0)
      : CException(ErrorKind::kEnvironment, message), path_(path), cause_(cause) {}
  const CString& Path() const { return path_; }
  int Cause() const { return cause_; }

 private:
  CString path_;
  int cause_;
};

// A network transfer that failed (curl, FTP): the message holds the library's text.
class CNetException : public CException {
 public:
  CNetException(long code, const CString& message) : CException(ErrorKind::kEnvironment, message), code_(code) {}
  long Code() const { return code_; }

 private:
  long code_;
};

// Text of the calling thread's last system error (errno), "%s"-formatted.
CString GetSystemError();
CString SystemErrorText(int err);

}  // namespace tarvo

// A database failure: the ODBC return code, the SQLSTATE, the native code and the driver's text.
class CDBException : public tarvo::CException {
 public:
  CDBException(long retCode, const CString& sqlState, long nativeError, const CString& errorText)
      : tarvo::CException(tarvo::ErrorKind::kEnvironment, errorText),
        m_nRetCode(retCode),
        m_strSqlState(sqlState),
        m_nNativeError(nativeError),
        m_strError(errorText) {}

  long m_nRetCode;
  CString m_strSqlState;
  long m_nNativeError;
  CString m_strError;  // the driver's message text
};
