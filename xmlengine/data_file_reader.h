// CDataFileReader reads an XML data file ("exchangedata") whole into memory and then hands it out
// as events: the start and end of each `table`, each `record` with its columns, and each `execute`
// statement. A file with errors hands out nothing. The file is kept in a packed form (one byte
// stream, column names and types stored once), a small fraction of a document tree's size.
// Used by the import step on the engine's worker thread.
#pragma once

#include <functional>

#include <xercesc/sax/ErrorHandler.hpp>

#include "platform/text.h"
#include "xmlengine/tarvo_exchange_xml.h"

struct CDataFileEvents {
  // `table` with its "name" and "primarykey"; false stops the reading.
  std::function<bool(const CString& name, const CString& primarykey)> beginTable;
  // One `record` of the current table, numbered from 1; false stops the reading.
  std::function<bool(CTarvoExchangeXML::CRecord& record, int number)> record;
  // The end of the current table, with the number of its records.
  std::function<void(const CString& name, int records)> endTable;
  // The text of an `execute` (plain text children only, as written); false stops the reading.
  std::function<bool(const CString& text)> execute;
  // Polled while the file is read (may be empty): true ends the reading with nothing handed out.
  std::function<bool()> stopRequested;
};

class CDataFileReader {
 public:
  // Parses the file at `path` (native) without validation, reporting errors to `errors`, and,
  // when it has none, hands its content to `events` in document order. Returns false when the
  // file has errors (elements nested too deep among them: reported to `errors` as well), a stop
  // was requested or an event stopped the reading. The XML library's exceptions pass through,
  // except running out of memory, which becomes a tarvo::CException. External entities and
  // DTDs are never fetched (dom_support.h).
  static bool Read(const CString& path, xercesc::ErrorHandler* errors, const CDataFileEvents& events);
};
