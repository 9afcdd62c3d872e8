// What the Solvar imports share: the loop that reads one of their files line by line inside its
// log lines, and the words of the classification files that the article import and the
// classification import both read. Stateless helpers over a procedure; use them from its worker
// thread.
#pragma once

#include <functional>

#include "framework/tarvo_import.h"
#include "partners/fixed_width.h"

namespace tarvo::solvar {

// The log lines (all plain) around the reading of one file.
struct CReadStepWords {
  const char* opening;
  const char* success;
  const char* failure;                        // when the file cannot be opened or read
  const char* fileError = "- Errore file: ";  // followed by the error text, after `failure`
};

enum class EReadResult { kDone, kStopped, kFileError };

// Reads the file `name` of the procedure's input folder: logs the opening line, hands each line
// (line end removed) and its number to `onLine`, which returns false to stop reading, and logs
// the success line when the file was read to its end (kDone). A file that cannot be opened or
// read logs the failure lines (kFileError). A stop (kStopped) logs nothing: the caller knows
// why. Exceptions of `onLine` other than file errors (database errors) pass through.
EReadResult ReadFileStep(CTarvoImport& procedure, const char* name, const CReadStepWords& words,
                         const std::function<bool(const partner::CFixedWidthLine& line, int number)>& onLine);

// A classification file (settori.txt, famiglie.txt, gruppi.txt) or the VAT file as the imports
// read it: its name, its step's words, the line the run logs when the step failed and the
// description given to a code whose description is empty ("%s" = the code).
struct CClassificationFile {
  const char* name;
  CReadStepWords words;
  const char* readFailed;
  const char* defaultDescription;
};
extern const CClassificationFile kCategorie;
extern const CClassificationFile kFamiglie;
extern const CClassificationFile kGruppi;
extern const CClassificationFile kAliquoteIva;

}  // namespace tarvo::solvar
