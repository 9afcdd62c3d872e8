// CTarvoImportSolvarAzienda (procedure 3) loads Solvar's customer master from the input folder
// into the in database: the discount classes (sconti.txt) and payment terms (pagam.txt) first,
// then each customer of clienti.txt with its main branch and postal zone, its commercial terms
// (discount class, agent) and its web-shop user. Customers are found by VAT number or tax code
// (customer_resolution.h). Inconsistent customers are skipped with their line; any database error
// or a stop rolls the whole import back: everything runs in one transaction.
//
// Created by the factory and owned by the host; Run executes once on the host's worker thread,
// polls the stop event once per line of each file, and may ask one question (a stop while the
// discount classes are read).
#pragma once

#include <functional>

#include "framework/tarvo_import.h"
#include "partners/solvar/solvar_import.h"

class CTarvoImportSolvarAzienda : public CTarvoImport {
 public:
  // 1 when the import was committed; 0 when it was rolled back or clienti.txt cannot be opened;
  // -1 when the in database cannot be opened.
  int Run() override;

 protected:
  // Discount classes: 0 when the file cannot be read or the user confirms a stop, else 1 (a
  // database error ends the reading but still gives 1).
  int GetScontiFromFile();
  // Payment terms: 0 when the file cannot be read, else 1 (also after a stop or a database error).
  int GetFormulaPagamentoFile();

 private:
  struct CRecordSets;
  // Reads sconti.txt or pagam.txt: a stop ends the reading, each line is trimmed, empty ones are
  // skipped, and a line `store` refuses (false) is logged as ignored.
  tarvo::solvar::EReadResult ReadTermsFile(const char* name, const tarvo::solvar::CReadStepWords& words,
                                           const std::function<bool(const tarvo::partner::CFixedWidthLine&)>& store);
  // One customer line. Throws CDBException (tarvo::CException for a value a column cannot take).
  void ImportCliente(const tarvo::partner::CFixedWidthLine& line, CRecordSets& sets);
  CRecordSets* m_pSets = nullptr;  // during Run
  bool m_bInserimento = false;     // set by the first customer inserted, never cleared
};
