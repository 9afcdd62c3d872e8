#include "platform/window.h"

#include <set>
#include <thread>

namespace {
// Every live window; guarded by RegistryMutex so that a post never races a destruction.
std::mutex& RegistryMutex() {
  static std::mutex m;
  return m;
}
std::set<const CWnd*>& Registry() {
  static std::set<const CWnd*> s;
  return s;
}

void FreeMessage(const MSG& msg) {
  if (msg.message == WM_EXCHANGE_LOG && msg.lParam != 2) delete reinterpret_cast<CString*>(msg.wParam);
}
}  // namespace

CWnd::CWnd() {
  std::lock_guard<std::mutex> lock(RegistryMutex());
  Registry().insert(this);
}

CWnd::~CWnd() {
  {
    std::lock_guard<std::mutex> lock(RegistryMutex());
    Registry().erase(this);
  }
  std::lock_guard<std::mutex> lock(mutex_);
  for (const MSG& m : queue_) FreeMessage(m);
  queue_.clear();
}

bool CWnd::IsWindow(const CWnd* window) {
  if (!window) return false;
  std::lock_guard<std::mutex> lock(RegistryMutex());
  return Registry().count(window) != 0;
}

bool CWnd::PostMessage(CWnd* window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (!window) return false;
  std::lock_guard<std::mutex> lock(RegistryMutex());
  if (!Registry().count(window)) return false;
  bool wasEmpty;
  {
    std::lock_guard<std::mutex> qlock(window->mutex_);
    wasEmpty = window->queue_.empty();
    window->queue_.push_back(MSG{message, wParam, lParam});
  }
  // The host sleeps only on an empty queue: waking it for every line of a busy run costs more than
  // the line itself.
  if (wasEmpty) window->cv_.notify_one();
  return true;
}

std::optional<MSG> CWnd::GetMessage(std::optional<std::chrono::milliseconds> timeout) {
  std::unique_lock<std::mutex> lock(mutex_);
  if (timeout) {
    if (!cv_.wait_for(lock, *timeout, [&] { return !queue_.empty(); })) return std::nullopt;
  } else {
    cv_.wait(lock, [&] { return !queue_.empty(); });
  }
  MSG m = queue_.front();
  queue_.pop_front();
  return m;
}

bool CWnd::GetMessages(std::deque<MSG>& out, std::optional<std::chrono::milliseconds> timeout) {
  out.clear();
  std::unique_lock<std::mutex> lock(mutex_);
  if (timeout) {
    if (!cv_.wait_for(lock, *timeout, [&] { return !queue_.empty(); })) return false;
  } else {
    cv_.wait(lock, [&] { return !queue_.empty(); });
  }
  // A busy run posts a line per row. Letting a few milliseconds of lines gather before taking
  // them means the poster finds the queue full and seldom has to wake this thread.
  lock.unlock();
  std::this_thread::sleep_for(kBatchGathering);
  lock.lock();
  out.swap(queue_);
  return true;
}

size_t CWnd::PendingMessages() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return queue_.size();
}
