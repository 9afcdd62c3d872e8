#include "partners/pellor/export_pellor_ordini.h"

#include <cstdio>
#include <vector>

#include "partners/fixed_width.h"
#include "partners/order_file_fields.h"
#include "partners/pellor/pellor_files.h"
#include "platform/files.h"
#include "platform/host_ui.h"
#include "platform/records/documento_set.h"
#include "platform/records/voci_documento_set.h"
#include "platform/settings.h"

using namespace tarvo;
using namespace tarvo::partner;

namespace {

CString WithoutPoints(CString text) {
  ReplaceAll(text, ".", "");
  return text;
}

CString OrderLine(const CDocumentoSet& order, const CString& file, const char* what, const char* end) {
  return StrFormat(" - Esportazione %sordine %s/%ld (anno %ld) - file %s... %s", what, order.m_SERIE.c_str(),
                   order.m_NUMERO, order.m_ANNO, file.c_str(), end);
}

}  // namespace

CTarvoExportPellorOrdini::CTarvoExportPellorOrdini()
    : m_lIdSocieta(CUserAdministrator::GetIDSOCIETA()), m_lIdReference(CUserAdministrator::GetIDREFERENCE()) {}

CString CTarvoExportPellorOrdini::CreaIntestazioneOrdine(const CDocumentoSet& order) {
  try {
    std::vector<CString> values = CustomerBlockValues(order);
    values.push_back(OneLine(order.m_DESTINAZIONE));
    for (CString& v : OrderTermsValues(m_pOutDatabase, order, order.m_NUMERO, order.m_NOTE)) values.push_back(std::move(v));
    return FormatRecord(pellor::OrdineTestataLayout(), values) + "\r\n";
  } catch (const CDBException& e) {
    Log("ERRORE database " + e.m_strError, TMS_NONE);
    return CString();
  }
}

CString CTarvoExportPellorOrdini::CreaRigaOrdine(const CVociDocumentoSet& row) {
  const int k = static_cast<int>(TextToLong(row.m_QUANTITA));
  const int n = static_cast<int>(row.m_COLLI);
  const CString kn = StrFormat("%d", k * n);
  const CString marker = !row.m_MARCATORE.empty() && row.m_MARCATORE[0] == '*' ? "*" : " ";
  // Every point goes, one inside the article code too.
  return WithoutPoints(FormatRecord(pellor::OrdineRigaLayout(), {row.m_ID_ARTICOLO, StrFormat("%d", n), StrFormat("%d", k),
                                                                 kn, row.m_PREZZO, row.m_SCONTO_1, row.m_SCONTO_2, kn,
                                                                 marker})) +
         "\r\n";
}

CTarvoExportPellorOrdini::EOrderEnd CTarvoExportPellorOrdini::AskNextOrder(const CString& prefix,
                                                                          const char* batchLine) {
  if (!m_bVerbose) {
    Log(W(batchLine), TMS_NONE);
    return EOrderEnd::kNext;
  }
  if (AfxAskYesNo(prefix + W("Si è verificato un errore durante l'esportazione.\n\nContinuare con l'ordine successivo?"),
                  true))
    return EOrderEnd::kNext;
  Log(" - Esportazione ordini interrotta dall'utente", TMS_NONE);
  return EOrderEnd::kAbort;
}

CTarvoExportPellorOrdini::EOrderEnd CTarvoExportPellorOrdini::FileError(const CString& message,
                                                                       const CString& failureLine) {
  const CString error = "ERRORE: " + message.substr(0, 1023);
  Log(error, TMS_NONE);
  Log(failureLine, TMS_NONE);
  return AskNextOrder(error + "\n", "Si è verificato un errore durante l'esportazione.");
}

CTarvoExportPellorOrdini::EOrderEnd CTarvoExportPellorOrdini::ExportOrdine(CDocumentoSet& order) {
  const CString name = StrFormat("%02ld%.6ld.ord", m_lIdReference, order.m_NUMERO);
  const CString path = PartnerFilePath(m_strOutDir, name);
  Log(OrderLine(order, name, "", "in corso"), TMS_NONE);
  CStdioFile file;
  try {
    file.Open(NativePath(path), CStdioFile::Mode::kWrite);
  } catch (const CFileException& e) {
    return FileError(e.GetErrorMessage(), OrderLine(order, name, "", "ERRORE!"));
  }
  const CString header = CreaIntestazioneOrdine(order);
  if (header.empty()) {
    Log(OrderLine(order, name, "(intestazione) ", "ERRORE!"), TMS_NONE);
    file.Close();
    std::remove(NativePath(path).c_str());
    return AskNextOrder("", "Si è verificato un errore durante l'esportazione");
  }
  try {
    file.WriteString(header);
  } catch (const CFileException& e) {
    file.Close();
    std::remove(NativePath(path).c_str());
    return FileError(e.GetErrorMessage(), OrderLine(order, name, "", "ERRORE!"));
  }
  CVociDocumentoSet rows(m_pOutDatabase);
  rows.m_strFilter = StrFormat("ID_DOCUMENTO = %ld AND TIPO = 'A'", order.m_ID);
  rows.m_strSort = "ID";
  rows.Open();
  for (; !rows.IsEOF(); rows.MoveNext()) {
    try {
      file.WriteString(CreaRigaOrdine(rows));
    } catch (const CFileException& e) {
      const CString error = "ERRORE: " + e.GetErrorMessage().substr(0, 1023);
      Log(error, TMS_NONE);
      Log(OrderLine(order, name, "(dettaglio) ", "ERRORE!"), TMS_NONE);
      file.Close();
      if (m_bVerbose) {
        // Either answer removes the incomplete file.
        if (!AfxAskYesNo(error + W("\nSi è verificato un errore durante l'esportazione di una riga ordine.\n\n"
                                   "L'ordine esportato potrebbe essere incompleto.\n\n"
                                   "Eliminare il file di esportazione dell'ordine?"),
                         true))
          Log(W("Si è verificato un errore durante l'esportazione."), TMS_NONE);
        std::remove(NativePath(path).c_str());
      }
      m_pOutDatabase->CommitTrans();  // the order keeps state 5
      return EOrderEnd::kAbort;
    }
  }
  rows.Close();
  file.Close();
  const CString ok = OrderLine(order, name, "", "OK!");
  Log(ok, TMS_NONE);
  order.Edit();
  order.m_ID_STATO_ORDINE = 6;
  order.Update();
  m_pOutDatabase->CommitTrans();
  Log(ok + " OK!", TMS_NONE);
  std::remove(NativePath(path).c_str());
  return EOrderEnd::kDone;
}

int CTarvoExportPellorOrdini::Run() {
  if (!OpenOutDatabase(false)) {
    CloseOutDatabase();
    NotifyFinished(0);
    return 0;
  }
  Log("Avvio esportazione ordini...", TMS_NONE);
  int result = 1;
  try {
    // The orders are listed once; each is then read again and written in its own transaction,
    // so that a state change never moves the list under the loop.
    const std::vector<long> ids = ConfirmedOrderIds(m_pOutDatabase);
    for (long id : ids) {
      if (m_pEventStop && m_pEventStop->IsSet()) {
        Log("Operazione interrotta dall'utente.", TMS_ERROR);
        result = 0;
        break;
      }
      m_pOutDatabase->BeginTrans();
      CDocumentoSet order(m_pOutDatabase);
      EOrderEnd end = OpenConfirmedOrder(order, id) ? ExportOrdine(order) : EOrderEnd::kNext;
      if (m_pOutDatabase->InTransaction()) m_pOutDatabase->Rollback();
      if (end == EOrderEnd::kAbort) {
        result = 0;
        break;
      }
    }
  } catch (const CDBException& e) {
    Log("ERRORE database" + e.m_strError, TMS_NONE);
    result = 0;
  }
  if (result == 1) {
    Log("Esportazione ordini termita con successo.", TMS_NONE);
  } else {
    if (m_pOutDatabase->InTransaction()) m_pOutDatabase->Rollback();
    const CString warning = "Alcune operazioni potrebbero non essere state eseguite correttamente!";
    if (m_bVerbose) AfxMessageBox(warning);
    else Log(warning, TMS_NONE);
    Log("Esportazione ordini fallita o interrotta dall'utente.", TMS_NONE);
  }
  CloseOutDatabase();
  NotifyFinished(result);
  return result;
}
