// Starts the XML library once for a fuzz target's whole run.
#pragma once

#include <xercesc/util/PlatformUtils.hpp>

inline void StartXmlOnce() {
  static const bool started = [] {
    xercesc::XMLPlatformUtils::Initialize();
    return true;
  }();
  (void)started;
}
