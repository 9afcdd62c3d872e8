// CTarvoExportWebClienti (1003): publishes the company's customers to the web database, with
// their discount bands, payment terms, first branch, discount assignment and web user
// (CTarvoExchangeClienti). Created by the factory and owned by the host.
#pragma once

#include "dbexchange/exchange_clienti.h"

class CTarvoExportWebClienti : public CTarvoExchangeClienti {
 public:
  CTarvoExportWebClienti();

 protected:
  std::unique_ptr<CRecordSetBase> MakeSourceCompanies(CDatabase* out) const override;  // every company
};
