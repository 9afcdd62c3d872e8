// CTarvoImportSolvarArticoli (procedure 2) and its two variants load the Solvar article master
// files (the files of the article master export, see solvar_files.h) from the input folder into
// the in database, in one transaction committed only at the very end: VAT rates, units,
// categories, families and groups are created or updated as the articles refer to them, the
// articles are inserted or updated, and the family-to-category tree is applied last.
//
//   class                                             number  updates  categories/families/groups
//   CTarvoImportSolvarArticoli                         2       yes      yes
//   CTarvoImportSolvarArticoliNuovi                    21      no       yes (only while updating:
//                                                                        so in effect none)
//   CTarvoImportSolvarArticoliSenzaClassificazione     none    yes      no
//
// Codes are cut as the partner writes them: the file codes as they stand, the codes of an article
// line without leading blanks (so a one-letter code keeps its trailing blank). An empty line of
// articoli.txt holds no article and is passed over.
//
// Created by the factory or the host and owned by the host; Run executes once on the host's
// worker thread and polls the stop event once per line of every file.
#pragma once

#include <map>

#include "framework/tarvo_import.h"

namespace tarvo::partner {
class CFixedWidthLine;
}
namespace tarvo::solvar {
struct CClassificationFile;
}

// One code of a classification or VAT file: code, description, the VAT rate (VAT entries only)
// and a fourth value that stays empty.
class CObjCategoria {
 public:
  CString m_strCodice;
  CString m_strDescrizione;
  CString m_strValore3;
  CString m_strValore4;
};

class CTarvoImportSolvarArticoli : public CTarvoImport {
 public:
  CTarvoImportSolvarArticoli() = default;
  // 1 after the commit, 0 after a rollback (a file that could not be read, a database error, a
  // stop), -1 when the in database could not be opened.
  int Run() override;

 protected:
  // Fill the maps from their files; non-zero on success. A stop or a file error returns 0.
  int GetCategorieFromFile();
  int GetFamiglieFromFile();
  int GetGruppiFromFile();
  int GetAliquoteIVAFromFile();
  // Sets the category of the families named in albero.txt; non-zero when the file was read.
  // Throws CDBException.
  int GetAlberoFromFile();
  void Cleanup();

  // The switches the variants set in their constructors (1 = on). The classification switches
  // act only while the update switch is on.
  int m_nAggiornaArticoli = 1;
  int m_nImportaCategorie = 1;
  int m_nImportaFamiglie = 1;
  int m_nImportaGruppi = 1;

  using CCodeMap = std::map<CString, CObjCategoria>;
  CCodeMap m_mapCategorie, m_mapFamiglie, m_mapGruppi, m_mapAliquote;

 private:
  struct CRecordSets;
  int ReadCodes(const tarvo::solvar::CClassificationFile& file, CCodeMap& map);
  // One line of articoli.txt. Throws CDBException (and tarvo::CException for a number field
  // that is no number).
  void ImportArticolo(const tarvo::partner::CFixedWidthLine& line, CRecordSets& sets);
};

class CTarvoImportSolvarArticoliNuovi : public CTarvoImportSolvarArticoli {
 public:
  CTarvoImportSolvarArticoliNuovi() { m_nAggiornaArticoli = 0; }
};

class CTarvoImportSolvarArticoliSenzaClassificazione : public CTarvoImportSolvarArticoli {
 public:
  CTarvoImportSolvarArticoliSenzaClassificazione() { m_nImportaCategorie = m_nImportaFamiglie = m_nImportaGruppi = 0; }
};
