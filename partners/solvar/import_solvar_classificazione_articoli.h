// CTarvoImportSolvarClassificazioneArticoli (no number: the host runs it by class name) loads the
// partner's classification into empty tables of the in database: settori.txt, famiglie.txt and
// gruppi.txt of the input folder in their three-character-code variant (CodeDescription3Layout),
// every line inserted as a new category, family or group, in one transaction.
//
// A database error (a code that already exists, also the empty code of a second empty line) is
// not handled here: it leaves Run as CDBException with the transaction open, and the caller ends
// it (the host reports a failed run and closes the database, which rolls the transaction back).
// Created and owned by the host; Run executes once on its worker thread and is not stoppable.
#pragma once

#include "framework/tarvo_import.h"

namespace tarvo::solvar {
struct CClassificationFile;
}
class CRecordSetBase;

class CTarvoImportSolvarClassificazioneArticoli : public CTarvoImport {
 public:
  // 1 after the commit, 0 after a rollback (a file could not be read), -1 when the in database
  // could not be opened. Throws CDBException (see above).
  int Run() override;

 protected:
  // One file each: non-zero when it was read to its end. Throw CDBException.
  int GetCategorieFromFile();
  int GetFamiglieFromFile();
  int GetGruppiFromFile();

 private:
  int InsertCodes(const tarvo::solvar::CClassificationFile& file, CRecordSetBase& set);
};
