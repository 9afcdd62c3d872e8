#include "platform/settings.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <sstream>

#include "platform/errors.h"
#include "platform/files.h"
#include "platform/odbc.h"
#include "platform/run_journal.h"

namespace {
struct Store {
  std::mutex mutex;
  CMapStringToString app;
  CMapStringToString keys;
  long agent = 0, company = 0, branch = 0;
  std::map<CString, CMapStringToString> classes;  // per-class values, Windows-1252
  CString settings_file;
};

using ClassValues = std::map<CString, CMapStringToString>;

// The settings file's sections; a missing file has none.
ClassValues ReadSettingsFile(const CString& path) {
  ClassValues values;
  if (!tarvo::FileExists(path)) return values;
  std::istringstream lines(tarvo::ReadFileBytes(path));
  CString section;
  for (std::string line; std::getline(lines, line);) {
    line = tarvo::Trim(line);
    if (line.empty() || line[0] == ';' || line[0] == '#') continue;
    if (line.front() == '[' && line.back() == ']') {
      section = tarvo::Utf8ToCp1252(tarvo::Trim(line.substr(1, line.size() - 2)));
      continue;
    }
    size_t eq = line.find('=');
    if (section.empty() || eq == std::string::npos) continue;
    values[section][tarvo::Utf8ToCp1252(tarvo::Trim(line.substr(0, eq)))] = tarvo::Utf8ToCp1252(tarvo::Trim(line.substr(eq + 1)));
  }
  return values;
}

// Writes the whole file beside itself and renames it over the old one, so that a reader never
// sees half a file.
void WriteSettingsFile(const CString& path, const ClassValues& values) {
  CString text = "; tarvo-exchange: what the dialogs remember between runs, one section per dialog class\n";
  for (const auto& [section, entries] : values) {
    text += "\n[" + tarvo::Cp1252ToUtf8(section) + "]\n";
    for (const auto& [name, value] : entries) text += tarvo::Cp1252ToUtf8(name) + " = " + tarvo::Cp1252ToUtf8(value) + "\n";
  }
  std::error_code ec;
  std::filesystem::path target(path);
  if (target.has_parent_path()) std::filesystem::create_directories(target.parent_path(), ec);
  CString temporary = path + ".tmp";
  std::FILE* f = std::fopen(temporary.c_str(), "wb");
  if (!f) throw tarvo::CFileException(path, "Impossibile scrivere il file " + path + ": " + std::strerror(errno));
  bool ok = std::fwrite(text.data(), 1, text.size(), f) == text.size();
  ok = std::fflush(f) == 0 && ok;
  int saved = errno;
  ok = std::fclose(f) == 0 && ok;
  if (ok && std::rename(temporary.c_str(), path.c_str()) == 0) return;
  saved = errno ? errno : saved;
  std::remove(temporary.c_str());
  throw tarvo::CFileException(path, "Impossibile scrivere il file " + path + ": " + std::strerror(saved));
}
Store& S() {
  static Store s;
  return s;
}
}  // namespace

CString CRegistryAdministrator::GetApplicationSetting(const CString& name, const CString& defaultValue) {
  std::lock_guard<std::mutex> lock(S().mutex);
  auto it = S().app.find(name);
  return it == S().app.end() ? defaultValue : it->second;
}

void CRegistryAdministrator::SetApplicationSetting(const CString& name, const CString& value) {
  std::lock_guard<std::mutex> lock(S().mutex);
  S().app[name] = value;
}

bool CRegistryAdministrator::GetClassValue(const CString& className, const CString& name, CString& value) {
  std::lock_guard<std::mutex> lock(S().mutex);
  auto section = S().classes.find(className);
  if (section == S().classes.end()) return false;
  auto it = section->second.find(name);
  if (it == section->second.end()) return false;
  value = it->second;
  return true;
}

void CRegistryAdministrator::SetClassValue(const CString& className, const CString& name, const CString& value) {
  std::lock_guard<std::mutex> lock(S().mutex);
  S().classes[className][name] = value;
  if (S().settings_file.empty() || tarvo::IsDryRun()) return;  // a dry run remembers for itself only
  // Another run may have written the file meanwhile: keep its values, change only this one.
  ClassValues stored = ReadSettingsFile(S().settings_file);
  stored[className][name] = value;
  WriteSettingsFile(S().settings_file, stored);
}

void CRegistryAdministrator::SetSettingsFile(const CString& path) {
  ClassValues stored = path.empty() ? ClassValues{} : ReadSettingsFile(path);
  std::lock_guard<std::mutex> lock(S().mutex);
  S().settings_file = path;
  S().classes = std::move(stored);
}

long CUserAdministrator::GetIDREFERENCE() {
  std::lock_guard<std::mutex> lock(S().mutex);
  return S().agent;
}
long CUserAdministrator::GetIDSOCIETA() {
  std::lock_guard<std::mutex> lock(S().mutex);
  return S().company;
}
long CUserAdministrator::GetIDSEDESOCIETA() {
  std::lock_guard<std::mutex> lock(S().mutex);
  return S().branch;
}
void CUserAdministrator::SetCurrentUser(long agentId, long companyId, long branchId) {
  std::lock_guard<std::mutex> lock(S().mutex);
  S().agent = agentId;
  S().company = companyId;
  S().branch = branchId;
}

CString CConfigAdministrator::GetKey(const CString& name, const CString& defaultValue) {
  std::lock_guard<std::mutex> lock(S().mutex);
  auto it = S().keys.find(name);
  return it == S().keys.end() ? defaultValue : it->second;
}

long CConfigAdministrator::GetKeyLong(const CString& name, long defaultValue) {
  CString v = GetKey(name);
  if (v.empty()) return defaultValue;
  char* end = nullptr;
  long n = std::strtol(v.c_str(), &end, 10);
  return end && *end == '\0' ? n : defaultValue;
}

void CConfigAdministrator::SetKey(const CString& name, const CString& value) {
  std::lock_guard<std::mutex> lock(S().mutex);
  S().keys[name] = value;
}

int CConfigAdministrator::GetPrecisionePrezzi() { return static_cast<int>(GetKeyLong("precisione/prezzi", 2)); }
int CConfigAdministrator::GetPrecisioneIVA() { return static_cast<int>(GetKeyLong("precisione/iva", 2)); }
int CConfigAdministrator::GetPrecisioneSconti() { return static_cast<int>(GetKeyLong("precisione/sconti", 2)); }
int CConfigAdministrator::GetPrecisioneTotali() { return static_cast<int>(GetKeyLong("precisione/totali", 2)); }

void CConfigAdministrator::Clear() {
  std::lock_guard<std::mutex> lock(S().mutex);
  S().keys.clear();
  S().app.clear();
  S().classes.clear();
  S().settings_file.clear();
  S().agent = S().company = S().branch = 0;
}

bool CConnectionAdministrator::ConnectDatabase(CDatabase& database, const CString& configuration) {
  if (tarvo::Trim(configuration).empty()) return false;
  return database.OpenEx(configuration);
}
