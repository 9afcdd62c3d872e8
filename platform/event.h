// The stop event: a flag the host sets (Ctrl-C, a Stop button) and a procedure polls without
// waiting. Thread-safe; the host owns it.
#pragma once

#include <atomic>

class CEvent {
 public:
  void SetEvent() { set_.store(true, std::memory_order_release); }
  void ResetEvent() { set_.store(false, std::memory_order_release); }
  // Tests the event without waiting.
  bool IsSet() const { return set_.load(std::memory_order_acquire); }

 private:
  std::atomic<bool> set_{false};
};
