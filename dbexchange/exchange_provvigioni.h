// The commission schedule exchange between two databases of the company schema: the rows of the
// due-date schedule (SCADENZARIO) are copied from the out database (the source) into the in
// database (the destination), matched by their description, in one transaction on each side.
// CTarvoExportWebProvvigioni (1010) copies the whole schedule to the web database;
// CTarvoImportAgenteProvvigioni (11) copies the rows of the current user's agent into the
// agent's database. They differ only in the source filter their constructors store; both log
// with the words of the import ("importazione", "Importazione ... ordini"), as the web shop's
// operators know them.
//
// Created by the factory and owned by the host; Run executes once on the host's worker thread.
#pragma once

#include "framework/tarvo_import.h"

class CTarvoExchangeProvvigioni : public CTarvoImport {
 public:
  CTarvoExchangeProvvigioni() = default;
  // 1 when every schedule row was copied and both transactions committed; 0 after a failed open,
  // a stop request or a database error (the destination is then rolled back).
  int Run() override;

 protected:
  bool m_bDirezione = false;  // selects the log words; both procedures leave it false
  CString m_strFiltro;        // source schedule filter; empty: every row
};

class CTarvoExportWebProvvigioni : public CTarvoExchangeProvvigioni {
 public:
  CTarvoExportWebProvvigioni() = default;
};

class CTarvoImportAgenteProvvigioni : public CTarvoExchangeProvvigioni {
 public:
  CTarvoImportAgenteProvvigioni();  // the rows of the current user's agent
};
