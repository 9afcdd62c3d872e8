#include "partners/solvar/solvar_import.h"

#include <fnmatch.h>

#include <algorithm>

#include <cerrno>
#include <memory>

#include "partners/order_file_fields.h"
#include "partners/solvar/solvar_document_files.h"
#include "partners/solvar/solvar_files.h"
#include "platform/files.h"
#include "platform/host_ui.h"
#include "platform/decimal.h"
#include "dbexchange/record_transfer.h"
#include "platform/records/azienda_set.h"
#include "platform/records/documento_set.h"
#include "platform/records/procedure_call.h"
#include "platform/records/procedure_id.h"
#include "platform/records/voci_documento_set.h"

namespace tarvo::solvar {

using partner::CFixedWidthLine;
using partner::CFixedWidthReader;
using partner::PartnerFilePath;

EReadResult ReadFileStep(CTarvoImport& p, const char* name, const CReadStepWords& words,
                         const std::function<bool(const CFixedWidthLine&, int)>& onLine) {
  p.Log(words.opening, TMS_NONE);
  try {
    CFixedWidthReader file(PartnerFilePath(p.GetInDir(), name));
    for (CString text; file.Next(text);)
      if (!onLine(CFixedWidthLine(std::move(text)), file.LineNumber())) return EReadResult::kStopped;
    file.Close();
  } catch (const CFileException& e) {
    p.Log(words.failure, TMS_NONE);
    p.Log(words.fileError + e.GetErrorMessage(), TMS_NONE);
    return EReadResult::kFileError;
  }
  p.Log(words.success, TMS_NONE);
  return EReadResult::kDone;
}

const CClassificationFile kCategorie = {
    kFileCategorie,
    {" - Lettura file Categorie ...", " - Lettura file Categorie terminata con successo.",
     " - Lettura file Categorie fallita."},
    "Errore durante la lettura del file Categorie.",
    "Categoria %s"};
const CClassificationFile kFamiglie = {
    kFileFamiglie,
    {" - Lettura file Famiglie...", " - Lettura file Famiglie terminata con successo.",
     " - Lettura file Famiglie fallita."},
    "Errore durante la lettura del file Famiglie.",
    "Famiglia %s"};
const CClassificationFile kGruppi = {
    kFileGruppi,
    {" - Lettura file Gruppi...", " - Lettura file Gruppi terminata con successo.", " - Lettura file Gruppi fallita."},
    "Errore durante la lettura del file Gruppi.",
    "Gruppo %s"};
const CClassificationFile kAliquoteIva = {
    kFileIva,
    {" - Lettura file Aliquote IVA...", " - Lettura file Aliquote IVA terminata con successo.",
     " - Lettura file Aliquote IVA fallita."},
    "Errore durante la lettura del file Aliquote IVA.",
    "Aliquota IVA %s"};

// --- document files -------------------------------------------------------------------------

namespace {

// The names in `folder` matching `pattern` without regard to case, in name order.
std::vector<CString> MatchingNames(const CString& folder, const char* pattern) {
  std::vector<CString> names;
  for (const CFolderEntry& e : ListFolder(folder))
    if (e.name != "." && e.name != ".." && ::fnmatch(pattern, e.name.c_str(), FNM_CASEFOLD) == 0) names.push_back(e.name);
  return names;
}

CString Title(const CString& name) {
  const size_t dot = name.rfind('.');
  return dot == CString::npos ? name : name.substr(0, dot);
}

// Renames a loaded file to the first free "<path less its last character><n>", n from 0. Only a
// taken name moves the counter on: any other failure is reported and leaves the file as it is.
void RenameLoaded(CTarvoImport& p, const CString& path) {
  const CString stem = path.substr(0, path.size() - 1);
  for (long n = 0;; ++n) {
    if (RenameFileNoReplace(path, StrFormat("%s%ld", stem.c_str(), n))) return;
    if (errno != EEXIST) break;
  }
  p.Log("ERRORE: " + GetSystemError(), TMS_NONE);
  p.Log(StrFormat(" - File %s non rinominato: sarà importato di nuovo.", path.c_str()), TMS_NONE);
}

// The question after a failed file; false when the user wants to stop.
bool AskNextFile(CTarvoImport& p, const CDocumentFolder& folder, const CString& error) {
  const CString failed = W("Si è verificato un errore durante l'importazione.");
  if (!p.IsVerbose()) {
    p.Log(failed, TMS_NONE);
    return true;
  }
  if (AfxAskYesNo(error + "\n" + failed + "\n\n" + W(folder.nextQuestion), true)) return true;
  p.Log(folder.interrupted, TMS_NONE);
  return false;
}

}  // namespace

int RunDocumentFolder(CTarvoImport& p, const CDocumentFolder& folder, const std::function<void()>& begin,
                      const std::function<void()>& end) {
  if (!p.OpenInDatabase(false)) {
    p.CloseInDatabase();
    p.NotifyFinished(0);
    return 0;
  }
  CDatabase& db = *p.GetInDatabase();
  int result = 1;
  begin();
  p.Log(folder.startLine, TMS_NONE);
  for (const CString& name : MatchingNames(p.GetInDir(), folder.pattern)) {
    if (p.CtrlEventStop()) {  // logs "Operazione interrotta dall'utente."
      result = 0;
      break;
    }
    const CString path = PartnerFilePath(p.GetInDir(), name);
    const CString line = " - Importazione " + folder.label(Title(name)) + " - file " + path;
    CDocumentOutcome outcome{EDocumentOutcome::kLoaded, {}};
    try {
      CFixedWidthReader file(path);
      CString header;
      if (!file.Next(header)) {
        p.Log(folder.ignoredLine(Title(name), path), TMS_NONE);
        continue;
      }
      p.Log(line + " in corso...", TMS_NONE);
      outcome = folder.load(Title(name), CFixedWidthLine(std::move(header)), file);
    } catch (const CFileException& e) {
      try {
        if (db.InTransaction()) db.Rollback();
      } catch (const CDBException& rollback) {
        p.Log("ERRORE database: " + rollback.m_strError, TMS_NONE);
      }
      outcome = {EDocumentOutcome::kFailedAsk, "ERRORE: " + e.GetErrorMessage()};
      p.Log(outcome.error, TMS_NONE);
      p.Log(line + "... ERRORE!", TMS_NONE);
    }
    if (outcome.outcome == EDocumentOutcome::kLoaded) {
      if (folder.lastFileDecides) result = 1;
      p.Log(line + "... OK!", TMS_NONE);
      RenameLoaded(p, path);
    } else if (outcome.outcome != EDocumentOutcome::kSkipped) {
      result = 0;
      if (outcome.outcome == EDocumentOutcome::kFailedAsk && !AskNextFile(p, folder, outcome.error)) break;
    }
  }
  p.Log(result == 1 ? folder.successLine : folder.failureLine, TMS_NONE);
  end();
  p.CloseInDatabase();
  p.NotifyFinished(result);
  return result;
}

CDocumentCustomer ReadDocumentCustomer(const CFixedWidthLine& header) {
  const partner::CRecordLayout& layout = partner::CustomerBlockLayout();
  auto text = [&](const char* name) { return header.Text(partner::FieldOf(layout, name)); };
  return {text("RAGIONESOCIALE"), text("INDIRIZZO"), text("LOCALITA"),     text("CAP"),
          text("PROVINCIA"),      text("PARTITAIVA"), text("CODICEFISCALE")};
}

long AddDocumentCustomer(CAziendaSet& companies, CProcedureId& ids, const CDocumentCustomer& customer,
                         const CString& customerCode) {
  const long id = ids.GetNewId("GET_ID_AZIENDA");
  companies.AddNew();
  companies.m_ID = id;
  companies.m_RAGIONESOCIALE = customer.name;
  companies.m_PARTITAIVA = customer.vatNumber;
  companies.m_CODICEFISCALE = customer.taxCode;
  companies.m_F_CLIENTE = 1;
  companies.m_CODICE_CLIENTE = customerCode;
  companies.Update();
  return id;
}

void UpdateCustomerCode(CAziendaSet& companies, const CString& customerCode) {
  companies.Edit();
  companies.m_CODICE_CLIENTE = StrFormat("%ld", partner::TextToLong(customerCode));
  companies.Update();
}

CDocumentRow AddOrEditDocument(CTarvoImport& p, CDocumentoSet& documents, CProcedureId& ids, const CString& filter,
                               const char* found, const char* added) {
  if (exchange::AddOrEdit(documents, filter)) {
    p.Log(found, TMS_NONE);
    return {documents.m_ID, false};
  }
  p.Log(added, TMS_NONE);
  documents.m_ID = ids.GetNewId("GET_ID_DOCUMENTO");
  return {documents.m_ID, true};
}

void ReplaceDocumentLines(CDatabase& db, CVociDocumentoSet& lines, long document, CFixedWidthReader& file,
                          const std::function<void(const CFixedWidthLine&)>& add) {
  db.ExecuteSQL(StrFormat("DELETE FROM VOCI_DOCUMENTO WHERE ID_DOCUMENTO = %d", static_cast<int>(document)));
  if (!lines.IsOpen()) lines.Open();
  for (CString text; file.Next(text);) {
    const CFixedWidthLine line(std::move(text));
    if (!Trim(line.Line(), " ").empty()) add(line);  // a blank line carries no document line
  }
}

void UpdateDocumentTotals(CDatabase& db, long document, int pricePrecision, int totalPrecision) {
  const CString zero =
      Decimal(0).Round3(std::clamp(totalPrecision, 0, Decimal::kMaxScale)).ToString2(Decimal::kAllDecimals, false);
  ExecuteProcedureCall(db, StrFormat("{call AGGIORNA_TOTALI_DOCUMENTO( %d, %d, %d, %s)}", static_cast<int>(document),
                                     pricePrecision, totalPrecision, zero.c_str()));
}

void AbandonDocument(CTarvoImport& p, std::initializer_list<CRecordSetBase*> records) {
  try {
    if (p.GetInDatabase()->InTransaction()) p.GetInDatabase()->Rollback();
  } catch (const CDBException& e) {
    p.Log("ERRORE: " + e.m_strError, TMS_NONE);
  }
  for (CRecordSetBase* r : records)
    if (r->IsAdding() || r->IsEditing()) r->CancelUpdate();
}

}  // namespace tarvo::solvar
