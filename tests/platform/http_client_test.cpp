// The HTTP client against a real server on loopback.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "platform/event.h"
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

// A server that takes the connection (the kernel's backlog does) and never answers.
class SilentServer {
 public:
  SilentServer() : fd_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof a;
    if (::bind(fd_, reinterpret_cast<sockaddr*>(&a), len) != 0 || ::listen(fd_, 4) != 0 ||
        ::getsockname(fd_, reinterpret_cast<sockaddr*>(&a), &len) != 0)
      ADD_FAILURE() << "no listening socket";
    port_ = ntohs(a.sin_port);
  }
  ~SilentServer() { ::close(fd_); }
  std::string Url() const { return "http://127.0.0.1:" + std::to_string(port_) + "/files/a.zip"; }

 private:
  int fd_;
  int port_ = 0;
};

TEST(HttpClient, StalledServerEndsWithTheStallTimeOut) {
  SilentServer silent;
  auto http = CHttpClient::Create();
  http->SetUrl(silent.Url());
  http->SetTimeouts({5, 1});
  auto start = std::chrono::steady_clock::now();
  try {
    http->Perform();
    FAIL() << "no exception";
  } catch (const CNetException& e) {
    EXPECT_EQ(28, e.Code()) << e.what();  // operation timed out
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST(HttpClient, StopEventEndsAStalledTransfer) {
  SilentServer silent;
  CEvent stop;
  auto http = CHttpClient::Create();
  http->SetUrl(silent.Url());
  http->SetTimeouts({0, 0});  // nothing else would end it
  http->SetStopEvent(&stop);
  std::thread stopper([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    stop.SetEvent();
  });
  try {
    http->Perform();
    ADD_FAILURE() << "no exception";
  } catch (const CNetException& e) {
    EXPECT_EQ(kTransferStopped, e.Code()) << e.what();
  }
  stopper.join();
}

}  // namespace
}  // namespace tarvo
