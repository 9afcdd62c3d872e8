// The callbacks every HTTP transfer hands to the platform's client, and the file digest the
// photo procedures compare with the server's.
#include <cryptopp/files.h>
#include <cryptopp/filters.h>
#include <cryptopp/hex.h>
#define CRYPTOPP_ENABLE_NAMESPACE_WEAK 1
#include <cryptopp/md5.h>

#include <cerrno>
#include <cstdio>

#include "framework/tarvo_import.h"
#include "platform/files.h"

using tarvo::StrFormat;

size_t CTarvoImport::WriteCallback(void* data, size_t size, size_t count, void* file) {
  size_t n = size * count;
  static_cast<CStdioFile*>(file)->Write(data, n);
  return n;
}

int CTarvoImport::ProgressCallback(void* procedure, double dlTotal, double dlNow, double /*ulTotal*/,
                                   double /*ulNow*/) {
  // Only the download side is reported: during an upload that is the server's reply.
  if (dlNow == 0) return 0;
  CString line;
  if (dlTotal == 0) line = StrFormat(" -- Trasferimento file: %.02fK di [??]", dlNow / 1024);
  else
    line = StrFormat(" -- Trasferimento file: %.02fK di %.02fK (%0.2f%% completato)", dlNow / 1024, dlTotal / 1024,
                     dlNow / dlTotal * 100);
  static_cast<CTarvoImport*>(procedure)->Log(line, TMS_INFO);
  return 0;
}

size_t CTarvoImport::ResponseCallback(void* data, size_t size, size_t count, void* procedure) {
  auto* self = static_cast<CTarvoImport*>(procedure);
  if (self->CtrlEventStop()) return 0;
  size_t n = size * count;
  self->LogEx(static_cast<const char*>(data), static_cast<int>(n), TMS_INFO);
  return n;
}

CString CTarvoImport::DigestFile(const CString& path) {
  // Read in large blocks straight into one buffer on the stack (no stdio buffer, nothing
  // allocated per file): the hash then runs at the speed of the disk cache.
  std::FILE* file = std::fopen(tarvo::NativePath(path).c_str(), "rbe");
  if (!file) {
    int err = errno;
    throw tarvo::CFileException(path, "Impossibile aprire il file " + path + ": " + tarvo::SystemErrorText(err), err);
  }
  std::setvbuf(file, nullptr, _IONBF, 0);
  CryptoPP::Weak::MD5 hash;
  CryptoPP::byte block[64 * 1024];
  size_t n;
  while ((n = std::fread(block, 1, sizeof block, file)) > 0) hash.Update(block, n);
  bool failed = std::ferror(file);
  std::fclose(file);
  if (failed) throw tarvo::CFileException(path, "Errore di lettura del file " + path, errno);
  CryptoPP::byte digest[CryptoPP::Weak::MD5::DIGESTSIZE];
  hash.Final(digest);
  CString hex;
  CryptoPP::ArraySource(digest, sizeof digest, true, new CryptoPP::HexEncoder(new CryptoPP::StringSink(hex), true, 0));
  return hex;
}
