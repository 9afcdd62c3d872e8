#include "host/embedded_files.h"

namespace {
constexpr std::string_view kDriverFolder = "xmlengine/drivers/";
}

std::optional<std::string_view> FindEmbeddedFile(std::string_view name) {
  for (const EmbeddedFile& f : EmbeddedFiles())
    if (f.name == name) return f.data;
  return std::nullopt;
}

std::vector<EmbeddedFile> EmbeddedDriverFiles() {
  std::vector<EmbeddedFile> drivers;
  for (const EmbeddedFile& f : EmbeddedFiles())
    if (f.name.starts_with(kDriverFolder)) drivers.push_back(f);
  return drivers;
}
