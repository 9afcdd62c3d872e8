#include "platform/run_journal.h"

#include <atomic>
#include <mutex>

namespace tarvo {
namespace {
std::atomic<bool> dryRun{false};
std::mutex countsLock;
std::map<CString, CTableRowCounts>& Counts() {
  static std::map<CString, CTableRowCounts> counts;
  return counts;
}
}  // namespace

void SetDryRun(bool on) { dryRun = on; }
bool IsDryRun() { return dryRun; }

void AddTableRowCounts(const CString& table, const CTableRowCounts& add) {
  if (add.Empty()) return;
  std::lock_guard<std::mutex> lock(countsLock);
  CTableRowCounts& c = Counts()[ToUpper(table)];
  c.read += add.read;
  c.inserted += add.inserted;
  c.updated += add.updated;
  c.skipped += add.skipped;
}

std::map<CString, CTableRowCounts> TakeTableRowCounts() {
  std::lock_guard<std::mutex> lock(countsLock);
  std::map<CString, CTableRowCounts> taken;
  taken.swap(Counts());
  return taken;
}

}  // namespace tarvo
