#include "partners/solvar/import_solvar_classificazione_articoli.h"

#include "partners/solvar/solvar_files.h"
#include "partners/solvar/solvar_import.h"
#include "platform/records/categoria_set.h"
#include "platform/records/famiglia_set.h"
#include "platform/records/gruppo_set.h"

using tarvo::StrFormat;
using namespace tarvo::partner;
using namespace tarvo::solvar;

int CTarvoImportSolvarClassificazioneArticoli::InsertCodes(const CClassificationFile& file, CRecordSetBase& set) {
  const CFieldSpec& code = FieldOf(CodeDescription3Layout(), "ID");
  const CFieldSpec& description = FieldOf(CodeDescription3Layout(), "DESCRIZIONE");
  const int id = set.FindField("ID"), text = set.FindField("DESCRIZIONE");
  bool opened = false;
  EReadResult read = ReadFileStep(*this, file.name, file.words, [&](const CFixedWidthLine& line, int) {
    if (!opened) {
      set.m_strFilter = "ID = ''";  // empty: it serves for inserting
      set.Open();
      opened = true;
    }
    const CString codeText = line.Raw(code.offset, code.width);  // as read, blanks kept
    CString descriptionText = line.Text(description);
    if (descriptionText.empty()) descriptionText = StrFormat(file.defaultDescription, codeText.c_str());
    set.AddNew();
    set.SetFieldValue(id, codeText);  // an empty code is written as it is, not as NULL
    set.SetFieldValue(text, descriptionText);
    set.Update();
    return true;
  });
  set.Close();
  return read == EReadResult::kDone;
}

int CTarvoImportSolvarClassificazioneArticoli::GetCategorieFromFile() {
  CCategoriaSet set(m_pInDatabase);
  return InsertCodes(kCategorie, set);
}

int CTarvoImportSolvarClassificazioneArticoli::GetFamiglieFromFile() {
  CFamigliaSet set(m_pInDatabase);
  return InsertCodes(kFamiglie, set);
}

int CTarvoImportSolvarClassificazioneArticoli::GetGruppiFromFile() {
  CGruppoSet set(m_pInDatabase);
  return InsertCodes(kGruppi, set);
}

int CTarvoImportSolvarClassificazioneArticoli::Run() {
  if (!OpenInDatabase(false)) {
    CloseInDatabase();
    NotifyFinished(0);
    return -1;
  }
  int result = 1;
  m_pInDatabase->BeginTrans();
  Log("Inizio importazione dati", TMS_NONE);
  if (!GetCategorieFromFile()) {
    Log(kCategorie.readFailed, TMS_NONE);
    result = 0;
  }
  if (!GetFamiglieFromFile()) {
    Log(kFamiglie.readFailed, TMS_NONE);
    result = 0;
  }
  if (!GetGruppiFromFile()) {
    Log(kGruppi.readFailed, TMS_NONE);
    result = 0;
  }
  if (result == 1) m_pInDatabase->CommitTrans();
  else m_pInDatabase->Rollback();
  Log("Operazione completata.", TMS_NONE);
  CloseInDatabase();
  NotifyFinished(result);
  return result;
}
