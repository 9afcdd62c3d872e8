// Product name and version of the running program. The executables carry no version resource
// here, so both texts come from the build (build_info.h). Cheap to create; read-only afterwards.
#pragma once

#include "platform/text.h"

class CFileVersionInfo {
 public:
  // Reads the version of `path` ("" = the running program). Always succeeds with the build's texts.
  bool Create(const CString& path = "");
  const CString& GetProductName() const { return productName_; }
  // The version as the build wrote it, for example "1.2.0".
  const CString& GetProductVersion() const { return productVersion_; }

 private:
  CString productName_;
  CString productVersion_;
};
