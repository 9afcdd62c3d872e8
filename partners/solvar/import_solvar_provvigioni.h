// CTarvoImportSolvarProvvigioni (procedure 13) records the agents' commissions of Solvar's
// provv.txt (input folder) as entries of the due-date schedule of the in database, one per
// invoice, found again by their description "PROVVIGIONE FATTURA n° <number> DEL <year>": loading
// a file twice updates the same entries. Lines of an unknown agent or customer are skipped with
// their log line; any database or file error rolls the whole run back.
//
// Created by the factory and owned by the host; Run executes once on the host's worker thread
// and cannot be stopped between lines.
#pragma once

#include "framework/tarvo_import.h"

namespace tarvo::partner {
class CFixedWidthLine;
}

class CTarvoImportSolvarProvvigioni : public CTarvoImport {
 public:
  // 1 after the commit, 0 after a rollback, -1 when the in database could not be opened.
  int Run() override;

 private:
  struct CRecordSets;
  // One line of provv.txt. Throws CDBException (tarvo::CException for an amount that is no
  // number).
  void ImportProvvigione(const tarvo::partner::CFixedWidthLine& line, CRecordSets& sets);
};
