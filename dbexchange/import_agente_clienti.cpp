#include "dbexchange/import_agente_clienti.h"

#include "platform/records/azienda_agente_set.h"
#include "platform/settings.h"

namespace {
const CCustomerScheme kImport = {
    "Avvio importazione fasce sconto ...",
    "Importazione fascie sconto terminata.",
    "Avvio importazione formule di pagamento ...",
    "ID = '%s'",
    "Importazione formule di pagamento terminata.",
    "Importazione clienti termita con successo.",
    "Importazione clienti fallita.",
    "IDAZIENDA",
    false,
};
}  // namespace

CTarvoImportAgenteClienti::CTarvoImportAgenteClienti() : CTarvoExchangeClienti(kImport) {}

std::unique_ptr<CRecordSetBase> CTarvoImportAgenteClienti::MakeSourceCompanies(CDatabase* out) const {
  auto companies = std::make_unique<CAziendaAgenteSet>(out);
  companies->m_strFilter = tarvo::StrFormat("AGENTE_ID = %ld", CUserAdministrator::GetIDREFERENCE());
  companies->m_strSort = "RAGIONESOCIALE";
  return companies;
}
