// The rows of a query as texts, for comparing database contents in tests: one text per row, its
// values separated and ended by "|", NULL as "<null>", integers in decimal and other numbers in
// the shortest form ("%g"), so that both drivers print the same rows alike.
#pragma once

#include <string>
#include <vector>

#include "platform/odbc.h"

namespace tarvo::test {

std::vector<std::string> QueryRows(CDatabase& db, const std::string& sql);
// The first row, or "<none>".
std::string QueryRow(CDatabase& db, const std::string& sql);

}  // namespace tarvo::test
