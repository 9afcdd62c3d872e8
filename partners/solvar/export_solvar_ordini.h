// CTarvoExportSolvarOrdini (procedure 1007): hands the confirmed customer orders of the out
// database (an invoicing customer, order state 5) to Solvar, one ".ord" file each in OutDir
// ("%02ld%06ld.ord": the order's agent, 00 without one, and its number; see solvar_files.h for
// the records). An order moves to state 6 in its own transaction once its file is complete;
// an order that failed stays in state 5 and goes with the next run.
//
// Created by the factory and owned by the host; Run executes once on the worker thread and polls
// the stop event once per order.
#pragma once

#include "framework/tarvo_import.h"

class CDocumentoSet;

class CTarvoExportSolvarOrdini : public CTarvoImport {
 public:
  CTarvoExportSolvarOrdini() = default;
  // 1 when the orders were gone through to the end (single orders may have failed), 0 after a
  // stop, a No answer, a database error outside an order or when the out database cannot be
  // opened.
  int Run() override;

 protected:
  // The header record of the order `order` stands on, CR LF included; "" after logging a
  // database error.
  CString CreaIntestazioneOrdine(CDocumentoSet* order);

 private:
  enum class EOrderEnd { kDone, kNext, kRetry, kAbort };
  // One order in the transaction the caller began: its file, then its state. kRetry asks for the
  // same order again (its header could not be made or written).
  EOrderEnd ExportOrdine(CDocumentoSet& order);
  // The Yes/No question after a failed order (`text`); kAbort after a No, else `onYes`. Without
  // questions `batchLine` is logged and the run goes on with `onBatch`.
  EOrderEnd AskNextOrder(const CString& text, const char* batchLine, EOrderEnd onYes, EOrderEnd onBatch);
};
