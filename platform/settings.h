// The host's settings as the procedures see them: application settings ("RootDirectory"),
// the logged-in user's agent, company and branch, and the management system's configuration
// keys ("precisione/prezzi", "precisione/totali"). The host fills them once before any run
// (from its command line or configuration file); procedures only read. Thread-safe.
#pragma once

#include "platform/text.h"

class CRegistryAdministrator {
 public:
  static CString GetApplicationSetting(const CString& name, const CString& defaultValue = CString());
  static void SetApplicationSetting(const CString& name, const CString& value);

  // Values that windows and dialogs remember per class between runs, kept in the host's settings
  // file: an INI file with one section per class and UTF-8 text. Without a file (SetSettingsFile
  // never called, or with an empty path) they last for the process only.
  static bool GetClassValue(const CString& className, const CString& name, CString& value);
  // Sets the value and rewrites the file (merged with what it holds now, replaced in one rename).
  // Throws tarvo::CFileException when the file cannot be written; the value is kept for the
  // process all the same.
  static void SetClassValue(const CString& className, const CString& name, const CString& value);
  // Names the settings file and reads it; a missing file is an empty one, lines that are not
  // "[section]" or "name = value" are skipped. Throws tarvo::CFileException if it cannot be read.
  static void SetSettingsFile(const CString& path);
};

class CUserAdministrator {
 public:
  static long GetIDREFERENCE();    // the user's agent
  static long GetIDSOCIETA();      // the user's company
  static long GetIDSEDESOCIETA();  // the user's company branch
  static void SetCurrentUser(long agentId, long companyId, long branchId);
};

class CConfigAdministrator {
 public:
  static CString GetKey(const CString& name, const CString& defaultValue = CString());
  static long GetKeyLong(const CString& name, long defaultValue);
  static void SetKey(const CString& name, const CString& value);
  // The key as text; the empty text when it is missing.
  static CString GetParam(const CString& name) { return GetKey(name); }
  // Decimals of prices, VAT rates, discounts and totals: the keys "precisione/prezzi",
  // "precisione/iva", "precisione/sconti" and "precisione/totali"; 2 when missing or not a number.
  static int GetPrecisionePrezzi();
  static int GetPrecisioneIVA();
  static int GetPrecisioneSconti();
  static int GetPrecisioneTotali();
  static void Clear();  // forgets every setting and key (tests)
};

class CDatabase;
class CConnectionAdministrator {
 public:
  // Connects `database` from a configuration text (an ODBC connection string, or the path of a
  // SQLite file). Returns false when the text is empty; throws CDBException on a driver error.
  static bool ConnectDatabase(CDatabase& database, const CString& configuration);
};
