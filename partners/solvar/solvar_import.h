// What the Solvar imports share: the loop that reads one of their files line by line inside its
// log lines, the words of the classification files that the article import and the
// classification import both read, and the run over a folder of document files (the invoices
// and the order states: one file per document, each its own transaction, renamed once loaded).
// Stateless helpers over a procedure; use them from its worker thread.
#pragma once

#include <functional>

#include "framework/tarvo_import.h"
#include "partners/fixed_width.h"

class CAziendaSet;
class CDocumentoSet;
class CProcedureId;
class CRecordSetBase;
class CVociDocumentoSet;

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

// --- document files -------------------------------------------------------------------------

// How the loading of one document file ended.
enum class EDocumentOutcome {
  kLoaded,     // committed: the file is renamed
  kSkipped,    // nothing written, nothing to report further; the file stays
  kFailed,     // rolled back and logged; the file stays
  kFailedAsk,  // as kFailed, then the user is asked whether to go on (`error` is the box's text)
};
struct CDocumentOutcome {
  EDocumentOutcome outcome;
  CString error;
};

// A folder import of document files and the words of its log lines.
struct CDocumentFolder {
  const char* pattern;       // "*.FAT", matched without regard to case
  const char* startLine;     // logged after the database opened
  const char* successLine;    // the final line when the result is 1
  const char* failureLine;    // ... when it is 0
  const char* nextQuestion;  // "Continuare con la fattura successiva?"
  const char* interrupted;   // logged when the user answers No
  // True: the result reflects the last file (a loaded file sets it back to 1); false: any failure
  // or a stop makes the whole run fail.
  bool lastFileDecides;
  // The document as the log names it ("fattura 123"), from the file title.
  std::function<CString(const CString& title)> label;
  // The line for a file without a first line.
  std::function<CString(const CString& title, const CString& path)> ignoredLine;
  // Loads the document of the file `title`: `header` is the first line, `lines` the open file
  // after it. Manages its own transaction on the in database; database errors are its to catch
  // and report. A file error while reading `lines` may pass through: the transaction is then
  // rolled back here.
  std::function<CDocumentOutcome(const CString& title, const partner::CFixedWidthLine& header,
                                 partner::CFixedWidthReader& lines)>
      load;
};

// The run of a document folder import: opens the in database (on failure: closes it, notifies 0,
// returns 0), logs the start line, calls `begin`, then for every file of the input folder
// matching the pattern (in name order): tests the stop event ("Operazione interrotta
// dall'utente.", stop), opens it and reads its first line (a file error logs "ERRORE: " with the
// error text and " - Importazione <label> - file <path>... ERRORE!", fails and asks), skips an
// empty file, logs " - Importazione <label> - file <path> in corso...", loads it and, once
// loaded, logs "... OK!" and renames it to the first free name made of its path without the last
// character and a counter from 0 ("00123.FAT" -> "00123.FA0", "00123.FA1" ...). The question
// after a failure: interactive runs ask "<error>\nSi è verificato un errore durante
// l'importazione.\n\n<next question>" (No logs `interrupted` and ends the loop); other runs log
// "Si è verificato un errore durante l'importazione." and go on. Then `end`, the final line,
// CloseInDatabase, the finished notification; returns the result (1 or 0).
int RunDocumentFolder(CTarvoImport& procedure, const CDocumentFolder& folder, const std::function<void()>& begin,
                      const std::function<void()>& end);

// The customer block of a document header (partner::CustomerBlockLayout), text fields without their
// trailing blanks.
struct CDocumentCustomer {
  CString name, address, locality, cap, province, vatNumber, taxCode;
  CString TaxIdentifier() const { return vatNumber.empty() ? taxCode : vatNumber; }
};
CDocumentCustomer ReadDocumentCustomer(const partner::CFixedWidthLine& header);

// A customer of a document file unknown to the database: a company keyed by a new GET_ID_AZIENDA
// number, with its name, VAT number, tax code, customer code (as the file spells it) and the
// customer flag. Returns the key. Throws CDBException.
long AddDocumentCustomer(CAziendaSet& companies, CProcedureId& ids, const CDocumentCustomer& customer,
                         const CString& customerCode);
// A customer found: its customer code becomes the file's code read as a whole number ("%ld").
void UpdateCustomerCode(CAziendaSet& companies, const CString& customerCode);

// The document of `filter`, found and edited (logs `found`), or else started as a new row keyed
// by a new GET_ID_DOCUMENTO number (logs `added`); the caller sets the fields and updates.
// Throws CDBException.
struct CDocumentRow {
  long id;
  bool added;
};
CDocumentRow AddOrEditDocument(CTarvoImport& procedure, CDocumentoSet& documents, CProcedureId& ids,
                               const CString& filter, const char* found, const char* added);

// Replaces the lines of `document` with those of the rest of the file: deletes them ("DELETE
// FROM VOCI_DOCUMENTO WHERE ID_DOCUMENTO = %d"), then hands each further line that is not blank
// to `add`, with `lines` (on the in database) open for AddNew. Throws CDBException, and
// tarvo::CFileException when the file cannot be read.
void ReplaceDocumentLines(CDatabase& db, CVociDocumentoSet& lines, long document, partner::CFixedWidthReader& file,
                          const std::function<void(const partner::CFixedWidthLine& line)>& add);
// "{call AGGIORNA_TOTALI_DOCUMENTO( %d, %d, %d, %s)}": the document's totals recomputed from its
// lines with the two precisions; the rounding amount is a decimal zero in the totals precision.
void UpdateDocumentTotals(CDatabase& db, long document, int pricePrecision, int totalPrecision);
// Ends the file's transaction after a failure: rolls it back (a failed rollback is logged as
// "ERRORE: <text>") and forgets the rows `records` were adding or editing.
void AbandonDocument(CTarvoImport& procedure, std::initializer_list<CRecordSetBase*> records);

}  // namespace tarvo::solvar
