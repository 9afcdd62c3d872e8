#include "publishing/export_media_catalogo.h"

#include <utility>
#include <vector>

#include "dbexchange/record_transfer.h"
#include "platform/files.h"
#include "platform/host_ui.h"
#include "platform/records/articolo_completo_set.h"
#include "platform/records/categoria_set.h"
#include "platform/records/famiglia_set.h"
#include "platform/records/sede_societa_completa_set.h"
#include "platform/records/societa_set.h"

using tarvo::StrFormat;

// What distinguishes one record-per-element file: its names, the rows' order, the progress line
// and the attributes with the columns that fill them (the first is the record's code).
struct CTarvoExportMediaCatalogo::CCatalogPart {
  const char* fileName;
  const char* rootName;
  const char* elementName;
  const char* sort;
  const char* progress;  // "%s": the record's code
  std::vector<std::pair<const char*, const char*>> attributes;
};

namespace {
const CString kSeparator(33, '-');

const char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?>";

// An attribute value as the XML library's writer escapes it, in UTF-8. Characters XML does not
// allow are left out.
CString AttributeText(const CString& value) {
  CString out;
  for (char c : value) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      case '\t': out += "&#x9;"; break;
      case '\n': out += "&#xA;"; break;
      case '\r': out += "&#xD;"; break;
      default:
        if (static_cast<unsigned char>(c) >= 0x20) out += c;
    }
  }
  return tarvo::Cp1252ToUtf8(out);
}

CString ColumnText(const CRecordSetBase& records, const char* column) {
  return tarvo::exchange::FieldText(records, records.FindField(column));
}
}  // namespace

int CTarvoExportMediaCatalogo::Run() {
  if (!OpenOutDatabase(false)) {
    CloseOutDatabase();
    NotifyFinished(0);
    return 0;
  }
  try {
    m_pOutDatabase->BeginTrans();  // the reads only; the transaction frames them
  } catch (const CDBException& e) {
    Log(e.m_strError, TMS_NONE);
  }
  struct {
    bool (CTarvoExportMediaCatalogo::*part)();
    const char* subject;
  } const parts[] = {
      {&CTarvoExportMediaCatalogo::ExportCategorie, "categorie."},
      {&CTarvoExportMediaCatalogo::ExportFamiglie, "famiglie."},
      {&CTarvoExportMediaCatalogo::ExportArticoli, "articoli."},
      {&CTarvoExportMediaCatalogo::ExportSocieta, "informazioni società."},
  };
  for (const auto& p : parts) {
    Log(kSeparator, TMS_NONE);
    Log(tarvo::W(CString("Inizio esportazione ") + p.subject), TMS_NONE);
    (this->*p.part)();  // a part's failure does not stop the others
    Log(tarvo::W(CString("Fine esportazione ") + p.subject), TMS_NONE);
  }
  Log(kSeparator, TMS_NONE);
  try {
    m_pOutDatabase->CommitTrans();
  } catch (const CDBException& e) {
    Log(e.m_strError, TMS_NONE);
  }
  Log("Operazione completata con successo.", TMS_NONE);
  CloseOutDatabase();
  NotifyFinished(1);
  return 1;
}

CString CTarvoExportMediaCatalogo::CatalogFilePath(const char* fileName) const {
  return m_strOutDir.empty() ? CString(fileName) : m_strOutDir + "\\" + fileName;
}

bool CTarvoExportMediaCatalogo::ExportPart(const CCatalogPart& part, std::unique_ptr<CRecordSetBase> records) {
  records->m_strSort = part.sort;
  CCatalogDocument document{part.rootName, {}};
  try {
    records->Open();
    while (!records->IsEOF()) {
      if (CtrlEventStop()) break;
      CCatalogDocument::Attributes attributes;
      for (const auto& [attribute, column] : part.attributes)
        attributes.emplace_back(attribute, ColumnText(*records, column));
      Log(StrFormat(part.progress, attributes.front().second.c_str()), TMS_NONE);
      document.elements.emplace_back(part.elementName, std::move(attributes));
      records->MoveNext();
    }
  } catch (const CDBException& e) {
    Log(e.m_strError, TMS_NONE);
  } catch (const tarvo::CException& e) {
    Log(e.GetErrorMessage(), TMS_NONE);
  }
  // Also after a stop or an error: the file holds the records exported so far.
  SerializeDocument(document, CatalogFilePath(part.fileName));
  records->Close();
  return true;
}

bool CTarvoExportMediaCatalogo::ExportCategorie() {
  return ExportPart({"categorie.xml", "categorie", "categoria", "DESCRIZIONE", " - Esportazione categoria %s.",
                     {{"codice", "ID"}, {"nome", "DESCRIZIONE"}}},
                    std::make_unique<CCategoriaSet>(m_pOutDatabase));
}

bool CTarvoExportMediaCatalogo::ExportFamiglie() {
  return ExportPart({"famiglie.xml", "famiglie", "famiglia", "DESCRIZIONE", " - Esportazione famiglia %s.",
                     {{"codice", "ID"}, {"nome", "DESCRIZIONE"}, {"codice_categoria", "ID_CATEGORIA"}}},
                    std::make_unique<CFamigliaSet>(m_pOutDatabase));
}

bool CTarvoExportMediaCatalogo::ExportArticoli() {
  return ExportPart({"articoli.xml",
                     "articoli",
                     "articolo",
                     "ID",
                     "Esportazione articolo %s.",
                     {{"codice", "ID"},
                      {"nome", "DESCRIZIONE"},
                      {"prezzo", "PREZZO"},
                      {"iva", "CODICE_IVA"},
                      {"foto", "FOTO"},
                      {"codice_categoria", "ID_CATEGORIA"},
                      {"codice_famiglia", "ID_FAMIGLIA"}}},
                    std::make_unique<CArticoloCompletoSet>(m_pOutDatabase));
}

bool CTarvoExportMediaCatalogo::ExportSocieta() {
  CSocietaSet societa(m_pOutDatabase);
  CSedeSocietaCompletaSet sede(m_pOutDatabase);
  societa.m_strFilter = "ID = 1";
  sede.m_strFilter = "ID = 1";
  CCatalogDocument document{"aziende", {}};
  try {
    societa.Open();
    sede.Open();
    // The element only when the company and its head office both exist.
    if (!societa.IsEOF() && !sede.IsEOF() && !CtrlEventStop()) {
      Log(tarvo::W("Esportazione informazioni società"), TMS_NONE);
      document.elements.push_back(
          {"azienda",
           {{"ragione_sociale", societa.m_RAGIONESOCIALE},
            {"partita_iva", societa.m_PARTITAIVA},
            {"indirizzo", sede.m_INDIRIZZO},
            {"citta", sede.m_CAP + " - " + sede.m_NOMEZONAPOSTALE + " (" + sede.m_SIGLAPROVINCIA + ")"}}});
    }
  } catch (const CDBException& e) {
    Log(e.m_strError, TMS_NONE);
  } catch (const tarvo::CException& e) {
    Log(e.GetErrorMessage(), TMS_NONE);
  }
  SerializeDocument(document, CatalogFilePath("azienda.xml"));
  return true;
}

bool CTarvoExportMediaCatalogo::SerializeDocument(const CCatalogDocument& document, const CString& path) {
  // The writer's layout without pretty printing: the declaration, then the whole tree on one line.
  CString text = kDeclaration + ("<" + document.root);
  if (document.elements.empty()) text += "/>";
  else {
    text += ">";
    for (const auto& [name, attributes] : document.elements) {
      text += "<" + name;
      for (const auto& [attribute, value] : attributes) text += " " + attribute + "=\"" + AttributeText(value) + "\"";
      text += "/>";
    }
    text += "</" + document.root + ">";
  }
  try {
    tarvo::WriteFileBytes(path, text);
  } catch (const tarvo::CFileException& e) {
    CString message = "An error occurred during creation of output transcoder. Msg is:\n" + e.GetErrorMessage();
    if (m_bVerbose) AfxMessageBox(message, MB_ICONERROR);
    Log(message, TMS_NONE);
  }
  return true;
}
