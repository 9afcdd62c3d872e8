// What the driver action tests share: the XML library for the whole program, a driver run in one
// call, and the lines of a run split by status.
#pragma once

#include <gmock/gmock.h>

#include "tests/xmlengine/engine_fixture.h"

namespace tarvo::test {

class XercesForTransfers : public testing::Environment {
 public:
  void SetUp() override { CTarvoImport::Xerces_StartPlatform(); }
  void TearDown() override { CTarvoImport::Xerces_StopPlatform(); }
};

// A driver environment whose engine runs the given steps in the work folder.
class DriverRun {
 public:
  DriverRun() { env.Prepare(engine, EngineEnvironment::Driver("")); }
  // Runs a driver made of `steps` after a change into the work folder; returns Run's result.
  int Run(const std::string& steps) {
    env.Prepare(engine, EngineEnvironment::Driver("<cd directory=\"@destfolder\"/>\n" + steps));
    return engine.Run();
  }
  std::vector<std::string> Lines() { return env.Lines(); }
  std::vector<std::string> LinesWith(int status) {
    env.window.Drain();
    std::vector<std::string> out;
    for (const auto& l : env.window.Lines())
      if (l.status == status) out.push_back(l.text);
    return out;
  }
  bool HasLine(const std::string& line) { return env.HasLine(line); }
  std::string Work(const std::string& name = "") const { return env.Work(name); }

  EngineEnvironment env;
  CTarvoExchangeXML engine;
};

}  // namespace tarvo::test
