// SPDX-License-Identifier: Apache-2.0
#include "stop_signals.h"

#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>

namespace vexil::stop_signals {

namespace {

// What a signal does now: kIdle, end the run at once; kPrinting, be held. A held signal is its
// number (positive), until it is acted on.
constexpr int kIdle = 0;
constexpr int kPrinting = -1;
std::atomic<int> state{kIdle};
static_assert(std::atomic<int>::is_always_lock_free);

bool always_hold = false;  // main thread only

extern "C" void on_signal(int number) {
  int seen = state.load();
  while (seen == kPrinting && !state.compare_exchange_weak(seen, number)) {
  }
  if (seen == kIdle) {
    _exit(128 + number);
  }
}

[[noreturn]] void stop(int number) {
  std::fflush(stdout);
  _exit(128 + number);
}

}  // namespace

void install() {
  struct sigaction action {};
  action.sa_handler = on_signal;
  sigemptyset(&action.sa_mask);
  sigaddset(&action.sa_mask, SIGTERM);
  sigaddset(&action.sa_mask, SIGINT);
  // A write interrupted by a held signal goes on: the line it belongs to is finished.
  action.sa_flags = SA_RESTART;
  for (const int number : {SIGTERM, SIGINT}) {
    struct sigaction before {};
    if (sigaction(number, nullptr, &before) == 0 && before.sa_handler != SIG_IGN) {
      sigaction(number, &action, nullptr);
    }
  }
}

void set_line_buffered(bool line_buffered) {
  always_hold = !line_buffered;
  state.store(always_hold ? kPrinting : kIdle);
}

Printing::Printing() {
  if (!always_hold) {
    state.store(kPrinting);
  }
}

Printing::~Printing() {
  const int held = always_hold ? state.load() : state.exchange(kIdle);
  if (held > 0) {
    stop(held);
  }
}

void stop_if_asked() {
  const int held = state.load();
  if (held > 0) {
    stop(held);
  }
}

}  // namespace vexil::stop_signals
