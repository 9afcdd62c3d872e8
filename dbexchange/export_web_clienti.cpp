#include "dbexchange/export_web_clienti.h"

#include "platform/records/azienda_set.h"

namespace {
const CCustomerScheme kExport = {
    "Avvio esportazione fasce sconto ...",
    "Esportazione fascie sconto terminata.",
    "Avvio esportazione formule di pagamento ...",
    "ID = %s",
    "Esportazione fascie sconto terminata.",  // the bands' line once more, as the web shop has always read it
    "Esportazione clienti termita con successo.",
    "Esportazione clienti fallita.",
    "ID",
    true,
};
}  // namespace

CTarvoExportWebClienti::CTarvoExportWebClienti() : CTarvoExchangeClienti(kExport) {}

std::unique_ptr<CRecordSetBase> CTarvoExportWebClienti::MakeSourceCompanies(CDatabase* out) const {
  return std::make_unique<CAziendaSet>(out);
}
