// ExecuteProcedureCall: runs a stored procedure of the company database written as an ODBC call,
// "{call AGGIORNA_TOTALI_DOCUMENTO( 7, 2, 2, 0.00)}", with its arguments given as SQL literals.
//
// PostgreSQL: the function of that name ("SELECT NAME( args )"). SQLite (no stored procedures):
// the schema declares the procedure as a view of its parameters whose INSTEAD OF INSERT trigger
// holds the body, and the call becomes "INSERT INTO NAME VALUES ( args )". Other drivers: the
// call as it stands. Like CProcedureId, the step runs inside the caller's transaction when one
// is open.
//
// Does not own the database. Throws CDBException for driver errors and tarvo::CException
// (kInternal) for a text that is no such call.
#pragma once

#include "platform/odbc.h"

void ExecuteProcedureCall(CDatabase& db, const CString& call);
