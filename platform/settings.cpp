#include "platform/settings.h"

#include <cstdlib>
#include <mutex>

#include "platform/odbc.h"

namespace {
struct Store {
  std::mutex mutex;
  CMapStringToString app;
  CMapStringToString keys;
  long agent = 0, company = 0, branch = 0;
};
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
  S().agent = S().company = S().branch = 0;
}

bool CConnectionAdministrator::ConnectDatabase(CDatabase& database, const CString& configuration) {
  if (tarvo::Trim(configuration).empty()) return false;
  return database.OpenEx(configuration);
}
