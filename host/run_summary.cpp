#include "host/run_summary.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <filesystem>

#include <nlohmann/json.hpp>

#include "framework/tarvo_import.h"
#include "platform/files.h"

namespace {
using nlohmann::ordered_json;

std::string IsoTime(std::chrono::system_clock::time_point t) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(t);
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  char text[64];
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(t.time_since_epoch()).count() % 1000;
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", utc.tm_year + 1900, utc.tm_mon + 1,
                utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec, static_cast<int>(ms));
  return text;
}

ordered_json OrNull(const std::string& text) { return text.empty() ? ordered_json() : ordered_json(text); }
}  // namespace

void RunSummary::Tally::OnLine(const CString& text, int status) {
  if (status == TMS_ERROR) {
    ++error;
    errors.push_back(tarvo::Cp1252ToUtf8(text));
  } else if (status == TMS_INFO) {
    ++info;
  } else {
    ++plain;
  }
}

void RunSummary::Tally::OnError(const std::string& utf8) {
  ++error;
  errors.push_back(utf8);
}

std::string RunSummary::ToJson() const {
  ordered_json doc;
  doc["format"] = "tarvo-exchange-run-summary/1";
  doc["procedure"] = {{"number", number ? ordered_json(*number) : ordered_json()},
                      {"class", OrNull(class_name)},
                      {"description", OrNull(description)}};
  doc["destination"] = OrNull(destination);
  doc["started"] = IsoTime(started);
  doc["ended"] = IsoTime(ended);
  doc["duration_seconds"] = std::chrono::duration<double>(ended - started).count();
  doc["result"] = result ? ordered_json(*result) : ordered_json();
  doc["outcome"] = outcome;
  doc["exit_code"] = exit_code;
  doc["dry_run"] = dry_run;
  doc["scratch_folder"] = OrNull(scratch_folder);
  doc["lock"] = OrNull(lock);
  doc["lines"] = {{"plain", lines.plain}, {"info", lines.info}, {"error", lines.error}};
  doc["errors"] = lines.errors;
  ordered_json list = ordered_json::array();
  for (const File& f : files) list.push_back({{"path", f.path}, {"size", f.size}, {"md5", f.md5}});
  doc["files"] = list;
  ordered_json rows = ordered_json::object();
  for (const auto& [table, c] : tables)
    rows[tarvo::Cp1252ToUtf8(table)] = {
        {"read", c.read}, {"inserted", c.inserted}, {"updated", c.updated}, {"skipped", c.skipped}};
  doc["tables"] = rows;
  // Text that is no valid UTF-8 (a driver's message) is replaced rather than refused.
  return doc.dump(2, ' ', false, ordered_json::error_handler_t::replace) + "\n";
}

void RunSummary::Write(const std::string& path) const {
  const std::string text = ToJson();
  CString temp;
  std::FILE* f = tarvo::CreateTemporaryBeside(path, temp);
  if (!f) throw tarvo::CFileException(path, "cannot write the summary: " + tarvo::GetSystemError(), errno);
  const bool written = std::fwrite(text.data(), 1, text.size(), f) == text.size() && std::fflush(f) == 0 &&
                       ::fsync(::fileno(f)) == 0;
  const bool closed = std::fclose(f) == 0;
  if (!written || !closed || !tarvo::RenameFile(temp, path)) {
    CString error = tarvo::GetSystemError();
    tarvo::RemoveFile(temp);
    throw tarvo::CFileException(path, "cannot write the summary: " + error, errno);
  }
}

FolderSnapshot FolderSnapshot::Take(const std::vector<std::string>& folders) {
  FolderSnapshot snapshot;
  for (const std::string& folder : folders) {
    std::error_code ec;
    if (folder.empty() || !std::filesystem::is_directory(folder, ec)) continue;
    for (auto it = std::filesystem::recursive_directory_iterator(folder, ec);
         !ec && it != std::filesystem::recursive_directory_iterator(); it.increment(ec)) {
      std::error_code fe;
      if (!it->is_regular_file(fe)) continue;
      const long long size = static_cast<long long>(it->file_size(fe));
      const auto time = it->last_write_time(fe);
      if (fe) continue;
      snapshot.files[it->path().lexically_normal().string()] = {size, static_cast<long long>(time.time_since_epoch().count())};
    }
  }
  return snapshot;
}

std::vector<RunSummary::File> FilesWritten(const FolderSnapshot& before, const FolderSnapshot& after) {
  std::vector<RunSummary::File> out;
  for (const auto& [path, entry] : after.files) {
    auto old = before.files.find(path);
    if (old != before.files.end() && old->second == entry) continue;
    std::string md5;
    try {
      md5 = tarvo::ToLower(CTarvoImport::DigestFile(path));
    } catch (const tarvo::CException&) {
      continue;  // gone again, or unreadable: not a file the run left
    }
    out.push_back({path, entry.size, md5});
  }
  return out;
}
