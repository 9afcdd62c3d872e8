// CTarvoImportAgenteClienti (14): brings into an agent's database the discount bands, the payment
// terms and the companies assigned to the current user's agent, each with its first branch and
// its discount assignment (CTarvoExchangeClienti). Created by the factory and owned by the host.
#pragma once

#include "dbexchange/exchange_clienti.h"

class CTarvoImportAgenteClienti : public CTarvoExchangeClienti {
 public:
  CTarvoImportAgenteClienti();

 protected:
  // The agent's companies (AZIENDA_AGENTE) in name order, so that of two with one tax code the
  // later name wins.
  std::unique_ptr<CRecordSetBase> MakeSourceCompanies(CDatabase* out) const override;
};
