#include "dbexchange/run_support.h"

namespace tarvo::exchange {

bool RunGuarded(CTarvoImport& procedure, const char* prefix, const std::function<void()>& work) {
  try {
    work();
    return true;
  } catch (const tarvo::CException& e) {  // CDBException included: its text is the driver's
    procedure.Log(CString(prefix) + e.GetErrorMessage(), TMS_NONE);
  }
  return false;
}

}  // namespace tarvo::exchange

namespace tarvo::exchange {

bool EndTransactions(CTarvoImport& procedure, bool commit, const char* prefix) {
  CDatabase* both[] = {procedure.GetOutDatabase(), procedure.GetInDatabase()};
  bool committed = commit && RunGuarded(procedure, prefix, [&] {
                     for (CDatabase* db : both) db->CommitTrans();
                   });
  if (!committed)
    for (CDatabase* db : both) RunGuarded(procedure, prefix, [db] { db->Rollback(); });
  return committed || !commit;
}

}  // namespace tarvo::exchange

namespace tarvo::exchange {

EOpened OpenDatabases(CTarvoImport& procedure, EOpenOrder order) {
  const bool inFirst = order == EOpenOrder::kInFirst;
  // Every exchange ends its transactions at the first error, rolling back: the driver need not
  // guard each statement with a savepoint of its own (batches take their own, CRecordBatch).
  for (CDatabase* db : {procedure.GetOutDatabase(), procedure.GetInDatabase()})
    if (db && !db->IsOpen()) db->SetStatementSavepoints(false);
  auto open = [&](bool in) { return in ? procedure.OpenInDatabase(false) : procedure.OpenOutDatabase(false); };
  auto close = [&](bool in) { in ? procedure.CloseInDatabase() : procedure.CloseOutDatabase(); };
  if (!open(inFirst)) {
    close(inFirst);
    return EOpened::kFirstFailed;
  }
  if (!open(!inFirst)) {
    close(inFirst);
    close(!inFirst);
    return EOpened::kSecondFailed;
  }
  return EOpened::kBoth;
}

}  // namespace tarvo::exchange
