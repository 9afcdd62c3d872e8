// The order status exchange: customer orders (causal 15) modified since their last transfer
// (F_MODIFICATO = 1) are written over their counterpart on the in database (the destination),
// found by series, number and year, together with all their lines; an order the destination
// does not know yet is added. The copy is marked modified, the source cleared.
// CTarvoExportWebStatoOrdini (1006) sends the company's changed orders, except those in state 5,
// to the web database; CTarvoImportWebStatoOrdini (9) brings the current user's agent's changed
// orders, except those in state 2, into the agent's database.
//
// Each order's two transactions are committed by the copy of its first line (in, then out), and
// the source order is cleared there; the later lines of the order are written one by one
// without a transaction. An order without lines therefore stays modified on the source and its
// header change rides with the next order's commits.
//
// Created by the factory and owned by the host; Run executes once on the host's worker thread.
#pragma once

#include "dbexchange/exchange_documento.h"

class CTarvoExchangeStatoOrdini : public CTarvoExchangeDocumento {
 public:
  CTarvoExchangeStatoOrdini() = default;
  // 1 when the selection was worked through, 0 after a failed open, a stop request or a database
  // error (both databases are then rolled back).
  int Run() override;

 protected:
  CString m_strFiltroOrdini = "_UNDEFINED_";
  long m_nStatoEscluso = -1;  // the state the filter leaves out
  int m_nDirezione = 0;       // 1 export, 0 import

 private:
  int TransferOrderState(CDocumentRecords& records, int flag);
};

class CTarvoExportWebStatoOrdini : public CTarvoExchangeStatoOrdini {
 public:
  CTarvoExportWebStatoOrdini();
};

class CTarvoImportWebStatoOrdini : public CTarvoExchangeStatoOrdini {
 public:
  CTarvoImportWebStatoOrdini();
};
