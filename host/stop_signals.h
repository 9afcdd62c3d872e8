// Ctrl-C (SIGINT) and SIGTERM during a run. The handler only counts the signals; the host
// thread polls the count between messages and sets the procedure's stop event. Worker threads
// started inside a StopSignals scope block both signals, so that the handler interrupts only
// the host thread. One scope at a time per process.
#pragma once

#include <csignal>

class StopSignals {
 public:
  StopSignals();   // installs the handlers (no SA_RESTART: a pending terminal read is interrupted)
  ~StopSignals();  // restores the previous handlers
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  // Signals received since the scope began.
  static int Count();

  // Blocks SIGINT and SIGTERM in the calling thread while alive (threads started meanwhile
  // inherit the mask).
  class Blocked {
   public:
    Blocked();
    ~Blocked();

   private:
    sigset_t previous_;
  };

 private:
  struct sigaction old_int_ {};
  struct sigaction old_term_ {};
};
