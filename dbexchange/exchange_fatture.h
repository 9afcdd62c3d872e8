// The invoice exchange: sales invoices (causal 101) modified since their last transfer
// (F_MODIFICATO = 1) are copied with their lines from the out database (the source) into the in
// database (the destination). An invoice the destination already has (same NUMERO and ANNO) is
// rewritten in place, its lines replaced; a new one gets a new key. The copy is marked modified
// on the destination and the source is cleared, so each hop passes the invoice on once.
// CTarvoExportWebFatture (1009) publishes every changed invoice to the web database;
// CTarvoImportAgenteFatture (10) brings the current user's agent's invoices into the agent's
// database. Every invoice is its own pair of transactions.
//
// Created by the factory and owned by the host; Run executes once on the host's worker thread.
#pragma once

#include "dbexchange/exchange_documento.h"

class CTarvoExchangeFatture : public CTarvoExchangeDocumento {
 public:
  CTarvoExchangeFatture() = default;
  // 1 when the selection was worked through, 0 after a failed open, a stop request or a database
  // error (the invoice in progress is then rolled back on both databases).
  int Run() override;

 protected:
  CString m_strFiltroFatture = "_UNDEFINED_";
  CString m_strSelezione;  // the source selection of the last run
  int m_nDirezione = 0;    // 1 export, 0 import

 private:
  int TransferInvoice(CDocumentRecords& records);
};

class CTarvoExportWebFatture : public CTarvoExchangeFatture {
 public:
  CTarvoExportWebFatture();
};

class CTarvoImportAgenteFatture : public CTarvoExchangeFatture {
 public:
  CTarvoImportAgenteFatture();
};
