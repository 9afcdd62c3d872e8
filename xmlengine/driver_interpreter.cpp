// The driver file and its interpreter: finding and parsing the driver, dispatching its elements in
// document order, and the small steps checkparam, cd, parser and param.
#include <xercesc/dom/DOM.hpp>
#include <xercesc/util/XMLException.hpp>

#include "platform/files.h"
#include "platform/settings.h"
#include "xmlengine/dom_support.h"
#include "xmlengine/tarvo_exchange_xml.h"

using tarvo::xml::ToLocal;
using tarvo::xml::XStr;
using xercesc::DOMNode;

namespace {
const char kSeparator[] = "--------------------------------------------------------------------";
}  // namespace

CTarvoExchangeXML::CTarvoExchangeXML() = default;

CTarvoExchangeXML::~CTarvoExchangeXML() { ReleaseDOMParser(); }

CTarvoExchangeXML::Handler CTarvoExchangeXML::FindHandler(const CString& elementName) {
  static const std::map<CString, Handler> handlers = {
      {"table", &CTarvoExchangeXML::DOMElement_driverfile_table},
      {"query", &CTarvoExchangeXML::DOMElement_driverfile_query},
      {"execute", &CTarvoExchangeXML::DOMElement_driverfile_execute},
      {"localexecute", &CTarvoExchangeXML::DOMElement_driverfile_localexecute},
      {"checkparam", &CTarvoExchangeXML::DOMElement_driverfile_checkparam},
      {"cd", &CTarvoExchangeXML::DOMElement_driverfile_cd},
      {"httpupload", &CTarvoExchangeXML::DOMElement_driverfile_httpupload},
      {"httpdownload", &CTarvoExchangeXML::DOMElement_driverfile_httpdownload},
      {"ftpupload", &CTarvoExchangeXML::DOMElement_driverfile_ftpupload},
      {"ftpdownload", &CTarvoExchangeXML::DOMElement_driverfile_ftpdownload},
      {"zipfile", &CTarvoExchangeXML::DOMElement_driverfile_zipfile},
      {"delfile", &CTarvoExchangeXML::DOMElement_driverfile_delfile},
      {"command", &CTarvoExchangeXML::DOMElement_driverfile_command},
      {"parser", &CTarvoExchangeXML::DOMElement_driverfile_parser},
  };
  auto it = handlers.find(elementName);
  return it == handlers.end() ? nullptr : it->second;
}

// ---------------------------------------------------------------------------------------------
int CTarvoExchangeXML::Run() {
  AddDefaultParams();
  m_strStartDir = tarvo::GetCurrentDirectory();

  CString driver;
  if (!CheckExchangeParam("DRVFILE=", driver) || driver.empty()) {
    Log("Impossibile eseguire il tasferimento dati:", TMS_ERROR);
    Log("- ERRORE: driver non specificato", TMS_ERROR);
    NotifyFinished(0);
    return -1;
  }

  CString root = CRegistryAdministrator::GetApplicationSetting("RootDirectory");
  if (root.empty() || (root.back() != '\\' && root.back() != '/')) root += '\\';
  CString driverDir = root + "exchange";
  SetFilterParam("driverdir", tarvo::NativePath(driverDir));
  CString driverPath = driverDir + "\\" + driver;
  if (!tarvo::FileExists(tarvo::NativePath(driverPath))) {
    Log("Impossibile eseguire il trasferimento dati.", TMS_ERROR);
    Log("- ERRORE: driver \"" + driver + "\" non trovato", TMS_ERROR);
    NotifyFinished(0);
    return -1;
  }

  Log("Avvio trasferimento dati ...", TMS_INFO);
  CreateDOMParser();
  DOMDocument* document = ReadDriver(driverPath);
  if (!document) {
    ReleaseDOMParser();
    NotifyFinished(0);
    return 0;
  }
  bool ok = ExecuteTransfer(document);
  tarvo::SetCurrentDirectory(m_strStartDir);
  document->release();
  ReleaseDOMParser();

  if (!ok) {
    NotifyFinished(0);
    return 0;
  }
  Log("Trasferimento dati completato.", TMS_INFO);
  NotifyFinished(1);
  return 1;
}

void CTarvoExchangeXML::CreateDOMParser() {
  ReleaseDOMParser();
  m_pParser = std::make_unique<tarvo::xml::SafeDOMParser>();
  m_pErrorReporter =
      std::make_unique<DOMTreeErrorReporter>(m_bVerbose, [this](const CString& text) { Log(text, TMS_ERROR); });
  m_pParser->setErrorHandler(m_pErrorReporter.get());
}

void CTarvoExchangeXML::ReleaseDOMParser() {
  m_pParser.reset();
  m_pErrorReporter.reset();
}

CTarvoExchangeXML::DOMDocument* CTarvoExchangeXML::ReadDriver(CString path) {
  m_pParser->PrepareForDrivers();
  bool threw = false;
  const bool read = tarvo::xml::ReadGuarded(
      [&] {
        m_pParser->parse(XStr(tarvo::NativePath(path)).c_str());
        return m_pParser->getErrorCount() == 0;
      },
      *m_pErrorReporter,
      [&](const CString& details) {
        Log("Errore durante la lettura del driver\n   Dettagli: " + details, TMS_ERROR);
        threw = true;
      });
  if (threw) {
    ReleaseDOMParser();  // the library cannot be trusted with this parser any more
    CreateDOMParser();
  }
  return read ? m_pParser->adoptDocument() : nullptr;
}

bool CTarvoExchangeXML::ExecuteTransfer(DOMDocument* driver) {
  const CString prefix = "Errore durante la creazione del file di dati: \n   Dettagli: ";
  try {
    return DOMElement_driverfile_exchagedriver(driver->getDocumentElement());
  } catch (const CEndlessPlaceholder& e) {
    Log(e.GetErrorMessage(), TMS_ERROR);
  } catch (const CDBException& e) {
    Log(prefix + e.m_strError, TMS_ERROR);
  } catch (const xercesc::XMLException& e) {
    Log(prefix + tarvo::xml::MessageOf(e), TMS_ERROR);
  } catch (const xercesc::DOMException& e) {
    Log(prefix + tarvo::xml::MessageOf(e), TMS_ERROR);
  } catch (const tarvo::CException& e) {
    // Files and other platform services: the step that raised it stops the driver like any other.
    Log(prefix + e.GetErrorMessage(), TMS_ERROR);
  } catch (const std::exception& e) {
    Log(prefix + e.what(), TMS_ERROR);
  }
  return false;
}

CString CTarvoExchangeXML::GetAttributeValue(DOMElement* element, CString name) {
  return ToLocal(element->getAttribute(XStr(name).c_str()));
}

CString CTarvoExchangeXML::GetElementText(DOMElement* element) {
  CString text;
  for (DOMNode* n = element->getFirstChild(); n; n = n->getNextSibling())
    if (n->getNodeType() == DOMNode::TEXT_NODE) text += ToLocal(n->getNodeValue());
  return text;
}

// ---------------------------------------------------------------------------------------------
bool CTarvoExchangeXML::DOMElement_driverfile_exchagedriver(DOMElement* root) {
  if (!root) return true;
  for (DOMNode* n = root->getFirstChild(); n; n = n->getNextSibling()) {
    if (n->getNodeType() != DOMNode::ELEMENT_NODE) continue;
    auto* element = static_cast<DOMElement*>(n);
    Handler handler = FindHandler(ToLocal(element->getTagName()));
    if (handler && !(this->*handler)(element)) return false;
  }
  return true;
}

bool CTarvoExchangeXML::DOMElement_driverfile_checkparam(DOMElement* e) {
  auto yes = [&](const char* name) { return GetAttributeValue(e, name) == "yes"; };
  return Process_driverfile_CheckParam(yes("srcdsn"), yes("srcdsnusername"), yes("srcdsnpassword"), yes("destdsn"),
                                       yes("destdsnusername"), yes("destdsnpassword"), yes("srcfolder"),
                                       yes("destfolder"), yes("httpserver"), yes("httpurl"), yes("httpusername"),
                                       yes("httppassword"), yes("ftpserver"), yes("ftpusername"), yes("ftppassword"),
                                       yes("ftpfolder"));
}

bool CTarvoExchangeXML::Process_driverfile_CheckParam(bool srcdsn, bool, bool, bool destdsn, bool, bool,
                                                      bool srcfolder, bool destfolder, bool httpserver, bool httpurl,
                                                      bool httpusername, bool httppassword, bool ftpserver,
                                                      bool ftpusername, bool ftppassword, bool ftpfolder) {
  Log(kSeparator, TMS_INFO);
  Log("+ Controllo parametri procedura.", TMS_INFO);
  // The database user names and passwords travel inside the configuration texts: nothing to check.
  const struct {
    bool required;
    const CString& value;
    const char* what;
  } checks[] = {
      {srcdsn, m_strSrcConfig, "configurazione dababase sorgente"},
      {destdsn, m_strDestConfig, "configurazione dababase di destinazione"},
      {srcfolder, m_strInDir, "cartella sorgente"},
      {destfolder, m_strOutDir, "cartella destinazione"},
      {httpserver, m_strHttpServer, "server per connessione HTTP"},
      {httpusername, m_strHttpUID, "username per connessione HTTP"},
      {httppassword, m_strHttpPWD, "password per connessione HTTP"},
      {httpurl, m_strHttpURL, "URL per connessione HTTP"},
      {ftpserver, m_strFtpServer, "server per connessione FTP"},
      {ftpusername, m_strFtpUID, "username per connessione FTP"},
      {ftppassword, m_strFtpPWD, "password per connessione FTP"},
      {ftpfolder, m_strFtpFolder, "cartella per connessione FTP"},
  };
  bool ok = true;
  for (const auto& c : checks) {
    if (c.required && c.value.empty()) {
      Log(tarvo::StrFormat("- ATENZIONE: parametro %s non fornito ma necessario.", c.what), TMS_ERROR);
      ok = false;
    }
  }
  if (!ok) Log("- Impossibile procedere con il trasferimento dati.", TMS_ERROR);
  Log(kSeparator, TMS_INFO);
  return ok;
}

bool CTarvoExchangeXML::DOMElement_driverfile_cd(DOMElement* e) {
  CString folder = GetAttributeValue(e, "directory");
  CheckForFilterParams(folder);
  if (folder.empty()) return true;
  if (tarvo::SetCurrentDirectory(tarvo::NativePath(folder)))
    Log("- Nuova cartella di lavoro [" + folder + "].", TMS_INFO);
  else
    Log("- Impossibile cambiare la directory di lavoro in  [" + folder + "].", TMS_ERROR);
  // A folder that cannot be entered does not stop the driver.
  return true;
}

bool CTarvoExchangeXML::DOMElement_driverfile_parser(DOMElement* e) {
  m_mapDialogParams.clear();
  for (DOMNode* n = e->getFirstChild(); n; n = n->getNextSibling()) {
    if (n->getNodeType() != DOMNode::ELEMENT_NODE) continue;
    auto* child = static_cast<DOMElement*>(n);
    if (ToLocal(child->getTagName()) == "param" && !DOMElement_driverfile_param(child)) return false;
  }
  CDlgStandardParser dialog(m_pParentWnd, m_mapDialogParams);
  dialog.SetDescrizione(m_strDescrizione);
  if (!dialog.DoModal()) return false;
  for (const auto& [name, param] : m_mapDialogParams) SetFilterParam(param.name, param.value);
  return true;
}

bool CTarvoExchangeXML::DOMElement_driverfile_param(DOMElement* e) {
  CDlgStandardParser::CParam param;
  param.type = GetAttributeValue(e, "type");
  param.name = GetAttributeValue(e, "name");
  param.label = GetAttributeValue(e, "label");
  param.mandatory = GetAttributeValue(e, "mandatory") == "yes";
  param.value = GetAttributeValue(e, "value");
  CheckForFilterParams(param.value);
  m_mapDialogParams[param.name] = param;
  return true;
}
