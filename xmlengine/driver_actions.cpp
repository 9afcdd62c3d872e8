// Local and remote actions of a driver: SQL statements packed into data files or run at once,
// external commands, file deletion, archives, HTTP and FTP transfers.
#include "xmlengine/tarvo_exchange_xml.h"

namespace {
// Actions this build does not carry yet stop the driver with one line naming them.
bool NotSupported(CTarvoImport& procedure, const char* element) {
  procedure.Log(tarvo::StrFormat("- Elemento %s non supportato.", element), TMS_ERROR);
  return false;
}
}  // namespace

bool CTarvoExchangeXML::DOMElement_driverfile_execute(DOMElement*) { return NotSupported(*this, "execute"); }

bool CTarvoExchangeXML::Process_driverfile_Execute(const CString&, CString&) { return NotSupported(*this, "execute"); }

bool CTarvoExchangeXML::DOMElement_driverfile_localexecute(DOMElement*) {
  return NotSupported(*this, "localexecute");
}

bool CTarvoExchangeXML::Process_driverfile_Localexecute(const CString&, const CString&) {
  return NotSupported(*this, "localexecute");
}

bool CTarvoExchangeXML::DOMElement_driverfile_command(DOMElement*) { return NotSupported(*this, "command"); }

bool CTarvoExchangeXML::DOMElement_driverfile_delfile(DOMElement*) { return NotSupported(*this, "delfile"); }

bool CTarvoExchangeXML::DOMElement_driverfile_zipfile(DOMElement*) { return NotSupported(*this, "zipfile"); }

bool CTarvoExchangeXML::Process_driverfile_ZipFileCompress(const CString&) { return NotSupported(*this, "zipfile"); }

bool CTarvoExchangeXML::Process_driverfile_ZipFileExtract(const CString&) { return NotSupported(*this, "zipfile"); }

bool CTarvoExchangeXML::MakeZipFile(const CString&) { return NotSupported(*this, "zipfile"); }

bool CTarvoExchangeXML::DOMElement_driverfile_httpupload(DOMElement*) { return NotSupported(*this, "httpupload"); }

bool CTarvoExchangeXML::Process_driverfile_HttpUpload(const CString&, const CString&, const CString&,
                                                      const CString&, const CString&) {
  return NotSupported(*this, "httpupload");
}

bool CTarvoExchangeXML::DOMElement_driverfile_httpdownload(DOMElement*) {
  return NotSupported(*this, "httpdownload");
}

bool CTarvoExchangeXML::Process_driverfile_HttpDownload(const CString&, const CString&, const CString&,
                                                        const CString&, const CString&) {
  return NotSupported(*this, "httpdownload");
}

// FTP elements are part of the grammar and deliberately do nothing.
bool CTarvoExchangeXML::DOMElement_driverfile_ftpupload(DOMElement*) { return true; }

bool CTarvoExchangeXML::DOMElement_driverfile_ftpdownload(DOMElement*) { return true; }

bool CTarvoExchangeXML::Process_driverfile_FtpDownload(const CString&, const CString&, const CString&,
                                                       const CString&, const CString&) {
  return true;
}

bool CTarvoExchangeXML::Process_driverfile_FtpUpload(const CString&, const CString&, const CString&, const CString&,
                                                     const CString&) {
  return NotSupported(*this, "ftpupload");
}
