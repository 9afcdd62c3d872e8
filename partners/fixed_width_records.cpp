// The bridge from the record layer to the field tables, apart from the rest of the fixed-width
// code so that the file readers and writers build without the database layer.
#include "dbexchange/record_transfer.h"
#include "partners/fixed_width.h"
#include "platform/errors.h"

namespace tarvo::partner {

std::vector<CString> RecordValues(const CRecordSetBase& record, const CRecordLayout& layout) {
  std::vector<CString> values;
  for (const char* column : ValueNames(layout)) {
    int index = record.FindField(column);
    if (index < 0) throw CException(ErrorKind::kInternal, StrFormat("Colonna %s assente", column));
    values.push_back(exchange::FieldText(record, index));
  }
  return values;
}

}  // namespace tarvo::partner
