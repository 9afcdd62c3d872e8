#include "partners/solvar/import_solvar_provvigioni.h"

#include <ctime>

#include "dbexchange/customer_resolution.h"
#include "dbexchange/record_transfer.h"
#include "partners/solvar/solvar_files.h"
#include "partners/solvar/solvar_import.h"
#include "platform/records/azienda_set.h"
#include "platform/records/collaboratore_set.h"
#include "platform/records/procedure_id.h"
#include "platform/records/scadenzario_set.h"
#include "platform/settings.h"

using tarvo::StrFormat;
using tarvo::W;
using tarvo::exchange::DoubleQuotes;
using tarvo::exchange::FindCompany;
using tarvo::exchange::FindRow;
using namespace tarvo::partner;
using namespace tarvo::solvar;

struct CTarvoImportSolvarProvvigioni::CRecordSets {
  explicit CRecordSets(CDatabase* db) : aziende(db), agenti(db), scadenzario(db), ids(db) {}
  CAziendaSet aziende;
  CCollaboratoreSet agenti;
  CScadenzarioSet scadenzario;
  CProcedureId ids;
};

void CTarvoImportSolvarProvvigioni::ImportProvvigione(const CFixedWidthLine& line, CRecordSets& s) {
  const CRecordLayout& layout = ProvvigioniLayout();
  auto text = [&](const char* name) { return line.Text(FieldOf(layout, name)); };
  const long invoice = line.Integer(FieldOf(layout, "NUMERO"));
  // The partner's date: day from the field's characters 0-1, month from 3-4 and year from 5-6,
  // one character further right than DDMMYY would need; it is kept so, and an impossible month
  // or day rolls over.
  const int date = FieldOf(layout, "DATA").offset;
  const int day = static_cast<int>(line.Integer(date, 2));
  const int month = static_cast<int>(line.Integer(date + 3, 2));
  const int year = 2000 + static_cast<int>(line.Integer(date + 5, 2));
  const long agent = line.Integer(FieldOf(layout, "ID_COLLABORATORE"));

  if (!FindRow(s.agenti, StrFormat(" ID = %ld ", agent))) {
    Log(StrFormat(" - Agente codice %ld non presente: linea ignorata.", agent), TMS_NONE);
    return;
  }
  const CString name = text("RAGIONESOCIALE"), vat = text("PARTITAIVA"), taxCode = text("CODICEFISCALE");
  if (!FindCompany(s.aziende, vat, taxCode)) {
    Log(StrFormat(" - Cliente non trovato: linea ignorata (%s - PIVA %s - COD FIS %s).", name.c_str(), vat.c_str(),
                  taxCode.c_str()),
        TMS_NONE);
    return;
  }

  const CString description = StrFormat(W("PROVVIGIONE FATTURA n° %ld DEL %d").c_str(), invoice, year);
  CScadenzarioSet& entry = s.scadenzario;
  if (FindRow(entry, " DESCRIZIONE = '" + DoubleQuotes(description) + "'")) {
    entry.Edit();
  } else {
    const long id = s.ids.GetNewId("GET_ID_SCADENZARIO");
    entry.AddNew();
    entry.m_ID = id;
    entry.m_DESCRIZIONE = description;
  }
  entry.m_ID_COLLABORATORE = agent;
  entry.m_DATA_SCADENZA = RolledDate(year, month, day);
  entry.m_F_SALDATO = tarvo::ToUpper(line.Raw(FieldOf(layout, "F_SALDATO").offset, 1)) == "S" ? 1 : 0;
  entry.m_F_PROVVIGIONE = 1;
  entry.m_ID_AZIENDA = s.aziende.m_ID;
  entry.m_ID_SOCIETA = CUserAdministrator::GetIDSOCIETA();
  entry.m_IMPORTO = line.DecimalText(FieldOf(layout, "PROVVIGIONE"));
  entry.m_IMPORTO_PAGATO = "0.0";
  entry.Update();
}

int CTarvoImportSolvarProvvigioni::Run() {
  if (!OpenInDatabase(false)) {
    CloseInDatabase();
    NotifyFinished(0);
    return -1;
  }
  int result = 0;
  try {
    tarvo::exchange::BeginWriteTransaction(*m_pInDatabase);
    const std::time_t start = std::time(nullptr);
    Log("Inizio importazione provvigioni", TMS_NONE);
    CRecordSets sets(m_pInDatabase);
    // The failure line names the articles file: the partner's operators know it so.
    const CReadStepWords words = {" - Lettura file Provvigioni in corso ...",
                                  " - Lettura file Provvigioni terminata con successo",
                                  " - Lettura file Articoli fallita.", " - Errore file: "};
    EReadResult read = ReadFileStep(*this, kFileProvvigioni, words, [&](const CFixedWidthLine& line, int) {
      ImportProvvigione(line, sets);
      return true;
    });
    if (read == EReadResult::kDone) {
      Log(RunSummary(true, start), TMS_NONE);
      result = 1;
    } else {
      Log("Importazione dati fallita.", TMS_NONE);
    }
  } catch (const tarvo::CException& e) {
    // Database errors, and amounts the database cannot take.
    Log(" - Errore database " + e.GetErrorMessage(), TMS_NONE);
    Log("Importazione dati fallita.", TMS_NONE);
    result = 0;
  }
  try {
    if (result == 1) m_pInDatabase->CommitTrans();
    else if (m_pInDatabase->InTransaction()) m_pInDatabase->Rollback();
  } catch (const CDBException& e) {
    Log(" - Errore database " + e.m_strError, TMS_NONE);  // closing the database rolls back
    result = 0;
  }
  Log("Operazione completata.", TMS_NONE);
  CloseInDatabase();
  NotifyFinished(result);
  return result;
}
