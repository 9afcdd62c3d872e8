// The LIST reply of servers without MLSD. Its form is not standardised; these are the two that
// servers actually send: the Unix "ls -l" form and the DOS/IIS form.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "platform/ftp_client.h"

namespace tarvo {
namespace {

int MonthIndex(const CString& name) {
  static const char* const kMonths[] = {"jan", "feb", "mar", "apr", "may", "jun",
                                        "jul", "aug", "sep", "oct", "nov", "dec"};
  CString lower = ToLower(name);
  for (int i = 0; i < 12; ++i)
    if (lower == kMonths[i]) return i;
  return -1;
}

// The text after the first `fields` blank-separated fields (the name may hold blanks).
CString RestAfterFields(const CString& line, int fields) {
  size_t pos = 0;
  for (int i = 0; i < fields; ++i) {
    pos = line.find_first_not_of(' ', pos);
    if (pos == CString::npos) return CString();
    pos = line.find(' ', pos);
    if (pos == CString::npos) return CString();
  }
  // Exactly one blank separates the time from the name; a name may begin with blanks.
  return pos + 1 <= line.size() ? line.substr(pos + 1) : CString();
}

bool ParseUnix(const CString& line, std::time_t now, CFtpFileInfo& info, std::tm& tm) {
  std::istringstream in(line);
  CString perms, links, owner, group, size, month, day, timeOrYear;
  if (!(in >> perms >> links >> owner >> group >> size >> month >> day >> timeOrYear)) return false;
  if (perms.size() < 10 || std::strchr("-dl", perms[0]) == nullptr) return false;
  int mon = MonthIndex(month);
  if (mon < 0) return false;
  tm = std::tm{};
  tm.tm_isdst = -1;
  tm.tm_mon = mon;
  tm.tm_mday = std::atoi(day.c_str());
  int hour = 0, minute = 0;
  if (std::sscanf(timeOrYear.c_str(), "%d:%d", &hour, &minute) == 2) {
    std::tm today{};
    gmtime_r(&now, &today);
    tm.tm_year = today.tm_year;
    tm.tm_hour = hour;
    tm.tm_min = minute;
    std::tm probe = tm;
    if (timegm(&probe) > now + 86400) tm.tm_year -= 1;  // "Dec 31 23:59" read on 1 January
  } else {
    tm.tm_year = std::atoi(timeOrYear.c_str()) - 1900;
  }
  info = CFtpFileInfo{};
  info.isDirectory = perms[0] == 'd';
  info.size = std::atoll(size.c_str());
  info.name = RestAfterFields(line, 8);
  if (perms[0] == 'l') {
    size_t arrow = info.name.find(" -> ");
    if (arrow != CString::npos) info.name.erase(arrow);
  }
  return !info.name.empty() && info.name != "." && info.name != "..";
}

bool ParseDos(const CString& line, CFtpFileInfo& info, std::tm& tm) {
  int month, day, year, hour, minute;
  char ampm[3] = {};
  if (std::sscanf(line.c_str(), "%d-%d-%d %d:%d%2s", &month, &day, &year, &hour, &minute, ampm) != 6) return false;
  tm = std::tm{};
  tm.tm_isdst = -1;
  if (year < 70) year += 2000;
  else if (year < 100) year += 1900;
  tm.tm_year = year - 1900;
  tm.tm_mon = month - 1;
  tm.tm_mday = day;
  bool pm = ampm[0] == 'P' || ampm[0] == 'p';
  tm.tm_hour = hour % 12 + (pm ? 12 : 0);
  tm.tm_min = minute;
  std::istringstream in(line);
  CString date, time, sizeOrDir;
  in >> date >> time >> sizeOrDir;
  info = CFtpFileInfo{};
  info.isDirectory = sizeOrDir == "<DIR>";
  if (!info.isDirectory) info.size = std::atoll(sizeOrDir.c_str());
  info.name = TrimLeft(RestAfterFields(line, 3), " ");
  return !info.name.empty() && info.name != "." && info.name != "..";
}

}  // namespace

bool ParseFtpListLine(const CString& line, std::time_t now, CFtpFileInfo& info, std::tm& wallClock) {
  if (line.empty()) return false;
  if (line[0] >= '0' && line[0] <= '9') return ParseDos(line, info, wallClock);
  return ParseUnix(line, now, info, wallClock);
}

}  // namespace tarvo
