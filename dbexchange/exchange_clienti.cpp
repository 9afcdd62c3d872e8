#include "dbexchange/exchange_clienti.h"

#include <cstdlib>

#include "dbexchange/customer_resolution.h"
#include "dbexchange/run_support.h"
#include "dbexchange/record_transfer.h"
#include "platform/records/azienda_sconto_set.h"
#include "platform/records/cc_user_set.h"
#include "platform/records/formula_pagamento_set.h"
#include "platform/records/sconto_set.h"

using tarvo::StrFormat;
using namespace tarvo::exchange;

// The record sets of one run: source (out) and destination (in) of each stage.
struct CTarvoExchangeClienti::CRecords {
  CRecords(CDatabase* out, CDatabase* in, std::unique_ptr<CRecordSetBase> sourceCompanies)
      : bandsOut(out), bandsIn(in), termsOut(out), termsIn(in), companiesOut(std::move(sourceCompanies)),
        companiesIn(in), branchesOut(out), branchesIn(in), zones(in), users(in), discountsOut(out),
        discountsIn(in), ids(in) {
    companiesIn.m_strFilter = "ID = -1";
    zones.m_strFilter = "ID = -1";
    branchesIn.m_strFilter = "ID = -1";
  }
  void Close() {
    for (CRecordSetBase* r : std::initializer_list<CRecordSetBase*>{
             &bandsOut, &bandsIn, &termsOut, &termsIn, companiesOut.get(), &companiesIn, &branchesOut, &branchesIn,
             &zones, &users, &discountsOut, &discountsIn})
      r->Close();
    ids.Close();
  }

  CScontoSet bandsOut, bandsIn;
  CFormulaPagamentoSet termsOut, termsIn;
  std::unique_ptr<CRecordSetBase> companiesOut;
  CAziendaSet companiesIn;
  CSedeCompletaSet branchesOut;
  CSedeSet branchesIn;
  CZonaPostaleCompletaSet zones;
  CCCUserSet users;
  CAziendaScontoSet discountsOut, discountsIn;
  CProcedureId ids;
};

namespace {

// The two lines of a row searched on the destination: found (then updated) or missing (then
// added), each stage with its own words.
void LogMatch(CTarvoImport& procedure, bool found, const CString& foundLine, const CString& missingLine,
              const char* addingLine) {
  procedure.Log(found ? foundLine : missingLine, TMS_NONE);
  procedure.Log(found ? " - Aggiornamento informazioni ..." : addingLine, TMS_NONE);
}

void OpenOrRequery(CRecordSetBase& record) {
  if (record.IsOpen()) record.Requery();
  else record.Open();
}

CString Column(const CRecordSetBase& record, const char* name) { return FieldText(record, record.FindField(name)); }

const char kDone[] = " - Operazione effettuata.";

}  // namespace

int CTarvoExchangeClienti::Run() {
  switch (OpenDatabases(*this, EOpenOrder::kOutFirst)) {
    case EOpened::kBoth: break;
    case EOpened::kFirstFailed: NotifyFinished(0); return -1;
    case EOpened::kSecondFailed: return -1;  // deliberately without notifying the host
  }

  int result = 1;
  auto records = std::make_unique<CRecords>(m_pOutDatabase, m_pInDatabase, MakeSourceCompanies(m_pOutDatabase));
  bool completed = RunGuarded(*this, "", [&] {
    m_pOutDatabase->BeginTrans();
    m_pInDatabase->BeginTrans();
    if (!CopyBands(*records)) result = 0;
    // The payment terms start even after a stop among the bands; the companies only after both.
    const bool terms = CopyTerms(*records);
    if (!terms || result == 0) {
      result = 0;
      return;
    }
    records->termsOut.Close();
    records->termsIn.Close();
    Log(m_scheme.termEnd, TMS_NONE);
    if (!CopyCompanies(*records)) result = 0;
  });
  if (!completed) result = 0;

  records->Close();
  if (result == 1) {
    if (!EndTransactions(*this, true, "")) result = 0;  // a failed commit has rolled back
  } else {
    EndTransactions(*this, false, "");
  }
  Log(result == 1 ? m_scheme.success : m_scheme.failure, TMS_NONE);

  records.reset();
  CloseOutDatabase();
  CloseInDatabase();
  NotifyFinished(result);
  return result;
}

bool CTarvoExchangeClienti::CopyBands(CRecords& r) {
  Log(m_scheme.bandStart, TMS_NONE);
  // The band's ID goes into the search as it is: a quote in it ends the run with a database error.
  if (!CopyKeyedRows(r.bandsOut, r.bandsIn, {"ID = '%s'", " - Fascia sconto trovata: ", " - Fascia sconto non trovata: ",
                                              " - Inserimento nuova fascia sconto ...", 7}))
    return false;
  r.bandsOut.Close();
  r.bandsIn.Close();
  Log(m_scheme.bandEnd, TMS_NONE);
  return true;
}

bool CTarvoExchangeClienti::CopyTerms(CRecords& r) {
  Log(m_scheme.termStart, TMS_NONE);
  return CopyKeyedRows(r.termsOut, r.termsIn, {m_scheme.termFilter, " - Formula di pagamento trovata: ",
                                               " - Formula di pagamento non trovata: ",
                                               " - Inserimento nuova formula di pagamento ...", 2});
}

bool CTarvoExchangeClienti::CopyKeyedRows(CRecordSetBase& source, CRecordSetBase& target, const CKeyedRows& rows) {
  source.m_strSort = "ID";
  for (source.Open(); !source.IsEOF(); source.MoveNext()) {
    if (InterruptRequested(*this)) return false;
    const CString id = FieldText(source, 0);
    const bool found = AddOrEdit(target, StrFormat(rows.filter, id.c_str()));
    LogMatch(*this, found, rows.found + id, rows.missing + id, rows.adding);
    CopyFields(source, target, {{0, rows.columns}});
    target.Update();
    Log(kDone, TMS_NONE);
  }
  return true;
}

bool CTarvoExchangeClienti::CopyCompanies(CRecords& r) {
  Log("Avvio esportazione clienti ...", TMS_NONE);  // the export's words also in the agent import
  CRecordSetBase& source = *r.companiesOut;
  const int sourceIdColumn = source.FindField(m_scheme.companyId);
  source.Open();
  r.companiesIn.Open();
  for (; !source.IsEOF(); source.MoveNext()) {
    if (InterruptRequested(*this)) return false;
    const CString vat = Column(source, "PARTITAIVA"), taxCode = Column(source, "CODICEFISCALE");
    // The company as the log names it.
    const CString who =
        StrFormat("%s - PIVA: %s - CF: %s", Column(source, "RAGIONESOCIALE").c_str(), vat.c_str(), taxCode.c_str());
    const bool found = FindCompany(r.companiesIn, vat, taxCode);
    LogMatch(*this, found, " - Cliente trovato: " + who, " - Cliente non trovato: " + who,
             " - Inserimento nuovo cilente ...");
    long companyId;
    if (found) {
      companyId = r.companiesIn.m_ID;
      r.companiesIn.Edit();
    } else {
      companyId = r.ids.GetNewId("GET_ID_AZIENDA");
      r.companiesIn.AddNew();
      r.companiesIn.m_ID = companyId;
    }
    CopyCompanyColumns(source, r.companiesIn, true);
    r.companiesIn.Update();
    Log(kDone, TMS_NONE);

    const long sourceId = std::atol(FieldText(source, sourceIdColumn).c_str());
    if (m_scheme.webUsers) CopyWebUser(r, companyId);
    CopyFirstBranch(r, sourceId, companyId, who);
    CopyDiscountAssignment(r, sourceId, companyId);
  }
  return true;
}

// The web shop's login of the current source company: searched by its customer code as six
// zero-padded digits, stored with the code as read.
void CTarvoExchangeClienti::CopyWebUser(CRecords& r, long companyId) {
  const CRecordSetBase& source = *r.companiesOut;
  const CString code = Column(source, "CODICE_CLIENTE");
  const CString vat = Column(source, "PARTITAIVA");
  r.users.m_strSort = "ID";
  if (!AddOrEdit(r.users, StrFormat("(USERNAME = '%06ld')", std::atol(code.c_str()))))
    r.users.m_ID = r.ids.GetNewId("GET_ID_CC_USER");
  r.users.m_USERNAME = code;
  r.users.m_PASSWORD = vat.empty() ? Column(source, "CODICEFISCALE") : vat;
  r.users.m_TIPO = "AZI";
  r.users.m_IDREFERENCE = companyId;
  r.users.m_STATO = "A";
  r.users.Update();
}

// Only the first branch of the source company travels, onto the first branch of the destination.
void CTarvoExchangeClienti::CopyFirstBranch(CRecords& r, long sourceId, long companyId, const CString& who) {
  r.branchesOut.m_strFilter = StrFormat("IDAZIENDA = %ld", sourceId);
  r.branchesOut.m_strSort = "ID";
  OpenOrRequery(r.branchesOut);
  if (r.branchesOut.IsEOF()) return;
  const long zone = ResolvePostalZone(r.zones, r.ids, r.branchesOut);
  r.branchesIn.m_strSort = "ID";
  const bool found = AddOrEdit(r.branchesIn, StrFormat("IDAZIENDA = %ld", companyId));
  LogMatch(*this, found, " - Sede trovata per il cliente: " + who, " - Sede non trovata per il cliente: " + who,
           " - Inserimento nuova sede ...");
  if (!found) {
    r.branchesIn.m_ID = r.ids.GetNewId("GET_ID_SEDE");
    r.branchesIn.m_IDAZIENDA = companyId;
  }
  CopyBranchColumns(r.branchesOut, r.branchesIn, zone);
  r.branchesIn.Update();
  Log(kDone, TMS_NONE);
}

// The band and agent of the company; the price list is left to the destination (always NULL).
void CTarvoExchangeClienti::CopyDiscountAssignment(CRecords& r, long sourceId, long companyId) {
  r.discountsOut.m_strFilter = StrFormat("ID_AZIENDA = %ld", sourceId);
  OpenOrRequery(r.discountsOut);
  if (r.discountsOut.IsEOF()) return;
  if (!AddOrEdit(r.discountsIn, StrFormat("ID_AZIENDA = %ld", companyId))) r.discountsIn.m_ID_AZIENDA = companyId;
  CopyFields(r.discountsOut, r.discountsIn, {{1, 1}, {3, 1}});
  r.discountsIn.SetFieldNull(&r.discountsIn.m_ID_LISTINO);
  r.discountsIn.Update();
}
