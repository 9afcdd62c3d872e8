#include "dbexchange/exchange_documento.h"

#include "dbexchange/record_transfer.h"
#include "dbexchange/run_support.h"
#include "platform/records/unita_misura_set.h"

using tarvo::StrFormat;
using namespace tarvo::exchange;

void CTarvoExchangeDocumento::CheckUnitaMisura(CString code) {
  if (code.empty()) return;
  CUnitaMisuraSet units(m_pInDatabase);
  units.m_strFilter = "ID = '" + code + "'";
  units.Open();
  if (units.IsEOF()) {
    units.AddNew();
    units.m_ID = code;
    units.m_DESCRIZIONE = code;
    units.Update();
  }
  units.Close();
}

CTarvoExchangeDocumento::CDocumentRecords::CDocumentRecords(CTarvoImport& procedure, CDatabase* out, CDatabase* in)
    : source(out), target(in), sourceLines(out), targetLines(in), customers(procedure, out, in) {
  targetLines.m_strFilter = "ID = -1";
}

void CTarvoExchangeDocumento::CDocumentRecords::Close() {
  source.Close();
  target.Close();
  sourceLines.Close();
  targetLines.Close();
  customers.Close();
}

void CTarvoExchangeDocumento::CopyHeader(const CDocumentoSet& source, CDocumentoSet& target) {
  CopyFields(source, target, {{1, source.GetFieldCount() - 1}});
}

long CTarvoExchangeDocumento::WriteCounterpart(CDocumentRecords& r, const CString& filter, long customer) {
  const bool found = AddOrEdit(r.target, filter);
  const long id = found ? r.target.m_ID : r.customers.DestinationIds().GetNewId("GET_ID_DOCUMENTO");
  CopyHeader(r.source, r.target);
  if (!found) r.target.m_ID = id;
  r.target.m_CLI_FAT_ID = customer;
  r.target.m_F_MODIFICATO = 1;
  r.target.Update();
  return id;
}

void CTarvoExchangeDocumento::AddLineCopy(const CVociDocumentoSet& source, CVociDocumentoSet& target,
                                          long documentId) {
  if (!target.IsOpen()) target.Open();
  target.AddNew();
  CopyFields(source, target, {{1, source.GetFieldCount() - 1}});
  target.m_ID_DOCUMENTO = documentId;
}

void CTarvoExchangeDocumento::CopyLines(CDocumentRecords& r, long sourceId, long documentId,
                                        const std::function<void()>& adjust) {
  try {
    for (OpenLines(r.sourceLines, sourceId); !r.sourceLines.IsEOF(); r.sourceLines.MoveNext()) {
      AddLineCopy(r.sourceLines, r.targetLines, documentId);
      if (adjust) adjust();
      r.newLines.Add();
    }
  } catch (const CDBException&) {
    // The transaction is lost and will be rolled back: the queued lines with it.
    r.newLines.Clear();
    throw;
  } catch (...) {
    r.newLines.Flush();  // a line before the faulty value's comes first, as row by row
    throw;
  }
  r.newLines.Flush();
}

void CTarvoExchangeDocumento::OpenLines(CVociDocumentoSet& lines, long documentId) {
  lines.m_strFilter = StrFormat("ID_DOCUMENTO = %ld", documentId);
  if (lines.IsOpen()) lines.Requery();
  else lines.Open();
}

bool CTarvoExchangeDocumento::CommitBoth(bool inFirst) {
  auto commit = [](CDatabase* db) { return !db->InTransaction() || db->CommitTrans(); };
  if (inFirst) {
    bool in = commit(m_pInDatabase);
    return commit(m_pOutDatabase) && in;
  }
  bool out = commit(m_pOutDatabase);
  return commit(m_pInDatabase) && out;
}

int CTarvoExchangeDocumento::RunDocuments(const CDocumentRun& run, const CTransfer& transfer) {
  if (OpenDatabases(*this, run.openInFirst ? EOpenOrder::kInFirst : EOpenOrder::kOutFirst) != EOpened::kBoth) {
    NotifyFinished(0);
    return 0;
  }

  // The records go before the databases close: their statements belong to the connections.
  auto records = std::make_unique<CDocumentRecords>(*this, m_pOutDatabase, m_pInDatabase);
  records->source.m_strFilter = run.sourceFilter;
  records->target.m_strFilter = run.targetFilter;
  int result = 1;
  Log(CString("Avvio ") + DirectionWord(run.direction) + " " + run.subject + "...", TMS_NONE);
  try {
    for (;;) {
      if (run.plainStopLine ? InterruptRequested(*this) : CtrlEventStop()) {
        result = 0;
        break;
      }
      m_pOutDatabase->BeginTrans();
      if (!records->source.IsOpen()) records->source.Open();
      if (records->source.IsEOF()) {
        m_pOutDatabase->Rollback();
        result = 1;
        break;
      }
      result = transfer(*records, result);
    }
  } catch (const CDBException& e) {
    Log(run.errorPrefix + e.m_strError, TMS_NONE);
    result = 0;
  } catch (const tarvo::CException& e) {
    // A value a destination column cannot hold ends the run like a database error.
    Log(run.errorPrefix + e.GetErrorMessage(), TMS_NONE);
    result = 0;
  }

  records->Close();
  const char* word = run.direction ? "Esportazione" : "Importazione";
  if (result == 0) {
    for (CDatabase* db : {m_pOutDatabase, m_pInDatabase}) {
      try {
        db->Rollback();
      } catch (const CDBException& e) {
        Log(run.errorPrefix + e.m_strError, TMS_NONE);
      }
    }
    Log(CString(word) + " " + run.subject + " fallita.", TMS_NONE);
  } else {
    Log(CString(word) + " " + run.subject + " termita con successo.", TMS_NONE);
  }
  records.reset();
  CloseOutDatabase();
  CloseInDatabase();
  NotifyFinished(result);
  return result;
}
