// CDomainClass: helpers for the SQL texts the procedures build by hand (filters such as
// "ID = '%s'"). Stateless; safe from any thread.
#pragma once

#include "platform/text.h"

class CDomainClass {
 public:
  // The value made safe inside a quoted SQL literal: every single quote is doubled.
  static CString SetFilterParam(const CString& value) {
    CString safe = value;
    tarvo::ReplaceAll(safe, "'", "''");
    return safe;
  }
};
