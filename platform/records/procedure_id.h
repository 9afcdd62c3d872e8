// CProcedureId: runs one of the identifier procedures of the company database (GET_ID_AZIENDA,
// GET_ID_SEDE, GET_ID_ZONA_POSTALE, GET_ID_DOCUMENTO, GET_ID_VOCI_DOCUMENTO, GET_ID_SCADENZARIO,
// GET_ID_CC_USER) and holds the new key it returned, like a one-row record set whose first column
// is the identifier.
//
// PostgreSQL: the function of that name. SQLite (no stored procedures): the generator row of that
// name in ID_GENERATORE is incremented and read in one write transaction, so that two processes
// asking at once never receive the same key; when the caller already has a transaction open on
// the connection the step runs inside it (and the generator row stays locked until the caller
// ends it). Other drivers: the ODBC call "{call NAME}".
//
// Does not own the database; one thread at a time. On PostgreSQL the call of each procedure stays
// prepared (one round trip per new key) until Close: like a record set, close or destroy it before
// its database closes. Throws CDBException for driver errors and tarvo::CException (kInput) for a
// name that is not a generator of the database.
#pragma once

#include <map>
#include <memory>

#include "platform/odbc.h"

class CProcedureId {
 public:
  explicit CProcedureId(CDatabase* db) : db_(db) {}

  long m_ID = 0;  // the identifier handed out by the last Open

  // Runs the procedure and positions on its row: m_ID holds the new identifier. Returns true.
  bool Open(const CString& procedure);
  void Close() {
    open_ = false;
    calls_.clear();
  }
  bool IsOpen() const { return open_; }
  bool IsEOF() const { return !open_; }

  // Open + Close: the new identifier of `procedure`.
  long GetNewId(const CString& procedure);

 private:
  long NextFromGenerator(const CString& procedure);
  CDatabase* db_;
  bool open_ = false;
  std::map<CString, std::unique_ptr<CODBCStatement>> calls_;  // PostgreSQL: prepared calls by name
};
