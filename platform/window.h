// The host window as a message sink. A procedure running on a worker thread posts messages to
// it and never waits; the host thread takes them out with GetMessage. A window may be destroyed
// while a procedure still holds its address: posting to a destroyed window does nothing
// (IsWindow tells whether it still exists). All operations are thread-safe.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>

#include "platform/text.h"

using WPARAM = std::uintptr_t;
using LPARAM = std::intptr_t;
using UINT = unsigned int;

constexpr UINT WM_USER = 0x0400;
// A log line (wParam: new CString* owned by the receiver, lParam: status) or the end of a run
// (wParam: result, lParam: 2).
constexpr UINT WM_EXCHANGE_LOG = WM_USER + 3;

struct MSG {
  UINT message = 0;
  WPARAM wParam = 0;
  LPARAM lParam = 0;
};

class CWnd {
 public:
  CWnd();
  // Unregisters the window; messages still queued are discarded (log strings freed).
  virtual ~CWnd();
  CWnd(const CWnd&) = delete;
  CWnd& operator=(const CWnd&) = delete;

  // Waits up to `timeout` for the next message (forever when nullopt); nullopt on time-out.
  std::optional<MSG> GetMessage(std::optional<std::chrono::milliseconds> timeout = std::nullopt);
  // Takes every queued message at once (waiting as GetMessage does when none is queued, then
  // letting more gather for kBatchGathering); false on time-out. A busy host takes its lines in
  // batches this way instead of being woken for each line.
  bool GetMessages(std::deque<MSG>& out, std::optional<std::chrono::milliseconds> timeout = std::nullopt);
  size_t PendingMessages() const;
  static constexpr std::chrono::milliseconds kBatchGathering{5};

  // Posts to `window` if it still exists; false otherwise (the caller keeps ownership of
  // anything the message points to).
  static bool PostMessage(CWnd* window, UINT message, WPARAM wParam, LPARAM lParam);
  static bool IsWindow(const CWnd* window);

 private:
  mutable std::mutex mutex_;
  std::condition_variable cv_;
  std::deque<MSG> queue_;
};
