#include "publishing/http_photo_transfer.h"

#include <xercesc/dom/DOM.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>

#include <cerrno>
#include <memory>

#include "platform/files.h"
#include "platform/http_client.h"
#include "xmlengine/dom_support.h"

using tarvo::StrFormat;
using tarvo::xml::ToLocal;
using tarvo::xml::XStr;

namespace {
// The longest file error text a log line carries.
constexpr size_t kMaxErrorText = 2046;

// Where a reply is collected before it replaces `path`: a hidden name in the same folder, which
// the photo scans skip and a rename can move in one step.
CString PartialPath(const CString& path) {
  CString native = tarvo::NativePath(path);
  size_t slash = native.rfind('/');
  size_t start = slash == CString::npos ? 0 : slash + 1;
  return native.substr(0, start) + "." + native.substr(start) + ".part";
}

CString Attribute(const xercesc::DOMElement* element, const char* name) {
  return ToLocal(element->getAttribute(XStr(name).c_str()));
}
}  // namespace

CString CTarvoHttpPhotoTransfer::ListFilePath() const {
  return m_strOutDir.empty() ? CString("list.xml") : m_strOutDir + "\\" + "list.xml";
}

CString CTarvoHttpPhotoTransfer::RequestUrl(const CString& oper) const {
  return m_strHttpServer + m_strHttpURL + "?login=" + m_strHttpUID + "&password=" + m_strHttpPWD + "&tarvo=yes" + oper;
}

CString CTarvoHttpPhotoTransfer::Masked(const CString& text) const { return tarvo::MaskSecrets(text); }

bool CTarvoHttpPhotoTransfer::IsPlainFileName(const CString& name) {
  if (name.empty() || name == "." || name == "..") return false;
  return name.find_first_of("/\\:") == CString::npos;
}

bool CTarvoHttpPhotoTransfer::FetchHttpFilesList(const CString& listPath, const std::function<bool()>& read) {
  Log(" - Download della lista dei file disponibili sul server ... ", TMS_NONE);
  if (!DownloadHttpFilesList(listPath)) return false;
  Log(" - Download della lista dei file disponibili sul terminata ", TMS_NONE);  // sic: "sul terminata"
  Log(" - Lettura della lista dei file disponibili sul server ... ", TMS_NONE);
  if (!read()) return false;
  Log(" - Lettura della lista dei file disponibili sul server terminata ", TMS_NONE);
  return true;
}

bool CTarvoHttpPhotoTransfer::TransferEach(std::map<CString, CString>& files, const CString& verb,
                                           const char* doneLineEnd,
                                           const std::function<void(const CString& name)>& transfer,
                                           const std::function<bool(const CString& name)>& isCurrent) {
  Log(" - " + verb + " dei nuovi file disponibili ... ", TMS_NONE);
  for (auto entry = files.begin(); entry != files.end();) {
    if (isCurrent && isCurrent(entry->first)) {
      entry = files.erase(entry);
      continue;
    }
    if (CtrlEventStop()) return false;
    Log(" -- " + verb + " del file " + entry->first + " ... ", TMS_NONE);
    transfer(entry->first);
    Log(" -- " + verb + " del file " + entry->first + doneLineEnd, TMS_NONE);
    ++entry;
  }
  Log(" - " + verb + " dei nuovi file disponibili terminato ", TMS_NONE);
  return true;
}

int CTarvoHttpPhotoTransfer::Finish(bool done) {
  m_pHttp.reset();
  NotifyFinished(done ? 1 : 0);
  return done ? 1 : 0;
}

tarvo::CHttpClient* CTarvoHttpPhotoTransfer::NextRequest() {
  if (m_pHttp) m_pHttp->Reset();
  else m_pHttp = tarvo::CHttpClient::Create();
  return m_pHttp.get();
}

bool CTarvoHttpPhotoTransfer::DownloadHttpFilesList(CString listPath) {
  return FetchToFile(RequestUrl("&oper=list"), listPath);
}

bool CTarvoHttpPhotoTransfer::DownloadHttpFile(CString name) {
  CString path = m_strOutDir;
  if (!path.empty() && path.back() != '/' && path.back() != '\\') path += "\\";
  path += name;
  if (!IsPlainFileName(name)) {
    // A name that is absolute or climbs out of the folder is never written.
    Log("- Trasferimento file " + path + " fallito", TMS_NONE);
    return false;
  }
  return FetchToFile(RequestUrl("&oper=download&file=" + name), path);
}

bool CTarvoHttpPhotoTransfer::FetchToFile(const CString& url, const CString& path) {
  tarvo::CHttpClient* http = NextRequest();
  if (!http) return false;
  http->SetUrl(url);
  http->SetUserAgent(kUserAgent);

  const CString partial = PartialPath(path);
  const CString failed = "- Trasferimento file " + path + " fallito";
  CStdioFile file;
  try {
    file.Open(partial, CStdioFile::Mode::kWrite);
  } catch (const tarvo::CFileException& e) {
    Log(StrFormat("- ERRORE %s %d - %s", path.c_str(), e.Cause(), tarvo::SystemErrorText(e.Cause()).c_str()),
        TMS_NONE);
    return false;
  }
  http->SetWriteFunction(WriteCallback, &file);
  http->SetProgressFunction(ProgressCallback, this);
  http->SetStopEvent(m_pEventStop);  // a stop ends a slow reply; the old file stays
  bool transferred = true;
  try {
    http->Perform();
  } catch (const tarvo::CNetException& e) {
    transferred = false;
    if (std::exception_ptr cause = http->CallbackError()) {
      try {
        std::rethrow_exception(cause);
      } catch (const tarvo::CFileException& fe) {
        CString text = fe.GetErrorMessage().substr(0, kMaxErrorText);
        Log(StrFormat("- ERRORE %s: %d - %s", path.c_str(), fe.Cause(), text.c_str()), TMS_NONE);
      } catch (const std::exception& other) {
        Log(StrFormat("- ERRORE %s: %d - %s", path.c_str(), 0, other.what()), TMS_NONE);
      }
    }
    Log(StrFormat("- ERRORE %ld - %s", e.Code(), Masked(e.GetErrorMessage()).c_str()), TMS_NONE);
  }
  file.Close();
  if (!transferred) {
    tarvo::RemoveFile(partial);
    Log(failed, TMS_NONE);
    return false;
  }

  const CString contentType = http->GetContentType();
  const long status = http->GetResponseCode();
  Log(" -- Content-type: " + contentType, TMS_NONE);
  if (contentType.find("text/plain") != CString::npos) {
    // The server's message in place of the file: show it, keep the old file.
    CStdioFile message;
    try {
      message.Open(partial, CStdioFile::Mode::kRead);
      CString line;
      while (message.ReadString(line)) Log(line, TMS_NONE);
    } catch (const tarvo::CFileException& e) {
      Log(StrFormat("- ERRORE %s %d - %s", path.c_str(), e.Cause(), tarvo::SystemErrorText(e.Cause()).c_str()),
          TMS_NONE);
    }
    message.Close();
    tarvo::RemoveFile(partial);
    Log(failed, TMS_NONE);
    return false;
  }
  if (status >= 400) {
    // An error page is no photo and no list: the file in place stays as it was.
    tarvo::RemoveFile(partial);
    Log(StrFormat("- ERRORE %ld - il server ha risposto con lo stato HTTP %ld", status, status), TMS_NONE);
    Log(failed, TMS_NONE);
    return false;
  }
  if (!tarvo::RenameFile(partial, path)) {
    int err = errno;
    tarvo::RemoveFile(partial);
    Log(StrFormat("- ERRORE %s %d - %s", path.c_str(), err, tarvo::SystemErrorText(err).c_str()), TMS_NONE);
    Log(failed, TMS_NONE);
    return false;
  }
  return true;
}

bool CTarvoHttpPhotoTransfer::ParseHttpFilesList(const CString& listPath,
                                                 const std::function<void(const CListedFile&)>& take) {
  // The list comes from a server: no entity, DTD or schema it names is fetched, and expansion and
  // nesting are bounded.
  auto parser = std::make_unique<tarvo::xml::SafeDOMParser>();
  auto reporter = std::make_unique<DOMTreeErrorReporter>(m_bVerbose, [this](const CString& text) { Log(text, TMS_ERROR); });
  parser->setErrorHandler(reporter.get());
  parser->PrepareForDrivers();
  return tarvo::xml::ReadGuarded(
      [&] {
        parser->parse(XStr(tarvo::NativePath(listPath)).c_str());
        if (parser->getErrorCount() > 0) return false;
        const xercesc::DOMDocument* document = parser->getDocument();
        const xercesc::DOMElement* root = document ? document->getDocumentElement() : nullptr;
        if (!root) return false;
        for (const xercesc::DOMNode* node = root->getFirstChild(); node; node = node->getNextSibling()) {
          if (CtrlEventStop()) return false;
          if (node->getNodeType() != xercesc::DOMNode::ELEMENT_NODE || ToLocal(node->getNodeName()) != "file") continue;
          auto* element = static_cast<const xercesc::DOMElement*>(node);
          take({Attribute(element, "name"), Attribute(element, "mtime"), Attribute(element, "size"),
                Attribute(element, "md5")});
        }
        return true;
      },
      *reporter,
      [this](const CString& details) { Log("Errore durante la lettura del driver\n   Dettagli: " + details, TMS_NONE); });
}
