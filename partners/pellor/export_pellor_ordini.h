// CTarvoExportPellorOrdini (procedure 1012): hands the confirmed customer orders of the out
// database (an invoice customer, order state 5) to Pellor as fixed-width ".ord" files, one per
// order ("%02d%06.6ld.ord", that is the user's agent and the order number) in OutDir: a header record with
// customer, contacts, payment and delivery data, then one record per article row. Each order is
// moved to state 6 in its own transaction once its file is complete; the file of an order that
// went through is then removed again (the partner's pick-up works from the state change).
//
// Created by the factory and owned by the host; Run executes once on the worker thread and polls
// the stop event per order.
#pragma once

#include "framework/tarvo_import.h"

class CDocumentoSet;
class CVociDocumentoSet;

class CTarvoExportPellorOrdini : public CTarvoImport {
 public:
  CTarvoExportPellorOrdini();
  // 1 when every order was processed, 0 on failure or stop.
  int Run() override;
  // The header record of `order` with its CR LF; "" after logging a database error.
  CString CreaIntestazioneOrdine(const CDocumentoSet& order);
  // The record of the current article row, with its CR LF.
  static CString CreaRigaOrdine(const CVociDocumentoSet& row);

 private:
  enum class EOrderEnd { kDone, kNext, kAbort };
  EOrderEnd ExportOrdine(CDocumentoSet& order);
  // The question whether to go on with the next order (`prefix` before it), or without questions
  // `batchLine` logged; kAbort when the user said No.
  EOrderEnd AskNextOrder(const CString& prefix, const char* batchLine);
  // The file error of steps that may go on with the next order; kAbort when the user said No.
  EOrderEnd FileError(const CString& message, const CString& failureLine);

  long m_lIdSocieta;
  long m_lIdReference;
};
