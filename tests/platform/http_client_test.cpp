// The HTTP client against a real server on loopback.
#include <gtest/gtest.h>

#include "platform/http_client.h"
#include "support/web_shop_server.h"

namespace tarvo {
namespace {

using test::WebShopServer;

size_t Refuse(void*, size_t, size_t, void*) { throw CFileException("x", "disco pieno", 28); }

// The happy paths run through the driver's httpupload and httpdownload (tests/transfers).

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
