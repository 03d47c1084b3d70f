// SPDX-License-Identifier: Apache-2.0
#include "service_notify.h"

#include <systemd/sd-daemon.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "vexil_file.h"

namespace vexil {

ServiceNotify::ServiceNotify() : listening(std::getenv("NOTIFY_SOCKET") != nullptr) {
  std::uint64_t usec = 0;
  if (sd_watchdog_enabled(0, &usec) > 0) {
    interval = std::chrono::microseconds(usec);
  }
}

void ServiceNotify::ready() {
  sd_notify(0, "READY=1");
  last_ping = std::chrono::steady_clock::now();
}

void ServiceNotify::status(std::size_t inputs, std::int64_t printed_until, std::size_t lagging) {
  if (!listening
      || (status_sent && inputs == last_inputs && printed_until == last_printed_until
          && lagging == last_lagging)) {
    return;
  }
  std::string text = "STATUS=" + std::to_string(inputs) + " inputs, ";
  text += printed_until == INT64_MIN ? std::string("no bucket printed yet")
                                     : "last bucket ended " + utc_time_of_day(printed_until);
  text += ", " + std::to_string(lagging) + " lagging";
  sd_notify(0, text.c_str());
  status_sent = true;
  last_inputs = inputs;
  last_printed_until = printed_until;
  last_lagging = lagging;
}

void ServiceNotify::alive() {
  if (!watchdog()) {
    return;
  }
  const auto now = std::chrono::steady_clock::now();
  if (now - last_ping >= interval / 4) {
    sd_notify(0, "WATCHDOG=1");
    last_ping = now;
  }
}

int ServiceNotify::wait_ms() const {
  const auto half = std::chrono::duration_cast<std::chrono::milliseconds>(interval / 2).count();
  return watchdog() ? static_cast<int>(std::clamp<std::int64_t>(half, 1, 500)) : 500;
}

}  // namespace vexil
