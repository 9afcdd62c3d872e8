#include "partners/solvar/export_solvar_articoli.h"

#include <ctime>

#include "partners/solvar/solvar_files.h"
#include "platform/records/articolo_set.h"
#include "platform/records/categoria_set.h"
#include "platform/records/famiglia_set.h"
#include "platform/records/gruppo_set.h"
#include "platform/records/iva_set.h"

using tarvo::StrFormat;
using namespace tarvo::partner;
using namespace tarvo::solvar;

// What distinguishes one file of the export: its name and layout (whose field names are the
// columns that fill it), the rows' order and selection, and the words of its log lines.
struct CTarvoExportSolvarArticoli::CFileStep {
  const char* fileName;
  const CRecordLayout& layout;
  CString filter;
  const char* sort;
  const char* opening;
  const char* rowPrefix;  // followed by the first value and, when rowValues is 2, the second
  int rowValues;
  const char* success;
  const char* failure;
};


CString CTarvoExportSolvarArticoli::CategoryFilter(const char* pattern) const {
  CString list;
  if (!GetFilterParam("parametro", list) || list.empty()) return CString();
  return StrFormat(pattern, list.c_str());
}

bool CTarvoExportSolvarArticoli::ExportFile(const CFileStep& step, std::unique_ptr<CRecordSetBase> records) {
  Log(step.opening, TMS_NONE);
  const CString path = PartnerFilePath(m_strOutDir, step.fileName);
  records->m_strSort = step.sort;
  records->m_strFilter = step.filter;
  try {
    CFixedWidthWriter file(path);
    records->Open();
    while (!records->IsEOF()) {
      std::vector<CString> values = RecordValues(*records, step.layout);
      CString line = step.rowPrefix + values[0];
      if (step.rowValues > 1) line += " " + values[1];
      Log(line, TMS_NONE);
      file.WriteRecord(step.layout, values);
      records->MoveNext();
    }
    records->Close();
    file.Close();
  } catch (const CDBException& e) {
    Log(step.failure, TMS_NONE);
    Log("- Errore database: " + e.m_strError, TMS_NONE);
    return false;
  } catch (const tarvo::CFileException& e) {
    Log(step.failure, TMS_NONE);
    Log("- Errore file: " + e.GetErrorMessage(), TMS_NONE);
    return false;
  } catch (const tarvo::CException& e) {
    Log(step.failure, TMS_NONE);
    Log("- Errore database: " + e.GetErrorMessage(), TMS_NONE);
    return false;
  }
  Log(step.success, TMS_NONE);
  Log(" - (" + path + ")", TMS_NONE);
  return true;
}

bool CTarvoExportSolvarArticoli::ExportCategorie() {
  return ExportFile({kFileCategorie, CodeDescriptionLayout(), CategoryFilter("ID IN ( %s )"),
                     "ID", " - Scrittura file Categorie ...", " -- Esportazione categoria ", 2,
                     " - Scrittura file Categorie terminata con successo.", " - Scrittura file Categorie fallita."},
                    std::make_unique<CCategoriaSet>(m_pOutDatabase));
}

bool CTarvoExportSolvarArticoli::ExportFamiglie() {
  return ExportFile({kFileFamiglie, CodeDescriptionLayout(),
                     CategoryFilter("ID_CATEGORIA IN ( %s )"), "ID", " - Scrittura file Famiglie ...",
                     " -- Esportazione famiglia ", 2, " - Scrittura file Famiglie terminata con successo.",
                     " - Scrittura file Famiglie fallita."},
                    std::make_unique<CFamigliaSet>(m_pOutDatabase));
}

bool CTarvoExportSolvarArticoli::ExportGruppi() {
  return ExportFile({kFileGruppi, CodeDescriptionLayout(), "", "ID",
                     " - Scrittura file Gruppi ...", " -- Esportazione gruppo ", 2,
                     " - Scrittura file Gruppi terminata con successo.", " - Scrittura file Gruppi fallita."},
                    std::make_unique<CGruppoSet>(m_pOutDatabase));
}

bool CTarvoExportSolvarArticoli::ExportIva() {
  return ExportFile({kFileIva, IvaLayout(), "", "CODICE",
                     " - Scrittura file Aliquote ...", " -- Esportazione aliquota IVA ", 2,
                     " - Scrittura file Aliquote terminata con successo.", " - Scrittura file Aliquote fallita."},
                    std::make_unique<CIvaSet>(m_pOutDatabase));
}

bool CTarvoExportSolvarArticoli::ExportArticoli() {
  return ExportFile({kFileArticoli,
                     ArticoliLayout(),
                     CategoryFilter("ID_CATEGORIA IN ( %s )"),
                     "ID",
                     " - Scrittura file Articoli in corso ...",
                     " -- Esportazione articolo ",
                     1,
                     " - Scrittura file Articoli terminata con successo",
                     " - Scrittura file Articoli fallita."},
                    std::make_unique<CArticoloSet>(m_pOutDatabase));
}

bool CTarvoExportSolvarArticoli::ExportAlbero() {
  // Families without a category are not part of the tree.
  CString filter = CategoryFilter("( ID_CATEGORIA IN ( %s ) ) ");
  if (!filter.empty()) filter += " AND ";
  filter += " ( ID_CATEGORIA IS NOT NULL ) ";
  return ExportFile({kFileAlbero, AlberoLayout(), filter, "ID_CATEGORIA, ID",
                     " - Scrittura file Albero ...", " -- Esportazione associazione ", 2,
                     " - Scrittura file Albero terminata con successo.", " - Scrittura file Albero fallita."},
                    std::make_unique<CFamigliaSet>(m_pOutDatabase));
}

int CTarvoExportSolvarArticoli::Run() {
  if (!OpenOutDatabase(false)) {
    CloseOutDatabase();
    NotifyFinished(0);
    return -1;
  }
  int result = 1;
  try {
    m_pOutDatabase->BeginTrans();
  } catch (const CDBException& e) {
    // The transaction only frames the reads; without it they still run.
    Log("- Errore database: " + e.m_strError, TMS_NONE);
  }
  const std::time_t start = std::time(nullptr);
  Log("Inizio esportazione dati", TMS_NONE);

  struct {
    bool (CTarvoExportSolvarArticoli::*step)();
    const char* failed;
  } const steps[] = {
      {&CTarvoExportSolvarArticoli::ExportCategorie, "Errore durante la scrittura del file Categorie."},
      {&CTarvoExportSolvarArticoli::ExportFamiglie, "Errore durante la scrittura del file Famiglie."},
      {&CTarvoExportSolvarArticoli::ExportGruppi, "Errore durante la scrittura del file Gruppi."},
      {&CTarvoExportSolvarArticoli::ExportIva, "Errore durante la scrittura del file Aliquote IVA."},
      {&CTarvoExportSolvarArticoli::ExportArticoli, "Errore durante la scrittura del file Articoli."},
      {&CTarvoExportSolvarArticoli::ExportAlbero, "Errore durante la scrittura del file Albero."},
  };
  for (const auto& s : steps) {
    if (!(this->*s.step)()) {
      Log(s.failed, TMS_NONE);
      result = 0;
    }
  }

  const CString summary = RunSummary(result == 1, start);
  // The reads ran in one transaction; ending it changes nothing in the database.
  try {
    if (result == 1) m_pOutDatabase->CommitTrans();
    else m_pOutDatabase->Rollback();
  } catch (const CDBException& e) {
    Log("- Errore database: " + e.m_strError, TMS_NONE);
  }
  Log(summary, TMS_NONE);
  Log("Operazione completata.", TMS_NONE);
  CloseOutDatabase();
  NotifyFinished(result);
  return result;
}
