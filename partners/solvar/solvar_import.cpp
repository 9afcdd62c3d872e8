#include "partners/solvar/solvar_import.h"

#include "partners/solvar/solvar_files.h"

namespace tarvo::solvar {

using partner::CFixedWidthLine;
using partner::CFixedWidthReader;
using partner::PartnerFilePath;

EReadResult ReadFileStep(CTarvoImport& p, const char* name, const CReadStepWords& words,
                         const std::function<bool(const CFixedWidthLine&, int)>& onLine) {
  p.Log(words.opening, TMS_NONE);
  try {
    CFixedWidthReader file(PartnerFilePath(p.GetInDir(), name));
    for (CString text; file.Next(text);)
      if (!onLine(CFixedWidthLine(std::move(text)), file.LineNumber())) return EReadResult::kStopped;
    file.Close();
  } catch (const CFileException& e) {
    p.Log(words.failure, TMS_NONE);
    p.Log(words.fileError + e.GetErrorMessage(), TMS_NONE);
    return EReadResult::kFileError;
  }
  p.Log(words.success, TMS_NONE);
  return EReadResult::kDone;
}

const CClassificationFile kCategorie = {
    kFileCategorie,
    {" - Lettura file Categorie ...", " - Lettura file Categorie terminata con successo.",
     " - Lettura file Categorie fallita."},
    "Errore durante la lettura del file Categorie.",
    "Categoria %s"};
const CClassificationFile kFamiglie = {
    kFileFamiglie,
    {" - Lettura file Famiglie...", " - Lettura file Famiglie terminata con successo.",
     " - Lettura file Famiglie fallita."},
    "Errore durante la lettura del file Famiglie.",
    "Famiglia %s"};
const CClassificationFile kGruppi = {
    kFileGruppi,
    {" - Lettura file Gruppi...", " - Lettura file Gruppi terminata con successo.", " - Lettura file Gruppi fallita."},
    "Errore durante la lettura del file Gruppi.",
    "Gruppo %s"};
const CClassificationFile kAliquoteIva = {
    kFileIva,
    {" - Lettura file Aliquote IVA...", " - Lettura file Aliquote IVA terminata con successo.",
     " - Lettura file Aliquote IVA fallita."},
    "Errore durante la lettura del file Aliquote IVA.",
    "Aliquota IVA %s"};

}  // namespace tarvo::solvar
