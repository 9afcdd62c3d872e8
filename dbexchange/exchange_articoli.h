// The article master exchange between two databases of the company schema: categories,
// families, groups, VAT rates, units of measure and articles, copied from the out database (the
// source) into the in database (the destination) in one transaction on the destination.
// CTarvoExportWebArticoli (1002) publishes the company's data to the web database,
// CTarvoImportWebArticoli (1) brings the web database's data in; they differ only in the
// direction flag their constructors store, which selects the words of the log.
//
// Created by the factory and owned by the host; Run executes once on the host's worker thread.
#pragma once

#include "framework/tarvo_import.h"

class CTarvoExchangeArticoli : public CTarvoImport {
 public:
  CTarvoExchangeArticoli() = default;
  // 1 when every step ran to the end and the destination transaction was committed; 0 after a
  // failed open, a stop request or a database error (the destination is then rolled back).
  int Run() override;

 protected:
  int m_nDirezione = 0;  // 1 export, 0 import
};

class CTarvoExportWebArticoli : public CTarvoExchangeArticoli {
 public:
  CTarvoExportWebArticoli() { m_nDirezione = 1; }
};

class CTarvoImportWebArticoli : public CTarvoExchangeArticoli {
 public:
  CTarvoImportWebArticoli() { m_nDirezione = 0; }
};
