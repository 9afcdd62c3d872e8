// The files compiled into tarvo-exchange: the SQLite schema scripts, the demo data and the sample
// driver files, named by their path in the source tree ("schema/sqlite/company.sql",
// "xmlengine/drivers/<name>.xml"). The bytes are static and live as long as the program.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

struct EmbeddedFile {
  std::string_view name;
  std::string_view data;
};

const std::vector<EmbeddedFile>& EmbeddedFiles();

// The file of that name, or nullopt.
std::optional<std::string_view> FindEmbeddedFile(std::string_view name);
// The sample driver files, in name order.
std::vector<EmbeddedFile> EmbeddedDriverFiles();
