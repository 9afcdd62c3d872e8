#include "platform/window.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>

TEST(Window, PostingToADestroyedWindowIsRefusedAndLeavesOwnershipWithTheCaller) {
  auto w = std::make_unique<CWnd>();
  CWnd* raw = w.get();
  EXPECT_TRUE(CWnd::IsWindow(raw));
  w.reset();
  EXPECT_FALSE(CWnd::IsWindow(raw));
  EXPECT_FALSE(CWnd::PostMessage(raw, WM_EXCHANGE_LOG, 1, 2));
}

TEST(Window, DestroyingWhileAWorkerPostsNeitherCrashesNorLeaks) {
  for (int round = 0; round < 20; ++round) {
    auto* w = new CWnd;
    std::thread worker([w] {
      for (int i = 0; i < 2000; ++i) {
        auto* s = new CString("riga");
        if (!CWnd::PostMessage(w, WM_EXCHANGE_LOG, reinterpret_cast<WPARAM>(s), 0)) delete s;
      }
    });
    std::this_thread::yield();
    delete w;  // queued strings are freed with the window
    worker.join();
  }
}
