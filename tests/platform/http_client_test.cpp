// The HTTP client against a real server on loopback.
#include <gtest/gtest.h>

#include "platform/files.h"
#include "platform/http_client.h"
#include "support/test_db.h"
#include "support/web_shop_server.h"

namespace tarvo {
namespace {

using test::TempDir;
using test::WebShopServer;

size_t Collect(void* data, size_t size, size_t count, void* target) {
  static_cast<std::string*>(target)->append(static_cast<const char*>(data), size * count);
  return size * count;
}

size_t Refuse(void*, size_t, size_t, void*) { throw CFileException("x", "disco pieno", 28); }

TEST(HttpClient, MultipartPostSendsFieldsInOrderWithoutExpectHeader) {
  WebShopServer server;
  TempDir dir;
  WriteFileBytes(dir.File("dati.zip"), std::string("PK\x05\x06\0\0", 6));
  auto http = CHttpClient::Create();
  ASSERT_TRUE(http);
  http->SetHeaders({"Expect:"});
  http->SetUrl(server.Url() + "/upload");
  http->SetMultipartForm({{"datafile", dir.File("dati.zip"), true},
                          {"login", "agente"},
                          {"password", "segreta"},
                          {"tarvo", "1.0.0"}});
  http->SetUserAgent("TarvoExchange/1.0.0");
  std::string reply;
  http->SetWriteFunction(Collect, &reply);
  http->Perform();

  EXPECT_EQ(200, http->GetResponseCode());
  EXPECT_EQ("OK: file dati.zip ricevuto\n", reply);
  ASSERT_EQ(1u, server.Uploads().size());
  WebShopServer::Upload up = server.Uploads()[0];
  EXPECT_EQ((std::vector<std::string>{"datafile", "login", "password", "tarvo"}), up.fieldOrder);
  EXPECT_EQ(std::string("PK\x05\x06\0\0", 6), up.fields["datafile"]);
  EXPECT_EQ("1.0.0", up.fields["tarvo"]);
  EXPECT_FALSE(up.expectHeader);
  EXPECT_EQ("TarvoExchange/1.0.0", up.userAgent);
}

TEST(HttpClient, GetReportsStatusAndContentType) {
  WebShopServer server;
  server.PutFile("a.xml", "<a/>", "text/xml", 202);
  auto http = CHttpClient::Create();
  http->SetUrl(server.Url() + "/files/a.xml?login=agente&password=segreta&tarvo=yes");
  http->SetUserAgent("Tarvo/1.0");
  std::string body;
  http->SetWriteFunction(Collect, &body);
  http->Perform();
  EXPECT_EQ(202, http->GetResponseCode());
  EXPECT_EQ("text/xml", http->GetContentType());
  EXPECT_EQ("<a/>", body);
  EXPECT_EQ("Tarvo/1.0", server.LastUserAgent());
}

// --- error paths ---

TEST(HttpClient, RefusedConnectionBecomesNetExceptionWithCurlCode) {
  int port;
  {
    WebShopServer gone;  // a port that was free a moment ago and is closed now
    port = gone.Port();
  }
  auto http = CHttpClient::Create();
  http->SetUrl("http://127.0.0.1:" + std::to_string(port) + "/upload");
  try {
    http->Perform();
    FAIL() << "no exception";
  } catch (const CNetException& e) {
    EXPECT_EQ(7, e.Code());  // could not connect
    EXPECT_NE(std::string(e.what()).find(std::to_string(port)), std::string::npos) << e.what();
  }
  EXPECT_EQ(0, http->GetResponseCode());
}

TEST(HttpClient, ExceptionFromWriteFunctionAbortsAndIsKept) {
  WebShopServer server;
  server.PutFile("a.zip", "data", "application/zip");
  auto http = CHttpClient::Create();
  http->SetUrl(server.Url() + "/files/a.zip?login=agente&password=segreta&tarvo=yes");
  http->SetWriteFunction(Refuse, nullptr);
  EXPECT_THROW(http->Perform(), CNetException);
  ASSERT_TRUE(http->CallbackError());
  try {
    std::rethrow_exception(http->CallbackError());
  } catch (const CFileException& e) {
    EXPECT_EQ(28, e.Cause());
  }
}

}  // namespace
}  // namespace tarvo
