#include "host/run_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <thread>

#include "platform/errors.h"
#include "platform/files.h"

namespace {
// The first key of every advisory lock of this system ("TARV"), the second names the procedure
// and the schema.
constexpr long long kAdvisoryClass = 0x54415256;

unsigned Fnv1a(const std::string& text) {
  unsigned h = 2166136261u;
  for (unsigned char c : text) h = (h ^ c) * 16777619u;
  return h;
}

// A file name part made of the procedure's number or class name.
std::string Sanitised(const std::string& text) {
  std::string out;
  for (char c : text) out += std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_' ? c : '_';
  return out;
}

// The first column of the first row of a query, "" for none.
std::string QueryText(CDatabase& db, const std::string& sql) {
  CODBCStatement s(&db);
  s.Prepare(sql);
  return s.QueryFirstValue().value_or("");
}

// "pid 4711 on host db1, user tarvo"
std::string Identity() {
  char host[256] = "?";
  ::gethostname(host, sizeof host - 1);
  const char* user = std::getenv("USER");
  return tarvo::StrFormat("pid %ld on host %s%s%s", static_cast<long>(::getpid()), host,
                          user && *user ? ", user " : "", user && *user ? user : "");
}

// What the lock file tells the others: Identity() and the time the lock was taken.
std::string LockHolderText() {
  std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char since[32];
  std::strftime(since, sizeof since, "%Y-%m-%d %H:%M:%S", &local);
  return Identity() + ", since " + since;
}

std::string SqlQuoted(const std::string& text) {
  std::string out = "'";
  for (char c : text) out += c == '\'' ? std::string("''") : std::string(1, c);
  return out + "'";
}
}  // namespace

RunLock::RunLock(std::string destination, std::string procedure)
    : destination_(std::move(destination)), procedure_(std::move(procedure)) {}

RunLock::~RunLock() {
  if (fd_ >= 0) ::close(fd_);  // closing releases the flock
  if (server_) server_->Close();  // ending the session releases the advisory lock
}

void RunLock::Open() {
  // The SQLite file the destination names, however it is spelt (a path, an ODBC connection
  // string, a symbolic link): the same file, the same lock file.
  std::string file;
  if (destination_.find('=') == std::string::npos) {
    file = destination_;
  } else {
    auto db = std::make_unique<CDatabase>();
    db->OpenEx(destination_);
    if (db->GetDialect() == EDialect::kSQLite)
      file = QueryText(*db, "SELECT file FROM pragma_database_list WHERE name = 'main'");
    if (db->GetDialect() == EDialect::kPostgreSQL) {
      server_ = std::move(db);
      const std::string schema = QueryText(*server_, "SELECT current_schema()");
      key1_ = kAdvisoryClass;
      key2_ = static_cast<long long>(Fnv1a(procedure_ + "@" + schema) & 0x7fffffffu);
      where_ = tarvo::StrFormat("PostgreSQL advisory lock %lld/%lld (schema %s)", key1_, key2_, schema.c_str());
      // The others find the holder by its session's name (at most 63 bytes) and start.
      const std::string name = (HolderPrefix() + Identity()).substr(0, 63);
      server_->ExecuteSQL("SET application_name = " + SqlQuoted(name));
      return;
    }
  }
  // Beside a SQLite file; under the temporary folder for other databases, and for a SQLite file
  // in a folder this user may not write (or that is missing: the procedure reports that itself).
  const bool beside = !file.empty();
  if (beside) {
    std::error_code ec;
    const std::filesystem::path resolved = std::filesystem::weakly_canonical(file, ec);
    if (!ec) file = resolved.string();
  }
  const std::string inTemp = (std::filesystem::temp_directory_path() /
                              tarvo::StrFormat("tarvo-exchange-%08x", Fnv1a(beside ? file : tarvo::MaskSecrets(destination_))))
                                 .string();
  path_ = (beside ? file : inTemp) + "." + Sanitised(procedure_) + ".lock";
  fd_ = ::open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (fd_ < 0 && beside) {
    path_ = inTemp + "." + Sanitised(procedure_) + ".lock";
    fd_ = ::open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  }
  where_ = "lock file " + path_;
  if (fd_ < 0) throw tarvo::CFileException(path_, "cannot open the lock file: " + tarvo::SystemErrorText(errno), errno);
}

std::string RunLock::HolderPrefix() const { return "tarvo-exchange " + procedure_ + ": "; }

RunLock::Outcome RunLock::Acquire(std::chrono::milliseconds wait, const std::function<bool()>& stopped) {
  if (!server_ && fd_ < 0) Open();
  const auto deadline = std::chrono::steady_clock::now() + wait;
  for (;;) {
    if (server_ ? TryServer() : TryFile()) return Outcome::kAcquired;
    if (std::chrono::steady_clock::now() >= deadline) break;
    if (stopped && stopped()) return Outcome::kStopped;
    std::this_thread::sleep_for(std::chrono::milliseconds(server_ ? 250 : 100));
  }
  holder_ = server_ ? ServerHolder() : FileHolder();
  return Outcome::kHeld;
}

bool RunLock::TryFile() {
  if (::flock(fd_, LOCK_EX | LOCK_NB) != 0) {
    if (errno == EWOULDBLOCK || errno == EINTR) return false;
    throw tarvo::CFileException(path_, "cannot lock the lock file: " + tarvo::SystemErrorText(errno), errno);
  }
  const std::string me = LockHolderText() + "\n";
  if (::ftruncate(fd_, 0) == 0) {
    [[maybe_unused]] ssize_t written = ::pwrite(fd_, me.data(), me.size(), 0);
  }
  return true;
}

bool RunLock::TryServer() {
  return QueryText(*server_, tarvo::StrFormat("SELECT CASE WHEN pg_try_advisory_lock(%lld, %lld) THEN 1 ELSE 0 END",
                                              key1_, key2_)) == "1";
}

std::string RunLock::ServerHolder() const {
  std::string name = QueryText(
      *server_, tarvo::StrFormat("SELECT a.application_name || ', since ' || to_char(a.backend_start, 'YYYY-MM-DD HH24:MI:SS') "
                                 "FROM pg_locks l JOIN pg_stat_activity a ON a.pid = l.pid "
                                 "WHERE l.locktype = 'advisory' AND l.granted AND l.classid = %lld AND l.objid = %lld "
                                 "AND l.objsubid = 2 AND l.database = "
                                 "(SELECT oid FROM pg_database WHERE datname = current_database())",
                                 key1_, key2_));
  return name.starts_with(HolderPrefix()) ? name.substr(HolderPrefix().size()) : name;
}

std::string RunLock::FileHolder() const {
  try {
    return tarvo::Trim(tarvo::ReadFileBytes(path_));
  } catch (const tarvo::CException&) {
    return {};
  }
}
