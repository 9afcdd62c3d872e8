// CTarvoExchangeDocumento: the common base of the document exchanges (orders, order states,
// invoices) between two databases of the company schema. Documents (DOCUMENTO) and their lines
// (VOCI_DOCUMENTO) are read from the out database (the source) and written into the in database
// (the destination), one document at a time, each in a pair of transactions (one per database)
// that is committed before the next document starts; the document's customer is resolved on the
// destination (dbexchange/customer_resolution.h).
//
// The base holds what every document exchange does alike: the run around the per-document step
// (opening the databases, the stop test, the final rollback and log lines), the copy of a
// header and of a line, and CheckUnitaMisura, which the partner invoice import shares.
// Created by the factory and owned by the host; Run executes once on the host's worker thread.
#pragma once

#include <functional>
#include <memory>

#include "dbexchange/customer_resolution.h"
#include "dbexchange/record_transfer.h"
#include "framework/tarvo_import.h"
#include "platform/records/documento_set.h"
#include "platform/records/voci_documento_set.h"

class CTarvoExchangeDocumento : public CTarvoImport {
 public:
  // Makes sure the unit of measure `code` exists on the in database: an empty code does nothing;
  // a code without a row (looked up with "ID = '%s'", the code as it is) gets one whose
  // identifier and description are both the code. Throws CDBException.
  void CheckUnitaMisura(CString code);

 protected:
  // The records of a document exchange: documents and lines on both databases, and the
  // customer resolution. The destination line record starts with "ID = -1".
  struct CDocumentRecords {
    CDocumentRecords(CTarvoImport& procedure, CDatabase* out, CDatabase* in);
    void Close();  // never throws
    CDocumentoSet source, target;
    CVociDocumentoSet sourceLines, targetLines;
    tarvo::exchange::CCustomerResolver customers;
    tarvo::exchange::CInsertQueue newLines{targetLines};  // lines added by CopyLines
  };

  // What differs between the runs of the document exchanges.
  struct CDocumentRun {
    const char* subject;      // "ordini", "fatture", "stato ordini": in "Avvio ..." and the final line
    int direction;            // 1 export, 0 import: the words of the log
    bool openInFirst;         // which database is opened (and, on failure, closed) first
    bool plainStopLine;       // after the stop line, the same words without the full stop (plain)
    const char* errorPrefix;  // put before a database error's text
    CString sourceFilter;     // selects the source documents
    CString targetFilter;     // the destination document record's first filter
  };

  // The run of a document exchange: opens the two databases, creates the records, logs "Avvio
  // <word> <subject>...", then until the source documents (opened inside the first out
  // transaction) reach their end: tests the stop event, begins a transaction on the out database
  // and calls `transfer` for the current source document, which begins the in transaction,
  // copies, commits both and moves the source on. A database error ends the loop; a stop or an
  // error rolls back what is still open on both databases. Logs "<Word> <subject> termita con
  // successo." or "... fallita.", destroys the records, closes the databases (out first),
  // notifies the host and returns 1 or 0. `transfer` receives the result flag as it stands and
  // returns the one the loop carries on with (normally 1).
  using CTransfer = std::function<int(CDocumentRecords& records, int flag)>;
  int RunDocuments(const CDocumentRun& run, const CTransfer& transfer);

  // Copies every header column but ID from the source's current row into `target` (a row being
  // added or edited), null state included.
  static void CopyHeader(const CDocumentoSet& source, CDocumentoSet& target);
  // Writes the source's current document over its counterpart on the destination, the document
  // `filter` finds there (kept under its ID), or as a new one keyed by GET_ID_DOCUMENTO; the copy
  // gets `customer` and the modified flag. Returns the destination document's ID.
  static long WriteCounterpart(CDocumentRecords& records, const CString& filter, long customer);
  // Adds to `target` a copy of the source's current line (null state included) belonging to
  // `documentId`; its ID is left to the destination unless the caller sets it before Update.
  static void AddLineCopy(const CVociDocumentoSet& source, CVociDocumentoSet& target, long documentId);
  // Adds to the destination a copy of every line of the source document `sourceId` (in its line
  // order) belonging to `documentId`, as AddLineCopy makes it and `adjust` (if given) finishes it;
  // the line IDs are left to the destination. The lines are written in batches, all of them
  // before CopyLines returns, and the error of a refused line is its own.
  static void CopyLines(CDocumentRecords& records, long sourceId, long documentId,
                        const std::function<void()>& adjust = {});
  // Opens `lines` on the lines of document `documentId` ("ID_DOCUMENTO = %ld").
  static void OpenLines(CVociDocumentoSet& lines, long documentId);
  // Commits the in database's transaction and then the out database's; true when both ended
  // well. A database without an open transaction has nothing to commit and counts as done.
  bool CommitBoth(bool inFirst);
};
