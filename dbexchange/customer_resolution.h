// Customers between two databases of the company schema: a customer (a company of AZIENDA with
// its branches in SEDE and their postal zones in ZONA_POSTALE) is known on each database under
// its own key; across databases it is the same customer when its VAT number or its tax code
// matches. New keys come from the destination's identifier procedures (GET_ID_AZIENDA,
// GET_ID_SEDE, GET_ID_ZONA_POSTALE).
//
// Two layers:
// - free functions for the single steps (find a company by tax identifier, copy the company
//   columns that travel between databases, find or add a postal zone), for procedures whose
//   rules differ (customer export and import, partner customer and invoice imports);
// - CCustomerResolver, the resolution of the document exchanges (orders, invoices, order
//   states): find the document's customer on the destination, else copy it there from the
//   source with all its branches and zones.
//
// Nothing here commits or rolls back: the caller runs these steps inside the destination
// transaction of the unit it is copying, begun with BeginWriteTransaction. Database failures propagate as
// CDBException (a value a column cannot take as tarvo::CException); nothing is caught here.
// Use from the procedure's worker thread only.
#pragma once

#include <memory>

#include "framework/tarvo_import.h"
#include "platform/records/azienda_set.h"
#include "platform/records/procedure_id.h"
#include "platform/records/sede_completa_set.h"
#include "platform/records/sede_set.h"
#include "platform/records/zona_postale_completa_set.h"

namespace tarvo::exchange {

// Begins a transaction on `db` in which the caller will search and then write (a customer looked
// up, then created). On SQLite it takes the database's write lock at once: a search made first
// would otherwise hold a snapshot that another process's commit makes stale, and the later write
// would fail as "database is locked" instead of waiting its turn. A transaction already open is
// kept. Throws CDBException.
void BeginWriteTransaction(CDatabase& db);

// "(PARTITAIVA = '%s') OR (CODICEFISCALE = '%s')" with the quotes of both values doubled.
CString CompanyTaxFilter(const CString& vatNumber, const CString& taxCode);

// Positions `companies` on the first company whose PARTITAIVA equals `vatNumber` or whose
// CODICEFISCALE equals `taxCode` (requery when open, open otherwise). True when one was found;
// the record is then on it, ready for Edit. Callers that compare normalised values (upper case)
// pass the normalised texts.
bool FindCompany(CAziendaSet& companies, const CString& vatNumber, const CString& taxCode);

// Copies into `target` (a company being added or edited) the company columns that travel
// between databases, by name, values and null state as read: RAGIONESOCIALE, RAGIONESOCIALE2,
// PARTITAIVA, CODICEFISCALE, CODICE_CLIENTE and the five text columns after it, FIDO, SCONTO_1,
// SCONTO_2, LISTINO and ID_FORMULA_PAGAMENTO; with `withCustomerFlag` also F_CLIENTE (the
// customer export and import). Columns `source` does not have (a view of fewer columns, such as
// AZIENDA_AGENTE) are left alone. The key, EMAIL, SITO_WEB, NOTE, F_FORNITORE, the dates and
// ID_BANCA are never written.
void CopyCompanyColumns(const CRecordSetBase& source, CAziendaSet& target, bool withCustomerFlag = false);

// The postal data a new zone receives.
struct CPostalZoneData {
  CString cap;
  CString name;  // NOMEZONAPOSTALE
  CString province;
  CString istatCode;
  CString cadastralCode;
};

// How a zone is searched: by postal code and place name together, or (the partner invoices) by
// the ones given: an empty postal code or name is left out ("(CAP = '%s')" alone ...), and only
// when both are empty are both compared.
enum class EZoneMatch { kBoth, kGiven };

// The ID of the zone with this postal code and place name ("(CAP = '%s') AND (NOMEZONAPOSTALE =
// '%s')", quotes doubled), or -1 when there is none.
long FindPostalZone(CZonaPostaleCompletaSet& zones, const CString& cap, const CString& name,
                    EZoneMatch match = EZoneMatch::kBoth);

// Adds a zone keyed by a new GET_ID_ZONA_POSTALE number (stored as decimal text), with the
// values as given (quotes not doubled); returns the new key.
long AddPostalZone(CZonaPostaleCompletaSet& zones, CProcedureId& ids, const CPostalZoneData& zone);

// The zone of a source branch (its CAP and place name) on the destination, added from the
// branch's postal data when missing.
long ResolvePostalZone(CZonaPostaleCompletaSet& zones, CProcedureId& ids, const CSedeCompletaSet& branch);

// The branch of `companyId` in zone `zoneId` ("( IDAZIENDA = %ld ) AND ( IDZONAPOSTALE = %ld ) "),
// added under a new GET_ID_SEDE key as the main branch when missing, gets `address`. True when
// it existed. The partner imports place a customer's branch so.
bool WriteZoneBranch(CSedeSet& branches, CProcedureId& ids, long companyId, long zoneId, const CString& address);

// Writes a source branch's DESCRIZIONE, INDIRIZZO and F_SEDE_PRINCIPALE and the zone into
// `target` (a branch being added or edited).
void CopyBranchColumns(const CSedeCompletaSet& branch, CSedeSet& target, long zoneId);

// The customer resolution of the document exchanges, over the out database (`source`) and the
// in database (`destination`) of one procedure. Holds its own record sets on both databases
// (not the databases, which must outlive it) and the run's current customer.
class CCustomerResolver {
 public:
  // `procedure` receives the two log lines of a customer creation.
  CCustomerResolver(CTarvoImport& procedure, CDatabase* source, CDatabase* destination);
  ~CCustomerResolver();
  CCustomerResolver(const CCustomerResolver&) = delete;
  CCustomerResolver& operator=(const CCustomerResolver&) = delete;

  // The destination customer of a source document whose tax identifier (VAT number or tax code)
  // is `taxId` and whose customer on the source is `sourceCustomerId`:
  // - the destination company with that tax identifier, when there is one;
  // - otherwise a copy of the source company, created with its branches and their zones,
  //   between the log lines " - Cliente non trovato. Inserimento nuovo cliente..." and
  //   " - Inserimento nuovo cliente effettuato con successo.";
  // - when the source company does not exist either, nothing is created and the result is the
  //   current customer unchanged: the previous document's customer, or -1 after Reset.
  // The result becomes the current customer.
  long Resolve(const CString& taxId, long sourceCustomerId);
  long Current() const { return current_; }
  void Reset() { current_ = -1; }

  // Copies the source company `company` (its current row) to the destination under a new
  // GET_ID_AZIENDA key, with every branch of the source (GET_ID_SEDE keys) and the zones they
  // need; returns the new key. Logs nothing.
  long CopyNewCustomer(const CAziendaSet& company);
  // Adds a destination branch of `companyId` copied from `branch`, resolving its zone; returns
  // the new GET_ID_SEDE key.
  long AddBranch(long companyId, const CSedeCompletaSet& branch);

  // The destination records and identifiers, for callers that add steps of their own.
  CAziendaSet& DestinationCompanies() { return *destCompanies_; }
  CSedeSet& DestinationBranches() { return *destBranches_; }
  CZonaPostaleCompletaSet& DestinationZones() { return *destZones_; }
  CProcedureId& DestinationIds() { return ids_; }

  // Closes every record set (they reopen when used again). Never throws.
  void Close();

 private:
  CTarvoImport& procedure_;
  std::unique_ptr<CAziendaSet> sourceCompany_;
  std::unique_ptr<CSedeCompletaSet> sourceBranches_;
  std::unique_ptr<CAziendaSet> destCompanies_;
  std::unique_ptr<CSedeSet> destBranches_;
  std::unique_ptr<CZonaPostaleCompletaSet> destZones_;
  CProcedureId ids_;
  long current_ = -1;
};

}  // namespace tarvo::exchange
