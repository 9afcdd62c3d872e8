// CTarvoImportSolvarStatoOrdini (procedure 6) loads the orders Solvar sends back: one ".tra" file
// per order in the input folder, named like the order files the company sends ("%02ld%06ld":
// agent and order number), in their record layout with the partner's status letter
// (solvar_document_files.h). For each file it finds or creates the customer, finds the order (by
// series "Z" for agent 5, by agent otherwise) or creates it in series "Z", sets the order state
// of the status letter, replaces all of the order's lines, lets the database recompute the
// totals and renames the file to ".tr0" (".tr1" ... when taken). Each file is its own
// transaction on the in database.
//
// Created by the factory and owned by the host; Run executes once on the host's worker thread,
// tests the stop event between files, and asks whether to go on after a file that failed.
#pragma once

#include <memory>

#include "framework/tarvo_import.h"
#include "partners/solvar/solvar_import.h"

class CTarvoImportSolvarStatoOrdini : public CTarvoImport {
 public:
  CTarvoImportSolvarStatoOrdini();
  ~CTarvoImportSolvarStatoOrdini() override;
  // 1 when no file failed and the run was not stopped; 0 otherwise, and when the in database
  // cannot be opened.
  int Run() override;

 protected:
  long m_lIdCausale;  // the document type of every order looked up or created: 15

 private:
  struct CRecordSets;
  tarvo::solvar::CDocumentOutcome ImportStatoOrdine(const CString& title, const tarvo::partner::CFixedWidthLine& header,
                                                    tarvo::partner::CFixedWidthReader& lines);
  // The customer of the header, found or created with its zone and branch; its key.
  long ImportCliente(const tarvo::solvar::CDocumentCustomer& customer, const CString& customerCode);
  // The order header; returns the document's key.
  long ImportTestata(const CString& title, const tarvo::partner::CFixedWidthLine& header, long customer);
  // Replaces the order's lines with those of the file; `article` follows the line being written.
  void ImportVoci(long document, tarvo::partner::CFixedWidthReader& lines, CString& article);
  // Rolls the file's transaction back after `lines` were logged; the failure to report.
  tarvo::solvar::CDocumentOutcome Fail(std::initializer_list<CString> lines, const CString& error);
  std::unique_ptr<CRecordSets> m_pSets;  // during Run
};
