// Filter parameters, the exchange parameter string and "@name" placeholders.
#include <ctime>
#include <string_view>

#include "framework/placeholders.h"
#include "framework/tarvo_import.h"
#include "platform/settings.h"

using tarvo::StrFormat;

namespace {

bool LocalNow(std::tm& tm) {
  std::time_t now = std::time(nullptr);
  return localtime_r(&now, &tm) != nullptr;
}

CString FormatNow(const char* format) {
  std::tm tm{};
  if (!LocalNow(tm)) return CString();
  char buf[64];
  size_t n = std::strftime(buf, sizeof buf, format, &tm);
  return CString(buf, n);
}
}  // namespace

void CTarvoImport::SetFilterParam(const CString& name, const CString& value) { m_mapFilterParams[name] = value; }

void CTarvoImport::SetFilterParams(const CMapStringToString& params) {
  for (const auto& [k, v] : params) m_mapFilterParams[k] = v;
}

int CTarvoImport::GetFilterParam(const CString& name, CString& value) const {
  auto it = m_mapFilterParams.find(name);
  if (it == m_mapFilterParams.end()) return 0;
  value = it->second;
  return 1;
}

bool CTarvoImport::CheckExchangeParam(const CString& name, CString& value) const {
  size_t pos = m_strExchangeParam.find(name);
  if (pos == CString::npos) return false;
  size_t start = pos + name.size();
  if (start >= m_strExchangeParam.size()) return true;
  size_t end = m_strExchangeParam.find(';', start);
  value += m_strExchangeParam.substr(start, end == CString::npos ? CString::npos : end - start);
  return true;
}

void CTarvoImport::CheckForFilterParams(CString& text) const { tarvo::ExpandPlaceholders(text, m_mapFilterParams); }

void CTarvoImport::AddDefaultParams() {
  auto& m = m_mapFilterParams;
  m["srcdsn"] = m_strSrcConfig;
  m["destdsn"] = m_strDestConfig;
  m["srcfolder"] = m_strInDir;
  m["destfolder"] = m_strOutDir;
  m["httpserver"] = m_strHttpServer;
  m["httpurl"] = m_strHttpURL;
  m["httpusername"] = m_strHttpUID;
  m["httppassword"] = m_strHttpPWD;
  m["ftpserver"] = m_strFtpServer;
  m["ftpfolder"] = m_strFtpFolder;
  m["ftpusername"] = m_strFtpUID;
  m["ftppassword"] = m_strFtpPWD;
  std::tm tm{};
  bool ok = LocalNow(tm);
  m["day"] = StrFormat("%02d", ok ? tm.tm_mday : -1);
  m["month"] = StrFormat("%02d", ok ? tm.tm_mon + 1 : -1);
  m["year"] = StrFormat("%04d", ok ? tm.tm_year + 1900 : -1);
  m["hour"] = StrFormat("%02d", ok ? tm.tm_hour : -1);
  m["minute"] = StrFormat("%02d", ok ? tm.tm_min : -1);
  m["second"] = StrFormat("%02d", ok ? tm.tm_sec : -1);
  m["exp_id_agente"] = StrFormat("%ld", CUserAdministrator::GetIDREFERENCE());
  m["exp_id_societa"] = StrFormat("%ld", CUserAdministrator::GetIDSOCIETA());
  m["exp_id_deposito"] = StrFormat("%ld", CUserAdministrator::GetIDSEDESOCIETA());
  m["exp_today"] = FormatNow("{d '%Y-%m-%d'}");
  m["exp_now"] = FormatNow("{ts '%Y-%m-%d %H:%M:%S'}");
}
