#include "host/stop_signals.h"

#include <pthread.h>

#include <atomic>

namespace {
std::atomic<int> g_count{0};
static_assert(std::atomic<int>::is_always_lock_free, "the signal handler needs a lock-free counter");

extern "C" void OnStopSignal(int) { g_count.fetch_add(1, std::memory_order_relaxed); }

sigset_t StopSet() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGTERM);
  return set;
}
}  // namespace

StopSignals::StopSignals() {
  g_count.store(0);
  struct sigaction sa {};
  sa.sa_handler = OnStopSignal;
  sigemptyset(&sa.sa_mask);
  sa.sa_flags = 0;
  sigaction(SIGINT, &sa, &old_int_);
  sigaction(SIGTERM, &sa, &old_term_);
}

StopSignals::~StopSignals() {
  sigaction(SIGINT, &old_int_, nullptr);
  sigaction(SIGTERM, &old_term_, nullptr);
}

int StopSignals::Count() { return g_count.load(std::memory_order_relaxed); }

StopSignals::Blocked::Blocked() {
  sigset_t set = StopSet();
  pthread_sigmask(SIG_BLOCK, &set, &previous_);
}

StopSignals::Blocked::~Blocked() { pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }
