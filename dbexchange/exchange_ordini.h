// The order exchange between an agent's, the web and the company's database. Each selected order
// of the out database (the source) is copied with its lines as a new document of the in database
// (the destination), its customer found or created there first; then its state changes on both
// sides so that it leaves the selection. Every order is its own pair of transactions.
// CTarvoExportWebOrdini (1004) sends the orders the current user's agent entered (state 1) to
// the web database and marks them sent (2); CTarvoImportWebOrdini (4) takes the sent orders (2)
// into the company's database and marks them taken over (5, modified flag set on both sides).
//
// Created by the factory and owned by the host; Run executes once on the host's worker thread.
#pragma once

#include "dbexchange/exchange_documento.h"

class CTarvoExchangeOrdini : public CTarvoExchangeDocumento {
 public:
  CTarvoExchangeOrdini() = default;
  // 1 when the selection was worked through, 0 after a failed open, a stop request or a database
  // error (the order in progress is then rolled back on both databases; the ones logged stay).
  int Run() override;

 protected:
  long m_nStatoDestinazione = -1;  // ID_STATO_ORDINE of the new destination order
  long m_nStatoSorgente = -1;      // ID_STATO_ORDINE of the source order once copied
  CString m_strFiltroDestinazione = "_UNDEFINED_";
  CString m_strFiltroSelezione = "_UNDEFINED_";
  int m_nDirezione = 0;  // 1 export, 0 import; the import also sets the modified flag

 private:
  int TransferOrder(CDocumentRecords& records);
};

class CTarvoExportWebOrdini : public CTarvoExchangeOrdini {
 public:
  CTarvoExportWebOrdini();
};

class CTarvoImportWebOrdini : public CTarvoExchangeOrdini {
 public:
  CTarvoImportWebOrdini();
};
