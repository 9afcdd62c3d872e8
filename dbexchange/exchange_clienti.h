// The customer master data exchange between two databases of the company schema, in three
// stages and one transaction on each side: the discount bands, the payment terms, then the
// companies with their first branch, their discount assignment and (for the web shop) their web
// user. Rows are read from the out database (the source) and written into the in database (the
// destination); companies are matched on either tax code, created with new GET_ID_* keys when
// missing; every found/not-found decision is logged. A failed run leaves the destination as it
// was.
//
// CTarvoExportWebClienti (1003) publishes every company of the company database to the web
// database; CTarvoImportAgenteClienti (14) brings the companies of the current user's agent from
// the web database into the agent's. They differ in a few words of the log, in the source of the
// companies and in the web users, which only the export writes (CCustomerScheme).
//
// Created by the factory and owned by the host; Run executes once on the host's worker thread.
#pragma once

#include <memory>

#include "framework/tarvo_import.h"
#include "platform/records/record_set.h"

// What sets one customer exchange apart from the other.
struct CCustomerScheme {
  const char* bandStart;   // first line of the discount bands
  const char* bandEnd;     // last line of the discount bands
  const char* termStart;   // first line of the payment terms
  const char* termFilter;  // destination search of a term, "%s" the identifier as decimal text
  const char* termEnd;     // last line of the payment terms
  const char* success;     // last line of a committed run
  const char* failure;     // last line of a rolled-back run
  const char* companyId;   // column of the source companies holding the company's ID
  bool webUsers;           // whether each company gets its web user
};

class CTarvoExchangeClienti : public CTarvoImport {
 public:
  // 1 when all three stages ran and both transactions were committed; 0 after a stop request or
  // a database error (both sides rolled back); -1 when a database could not be opened. The host
  // is not notified when the destination cannot be opened.
  int Run() override;

 protected:
  explicit CTarvoExchangeClienti(const CCustomerScheme& scheme) : m_scheme(scheme) {}
  // The source companies of the customer stage on `out`, with their filter and sort, not open.
  virtual std::unique_ptr<CRecordSetBase> MakeSourceCompanies(CDatabase* out) const = 0;

 private:
  struct CRecords;
  // A stage of rows keyed by their first column (bands, terms), sorted by "ID".
  struct CKeyedRows {
    const char* filter;   // destination search, "%s" the key as text
    CString found;        // line of a key found, followed by the key
    CString missing;      // line of a key not found, followed by the key
    const char* adding;   // second line of a key not found
    int columns;          // leading columns copied
  };
  // Copies the source rows into the destination, each searched, logged, added or edited and
  // written. False when a stop request ended the stage.
  bool CopyKeyedRows(CRecordSetBase& source, CRecordSetBase& target, const CKeyedRows& rows);
  bool CopyBands(CRecords& r);
  bool CopyTerms(CRecords& r);
  bool CopyCompanies(CRecords& r);
  void CopyWebUser(CRecords& r, long companyId);
  void CopyFirstBranch(CRecords& r, long sourceId, long companyId, const CString& who);
  void CopyDiscountAssignment(CRecords& r, long sourceId, long companyId);

  const CCustomerScheme& m_scheme;
};
