#include "partners/solvar/export_solvar_ordini.h"

#include <cstdio>
#include <vector>

#include "partners/fixed_width.h"
#include "partners/order_file_fields.h"
#include "partners/solvar/solvar_files.h"
#include "platform/files.h"
#include "platform/host_ui.h"
#include "platform/records/documento_set.h"
#include "platform/records/voci_documento_set.h"

using namespace tarvo;
using namespace tarvo::partner;

namespace {

// A header that keeps failing is tried this often without questions before the run moves on; a
// person at the terminal decides each time.
constexpr int kBatchAttempts = 3;

const char* const kExportError = "Si è verificato un errore durante l'esportazione.";
const char* const kNextOrderQuestion = "\n\nContinuare con l'ordine successivo?";

CString OrderLine(const CDocumentoSet& order, const char* what, const CString& file, const char* end) {
  return StrFormat(" - Esportazione %sordine %s/%ld (anno %ld) - file %s%s", what, order.m_SERIE.c_str(), order.m_NUMERO,
                   order.m_ANNO, file.c_str(), end);
}

void RemoveFile(CStdioFile& file, const CString& path) {
  file.Close();
  std::remove(NativePath(path).c_str());
}

}  // namespace

CString CTarvoExportSolvarOrdini::CreaIntestazioneOrdine(CDocumentoSet* order) {
  try {
    std::vector<CString> values = CustomerBlockValues(*order);
    const CLocality delivery = SplitLocality(order->m_DESTINAZIONE_LOCALITA, 4);
    values.insert(values.end(), {BlankLineBreaks(order->m_DESTINAZIONE), delivery.postalCode, delivery.place});
    for (CString& v : OrderTermsValues(m_pOutDatabase, *order, order->m_ID, BlankLineBreaks(order->m_NOTE)))
      values.push_back(std::move(v));
    values.insert(values.end(), {StrFormat("%ld", order->m_ID_AGENTE_SEDE_SOCIETA), "", "0", "000000"});
    return FormatRecord(solvar::OrdineTestataLayout(), values) + "\r\n";
  } catch (const CDBException& e) {
    Log("ERRORE database " + e.m_strError, TMS_NONE);
    return CString();
  }
}

CTarvoExportSolvarOrdini::EOrderEnd CTarvoExportSolvarOrdini::AskNextOrder(const CString& text, const char* batchLine,
                                                                          EOrderEnd onYes, EOrderEnd onBatch) {
  if (!m_bVerbose) {
    Log(W(batchLine), TMS_NONE);
    return onBatch;
  }
  if (AfxAskYesNo(text, true)) return onYes;
  Log(" - Esportazione ordini interrotta dall'utente", TMS_NONE);
  return EOrderEnd::kAbort;
}

CTarvoExportSolvarOrdini::EOrderEnd CTarvoExportSolvarOrdini::ExportOrdine(CDocumentoSet& order) {
  const CString name = StrFormat("%02ld%06ld.ord", order.m_ID_AGENTE_SEDE_SOCIETA, order.m_NUMERO);
  const CString path = PartnerFilePath(m_strOutDir, name);
  Log(OrderLine(order, "", name, " in corso..."), TMS_NONE);
  const CString failed = OrderLine(order, "", name, "... ERRORE!");
  const CString askNext = W(kExportError) + kNextOrderQuestion;

  CStdioFile file;
  try {
    file.Open(NativePath(path), CStdioFile::Mode::kWrite);
  } catch (const CFileException& e) {
    Log("ERRORE: " + e.GetErrorMessage(), TMS_NONE);
    Log(failed, TMS_NONE);
    return AskNextOrder(e.GetErrorMessage() + "\n" + askNext, kExportError, EOrderEnd::kNext, EOrderEnd::kNext);
  }
  const CString header = CreaIntestazioneOrdine(&order);
  if (header.empty()) {
    Log(OrderLine(order, "(intestazione) ", name, "... ERRORE!"), TMS_NONE);
    RemoveFile(file, path);
    return AskNextOrder(askNext, "Si è verificato un errore durante l'esportazione", EOrderEnd::kRetry,
                        EOrderEnd::kRetry);
  }
  try {
    file.WriteString(header);
    file.FlushChecked();
  } catch (const CFileException& e) {
    Log("ERRORE: " + e.GetErrorMessage(), TMS_NONE);
    Log(failed, TMS_NONE);
    RemoveFile(file, path);
    return AskNextOrder(e.GetErrorMessage() + "\n" + askNext, "Si è verificato un errore durante l'esportazione",
                        EOrderEnd::kRetry, EOrderEnd::kRetry);
  }

  CVociDocumentoSet lines(m_pOutDatabase);
  lines.m_strFilter = StrFormat("ID_DOCUMENTO = %ld", order.m_ID);
  lines.m_strSort = "ID";
  try {
    lines.Open();
    for (; !lines.IsEOF(); lines.MoveNext())
      file.WriteString(FormatRecord(solvar::OrdineRigaLayout(), RecordValues(lines, solvar::OrdineRigaLayout())) + "\r\n");
    file.CloseChecked();  // the last records reach the disk here
  } catch (const CDBException&) {
    RemoveFile(file, path);  // no file without all its lines; the run ends on the error
    throw;
  } catch (const CFileException& e) {
    Log("ERRORE: " + e.GetErrorMessage(), TMS_NONE);
    Log(OrderLine(order, "dettaglio ", name, "... ERRORE!"), TMS_NONE);
    bool remove = m_bVerbose;  // without questions the partial file stays for a look
    if (m_bVerbose &&
        !AfxAskYesNo(e.GetErrorMessage() +
                         W("\nSi è verificato un errore durante l'esportazione di una riga ordine.\n\n"
                           "L'ordine esportato potrebbe essere incompleto.\n\n"
                           "Eliminare il file di esportazione dell'ordine?"),
                     true))
      Log(W("Si è verificato un errore durante l'esportazione"), TMS_NONE);  // deleted all the same
    if (remove) RemoveFile(file, path);
    else file.Close();
    m_pOutDatabase->CommitTrans();  // the order keeps state 5
    return EOrderEnd::kNext;
  }
  lines.Close();
  order.Edit();
  order.m_ID_STATO_ORDINE = 6;
  order.Update();
  m_pOutDatabase->CommitTrans();
  Log(OrderLine(order, "", name, "... OK!"), TMS_NONE);
  return EOrderEnd::kDone;
}

int CTarvoExportSolvarOrdini::Run() {
  if (!OpenOutDatabase(false)) {
    CloseOutDatabase();
    NotifyFinished(0);
    return 0;
  }
  Log("Avvio esportazione ordini...", TMS_NONE);
  int result = 0;
  try {
    // The orders are listed once; each is then read again and written in its own transaction,
    // so that a state change never moves the list under the loop.
    const std::vector<long> ids = ConfirmedOrderIds(m_pOutDatabase);
    int attempts = 0;
    size_t i = 0;
    while (i < ids.size()) {
      if (m_pEventStop && m_pEventStop->IsSet()) {
        Log("Operazione interrotta dall'utente.", TMS_ERROR);
        break;
      }
      m_pOutDatabase->BeginTrans();
      CDocumentoSet order(m_pOutDatabase);
      EOrderEnd end = OpenConfirmedOrder(order, ids[i]) ? ExportOrdine(order) : EOrderEnd::kNext;
      if (m_pOutDatabase->InTransaction()) m_pOutDatabase->Rollback();
      if (end == EOrderEnd::kAbort) break;
      if (end == EOrderEnd::kRetry && (m_bVerbose || ++attempts < kBatchAttempts)) continue;
      attempts = 0;
      ++i;
    }
    // Single orders may have failed: they stay in state 5 for the next run.
    result = i == ids.size() ? 1 : 0;
  } catch (const CDBException& e) {
    Log("ERRORE database" + e.m_strError, TMS_NONE);
  }
  if (result == 1) {
    Log("Esportazione ordini termita con successo.", TMS_NONE);
  } else {
    if (m_pOutDatabase->InTransaction()) m_pOutDatabase->Rollback();
    Log("Esportazione ordini fallita.", TMS_NONE);
  }
  CloseOutDatabase();
  NotifyFinished(result);
  return result;
}
