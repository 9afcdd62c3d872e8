#include "platform/file_version.h"

#include "build_info.h"

bool CFileVersionInfo::Create(const CString& /*path*/) {
  productName_ = TARVO_PRODUCT_NAME;
  productVersion_ = TARVO_PRODUCT_VERSION;
  return true;
}
