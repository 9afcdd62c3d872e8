// The stock import: the current year's stock per article and warehouse is copied from the out
// database (the source) into the in database (the destination) for every warehouse of the
// current user's company, then the destination's company-wide totals are rewritten from its own
// per-article control totals. Articles the destination does not know are skipped. No
// transaction: every row takes effect as it is written, and the totals are rebuilt even after a
// stop request.
//
// Created by the factory (procedure 15) and owned by the host; Run executes once on the host's
// worker thread. The host may narrow the warehouses with the text given to SetOutRegWhere.
#pragma once

#include "framework/tarvo_import.h"
#include "platform/odbc.h"

class CTarvoImportGiacenze : public CTarvoImport {
 public:
  CTarvoImportGiacenze() = default;
  // 1 when every warehouse and the totals were worked through; 0 after a failed open, a stop
  // request or a database error.
  int Run() override;

 protected:
  // The local date and time; read once, when the run starts, for the year of every filter.
  virtual CDBTimestamp Today() const { return CDBTimestamp::Now(); }
};
