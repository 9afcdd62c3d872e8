// CTarvoExportMediaCatalogo (procedure 1001): writes the catalogue of the out database as four XML
// files in the output folder (the current folder when none is set), for a catalogue viewer or the
// web shop: "categorie.xml", "famiglie.xml", "articoli.xml" (with price and photo name) and
// "azienda.xml" (the own company, ID 1, with its head office). Every value is written as the
// record delivers it, as an attribute, the attributes in the catalogue's own order; the files
// are UTF-8 on one line, as the XML library's writer lays them out. It only reads.
//
// Created by the factory and owned by the host; Run executes once on the host's worker thread. A
// stop request ends each part at its next record; every part still writes its file.
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "framework/tarvo_import.h"

class CRecordSetBase;

class CTarvoExportMediaCatalogo : public CTarvoImport {
 public:
  CTarvoExportMediaCatalogo() = default;
  // 1 when the run reached its end (a part's database error included), 0 when the out
  // database could not be opened.
  int Run() override;

  // One file each; the result is always true (failures are logged, the file still written).
  bool ExportCategorie();
  bool ExportFamiglie();
  bool ExportArticoli();
  bool ExportSocieta();
  // One catalogue file as it is built: the root element and its elements, each with its
  // attributes in order. (The XML library's DOM keeps attributes sorted by name, which would
  // lose that order, so the files are laid out here.)
  struct CCatalogDocument {
    using Attributes = std::vector<std::pair<CString, CString>>;
    CString root;
    std::vector<std::pair<CString, Attributes>> elements;
  };
  // Writes `document` to `path` (an existing file is overwritten); a file that cannot be
  // written is logged. Always true.
  bool SerializeDocument(const CCatalogDocument& document, const CString& path);

 private:
  struct CCatalogPart;
  bool ExportPart(const CCatalogPart& part, std::unique_ptr<CRecordSetBase> records);
  CString CatalogFilePath(const char* fileName) const;
};
