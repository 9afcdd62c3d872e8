#include "dbexchange/customer_resolution.h"

#include <cstdlib>

#include "dbexchange/record_transfer.h"

namespace tarvo::exchange {

namespace {

// The company columns that travel between databases, in binding order.
const char* const kCompanyColumns[] = {
    "RAGIONESOCIALE", "RAGIONESOCIALE2", "PARTITAIVA", "CODICEFISCALE",  // name and tax identifiers
    "CODICE_CLIENTE", "CODICE_FORNITORE", "PEC", "CODICE_DESTINATARIO", "IBAN", "RIFERIMENTO",
    "FIDO", "SCONTO_1", "SCONTO_2",  // the numeric block, raw values
    "LISTINO", "ID_FORMULA_PAGAMENTO",
};

void OpenOrRequery(CRecordSetBase& record) {
  if (record.IsOpen()) record.Requery();
  else record.Open();
}

}  // namespace

void BeginWriteTransaction(CDatabase& db) {
  db.BeginTrans();
  // An UPDATE takes the write lock when it starts, even when it changes no row.
  if (db.GetDialect() == EDialect::kSQLite) db.ExecuteSQL("UPDATE ID_GENERATORE SET ULTIMO = ULTIMO WHERE NOME = ''");
}

CString CompanyTaxFilter(const CString& vatNumber, const CString& taxCode) {
  return StrFormat("(PARTITAIVA = '%s') OR (CODICEFISCALE = '%s')", DoubleQuotes(vatNumber).c_str(),
                   DoubleQuotes(taxCode).c_str());
}

bool FindCompany(CAziendaSet& companies, const CString& vatNumber, const CString& taxCode) {
  companies.m_strFilter = CompanyTaxFilter(vatNumber, taxCode);
  OpenOrRequery(companies);
  return !companies.IsEOF();
}

void CopyCompanyColumns(const CRecordSetBase& source, CAziendaSet& target, bool withCustomerFlag) {
  auto copy = [&](const char* name) {
    int from = source.FindField(name);
    if (from >= 0) target.SetFieldValue(target.FindField(name), source.GetFieldValue(from));
  };
  for (const char* name : kCompanyColumns) copy(name);
  if (withCustomerFlag) copy("F_CLIENTE");
}

long FindPostalZone(CZonaPostaleCompletaSet& zones, const CString& cap, const CString& name, EZoneMatch match) {
  const CString byCap = "(CAP = '" + DoubleQuotes(cap) + "')";
  const CString byName = "(NOMEZONAPOSTALE = '" + DoubleQuotes(name) + "')";
  if (match == EZoneMatch::kGiven && (cap.empty() != name.empty())) zones.m_strFilter = cap.empty() ? byName : byCap;
  else zones.m_strFilter = byCap + " AND " + byName;
  OpenOrRequery(zones);
  return zones.IsEOF() ? -1 : std::atol(zones.m_ID.c_str());
}

long AddPostalZone(CZonaPostaleCompletaSet& zones, CProcedureId& ids, const CPostalZoneData& zone) {
  const long id = ids.GetNewId("GET_ID_ZONA_POSTALE");
  zones.AddNew();
  zones.m_ID = StrFormat("%ld", id);
  zones.m_CAP = zone.cap;
  zones.m_NOMEZONAPOSTALE = zone.name;
  zones.m_SIGLAPROVINCIA = zone.province;
  zones.m_CODICEISTAT = zone.istatCode;
  zones.m_CODICECATASTALE = zone.cadastralCode;
  zones.Update();
  return id;
}

long ResolvePostalZone(CZonaPostaleCompletaSet& zones, CProcedureId& ids, const CSedeCompletaSet& branch) {
  long id = FindPostalZone(zones, branch.m_CAP, branch.m_NOMEZONAPOSTALE);
  if (id != -1) return id;
  return AddPostalZone(zones, ids,
                       {branch.m_CAP, branch.m_NOMEZONAPOSTALE, branch.m_SIGLAPROVINCIA, branch.m_CODICEISTAT,
                        branch.m_CODICECATASTALE});
}

bool WriteZoneBranch(CSedeSet& branches, CProcedureId& ids, long companyId, long zoneId, const CString& address) {
  const bool found =
      AddOrEdit(branches, StrFormat("( IDAZIENDA = %ld ) AND ( IDZONAPOSTALE = %ld ) ", companyId, zoneId));
  if (!found) {
    const long id = ids.GetNewId("GET_ID_SEDE");
    branches.m_ID = id;
    branches.m_F_SEDE_PRINCIPALE = 1;
    branches.m_IDAZIENDA = companyId;
  }
  branches.m_INDIRIZZO = address;
  branches.m_IDZONAPOSTALE = zoneId;
  branches.Update();
  return found;
}

void CopyBranchColumns(const CSedeCompletaSet& branch, CSedeSet& target, long zoneId) {
  for (const char* name : {"DESCRIZIONE", "INDIRIZZO", "F_SEDE_PRINCIPALE"})
    target.SetFieldValue(target.FindField(name), branch.GetFieldValue(branch.FindField(name)));
  target.m_IDZONAPOSTALE = zoneId;
}

CCustomerResolver::CCustomerResolver(CTarvoImport& procedure, CDatabase* source, CDatabase* destination)
    : procedure_(procedure),
      sourceCompany_(std::make_unique<CAziendaSet>(source)),
      sourceBranches_(std::make_unique<CSedeCompletaSet>(source)),
      destCompanies_(std::make_unique<CAziendaSet>(destination)),
      destBranches_(std::make_unique<CSedeSet>(destination)),
      destZones_(std::make_unique<CZonaPostaleCompletaSet>(destination)),
      ids_(destination) {
  destCompanies_->m_strFilter = "ID = -1";
  destBranches_->m_strFilter = "ID = -1";
  destZones_->m_strFilter = "ID = -1";
}

CCustomerResolver::~CCustomerResolver() { Close(); }

void CCustomerResolver::Close() {
  for (CRecordSetBase* r : std::initializer_list<CRecordSetBase*>{
           sourceCompany_.get(), sourceBranches_.get(), destCompanies_.get(), destBranches_.get(), destZones_.get()})
    r->Close();
  ids_.Close();
}

long CCustomerResolver::Resolve(const CString& taxId, long sourceCustomerId) {
  if (FindCompany(*destCompanies_, taxId, taxId)) return current_ = destCompanies_->m_ID;
  sourceCompany_->m_strFilter = StrFormat("ID = %ld", sourceCustomerId);
  OpenOrRequery(*sourceCompany_);
  if (sourceCompany_->IsEOF()) return current_;
  procedure_.Log(" - Cliente non trovato. Inserimento nuovo cliente...", TMS_NONE);
  current_ = CopyNewCustomer(*sourceCompany_);
  procedure_.Log(" - Inserimento nuovo cliente effettuato con successo.", TMS_NONE);
  sourceCompany_->Close();
  return current_;
}

long CCustomerResolver::CopyNewCustomer(const CAziendaSet& company) {
  const long id = ids_.GetNewId("GET_ID_AZIENDA");
  destCompanies_->AddNew();
  destCompanies_->m_ID = id;
  CopyCompanyColumns(company, *destCompanies_);
  destCompanies_->Update();

  sourceBranches_->m_strFilter = StrFormat("IDAZIENDA = %ld", company.m_ID);
  sourceBranches_->m_strSort = "ID";
  for (OpenOrRequery(*sourceBranches_); !sourceBranches_->IsEOF(); sourceBranches_->MoveNext())
    AddBranch(id, *sourceBranches_);
  sourceBranches_->Close();
  return id;
}

long CCustomerResolver::AddBranch(long companyId, const CSedeCompletaSet& branch) {
  const long zone = ResolvePostalZone(*destZones_, ids_, branch);
  const long id = ids_.GetNewId("GET_ID_SEDE");
  destBranches_->AddNew();
  destBranches_->m_ID = id;
  destBranches_->m_IDAZIENDA = companyId;
  CopyBranchColumns(branch, *destBranches_, zone);
  destBranches_->Update();
  return id;
}

}  // namespace tarvo::exchange
