// SPDX-License-Identifier: Apache-2.0
// What a service manager that started vexil with Type=notify is told: READY=1 once the inputs
// are open, a STATUS= line whenever it changes (inputs, the end of the last bucket printed,
// inputs lagging) and, when it asks for a watchdog, WATCHDOG=1 at least every half of its
// interval. Without a manager listening (no NOTIFY_SOCKET) nothing is sent.
#ifndef VEXIL_SERVICE_NOTIFY_H
#define VEXIL_SERVICE_NOTIFY_H

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace vexil {

class ServiceNotify {
 public:
  ServiceNotify();

  void ready();
  // Sends STATUS= when one of its figures changed since the last one sent; called once a pass of
  // the merge, so it does nothing more than compare them otherwise.
  void status(std::size_t inputs, std::int64_t printed_until, std::size_t lagging);
  // Whether the manager asked for WATCHDOG=1 pings.
  bool watchdog() const { return interval.count() > 0; }
  // Pings when a quarter of the interval has passed since the last ping.
  void alive();
  // How long a wait for input may last: half the watchdog interval, at most 500 ms.
  int wait_ms() const;

 private:
  std::chrono::microseconds interval{0};
  std::chrono::steady_clock::time_point last_ping{};
  bool listening = false;  // NOTIFY_SOCKET is set
  bool status_sent = false;
  std::size_t last_inputs = 0;
  std::int64_t last_printed_until = 0;
  std::size_t last_lagging = 0;
};

}  // namespace vexil

#endif
