// CTarvoExportSolvarArticoli (procedure 1008): writes the article master of the out database
// (categories, families, groups, VAT rates, articles and the category-to-family tree) into the
// six Solvar files (see solvar_files.h) in the output folder, or in the current folder when no
// output folder is set. It only reads the database. The filter parameter "parametro" (a list of
// quoted category codes) narrows categories, families, articles and the tree; groups and VAT
// rates are always written whole.
//
// Created by the factory and owned by the host; Run executes once on the host's worker thread
// and cannot be stopped between rows.
#pragma once

#include <memory>
#include <vector>

#include "framework/tarvo_import.h"
#include "partners/fixed_width.h"

class CRecordSetBase;

class CTarvoExportSolvarArticoli : public CTarvoImport {
 public:
  CTarvoExportSolvarArticoli() = default;
  // 1 when the six files were written, 0 when at least one failed (the others are still
  // written), -1 when the out database could not be opened (no file written).
  int Run() override;

 protected:
  // One file each; true when the file was written. A failed step logs why and leaves what it
  // wrote of its file on disk.
  bool ExportCategorie();
  bool ExportFamiglie();
  bool ExportGruppi();
  bool ExportIva();
  bool ExportArticoli();
  bool ExportAlbero();

 private:
  struct CFileStep;
  bool ExportFile(const CFileStep& step, std::unique_ptr<CRecordSetBase> records);
  // The source filter on the category list, "" when "parametro" is absent or empty.
  CString CategoryFilter(const char* pattern) const;
};
