// CTarvoImportSolvarPellorArticoli (procedure 17): replaces the article master of the in database
// with Pellor's package in InDir ("settori.txt", "articoli.txt", "disponib.txt", see
// pellor_files.h): articles no document uses, all categories and all stock rows go, then
// categories, articles and this year's stock of the user's company and branch are loaded. All of
// it is one transaction: any failure or stop leaves the database as it was.
//
// Created by the factory or by the Pellor article import (which calls AggiornaDatabase after
// pointing InDir at the unpacked package). Owned by the host; runs on one worker thread and polls
// the stop event per record.
#pragma once

#include <vector>

#include "framework/tarvo_import.h"

class CTarvoImportSolvarPellorArticoli : public CTarvoImport {
 public:
  // AggiornaDatabase's result, also posted as the finished notification.
  int Run() override;
  // The whole import: 1 when committed, 0 otherwise (rolled back, the database as before).
  int AggiornaDatabase();

 protected:
  // Deletes stock rows, unused articles and categories; false after logging a database error.
  bool EliminaArticoliNonMovimentati();
  // Reads settori.txt into the category table; false after logging a file error.
  bool GetCategorieFromFile();
  bool RowCategoriaExist(long number);
  bool RowArticoloExist(const CString& code);
  bool RowDisponibArtExist(const CString& code);

 private:
  class CStopped {};
  CString InFile(const char* name) const;
  void ImportArticoli(CString& code);
  void ImportDisponibilita(CString& code);
  void SaveCategoria(long number);

  std::vector<CString> m_categorie;  // name by category number
};
