// CTarvoImportSolvarFatture (procedure 12) loads the invoices Solvar issued on the company's
// behalf: one ".FAT" file per invoice in the input folder (solvar_document_files.h). For each file
// it finds the customer by VAT number or tax code, or creates it with its postal zone and branch,
// writes the invoice header (found again by number and year, so a file loaded again updates it),
// replaces all of the invoice's lines, lets the database recompute the totals and renames the
// file to ".FA0" (".FA1" ... when taken). Each file is its own transaction on the in database.
//
// Created by the factory and owned by the host; Run executes once on the host's worker thread,
// tests the stop event between files, and asks whether to go on after a file that cannot be
// read.
#pragma once

#include <memory>

#include "dbexchange/exchange_documento.h"
#include "partners/solvar/solvar_import.h"

class CTarvoImportSolvarFatture : public CTarvoExchangeDocumento {
 public:
  CTarvoImportSolvarFatture();
  ~CTarvoImportSolvarFatture() override;
  // 1 when the last file processed was loaded (or there was none), 0 after a failure of the last
  // file, a stop, or when the in database cannot be opened.
  int Run() override;

 private:
  struct CRecordSets;
  // One invoice file; database errors are logged here ("ERRORE database: ...") and rolled back.
  tarvo::solvar::CDocumentOutcome ImportFattura(const tarvo::partner::CFixedWidthLine& header,
                                                tarvo::partner::CFixedWidthReader& lines);
  // The customer of the header, found or created with its branch; its key.
  long ImportCliente(const tarvo::solvar::CDocumentCustomer& customer, const CString& customerCode);
  std::unique_ptr<CRecordSets> m_pSets;  // during Run
  int m_nPrecisionePrezzi = 0;
  int m_nPrecisioneTotali = 0;
};
