// What one run of a procedure shares across the layers without any procedure taking part: the
// dry-run switch that the database, file and transfer layers obey, and the rows read and written
// per table that the record layer counts. Process-wide; the host sets the switch before it creates
// the procedure and reads the counts after the run. Thread-safe.
#pragma once

#include <map>

#include "platform/text.h"

namespace tarvo {

// Dry run: connections opened while it is on never commit (CDatabase), and transfers over HTTP
// or FTP refuse to start (CNetException). Off by default.
void SetDryRun(bool on);
bool IsDryRun();

// Rows of one table as the record layer saw them. `read`: rows fetched from a source connection
// (not the destination's key lookups: CDatabase::RowsReadCounted); `inserted`, `updated`:
// rows written, also those a later rollback undid; `skipped`: updates that wrote nothing (no
// change, or the row was gone).
struct CTableRowCounts {
  long long read = 0, inserted = 0, updated = 0, skipped = 0;
  bool Empty() const { return read == 0 && inserted == 0 && updated == 0 && skipped == 0; }
};
void AddTableRowCounts(const CString& table, const CTableRowCounts& counts);
// The counts gathered since the last call, by table name (upper case), and starts afresh.
std::map<CString, CTableRowCounts> TakeTableRowCounts();

}  // namespace tarvo
