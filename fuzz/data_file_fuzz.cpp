// The XML data-file reader: the input is read as a data file and every event is taken in.
#include <xercesc/util/XMLException.hpp>

#include "fuzz_file.h"
#include "xml_platform.h"
#include "xmlengine/data_file_reader.h"
#include "xmlengine/dom_support.h"

volatile size_t g_sink;  // keeps the reads from being optimised away

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  StartXmlOnce();
  const std::string& path = WriteFuzzFile(data, size);
  size_t seen = 0;
  CDataFileEvents events;
  events.beginTable = [&](const CString& name, const CString& key) { return (seen += name.size() + key.size()), true; };
  events.record = [&](CTarvoExchangeXML::CRecord& record, int) {
    for (const auto& c : record) seen += c.m_strName.size() + c.m_strType.size() + c.m_strValue.size();
    return true;
  };
  events.endTable = [&](const CString&, int records) { seen += static_cast<size_t>(records); };
  events.execute = [&](const CString& text) { return (seen += text.size()), true; };
  DOMTreeErrorReporter reporter(false, [](const CString& line) { (void)line.size(); });
  try {
    CDataFileReader::Read(path, &reporter, events);
  } catch (const xercesc::XMLException&) {
  }
  g_sink = seen;
  return 0;
}
