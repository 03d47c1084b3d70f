// SPDX-License-Identifier: Apache-2.0
// --metrics-listen: an HTTP server, on a thread of its own, that answers GET and HEAD /metrics
// with the exposition the merge published last (404 for any other path, 405 for any other
// method).
//
// The merge never waits for a scraper: it renders each exposition itself and swaps it in whole
// under a lock held only to copy a pointer; a scrape sends the one it found, which stays alive
// as long as the scrape needs it. The server is libmicrohttpd, a C library made to be embedded:
// one thread polls every connection (epoll), so idle connections cost no thread, and there are
// at most 1,000 of them, each closed after 10 seconds without traffic.
#ifndef VEXIL_METRICS_SERVER_H
#define VEXIL_METRICS_SERVER_H

#include <memory>
#include <mutex>
#include <string>

struct MHD_Daemon;

namespace vexil {

class MetricsServer {
 public:
  // The two forms of one exposition.
  struct Snapshot {
    std::string text;         // text format 0.0.4
    std::string openmetrics;  // OpenMetrics 1.0.0
  };

  // Listens on [address:]port (127.0.0.1 unless given; an IPv6 address in brackets). Throws
  // std::runtime_error naming the address when it cannot.
  explicit MetricsServer(const std::string& listen);
  ~MetricsServer();
  MetricsServer(const MetricsServer&) = delete;
  MetricsServer& operator=(const MetricsServer&) = delete;

  void publish(std::shared_ptr<const Snapshot> snapshot);
  std::shared_ptr<const Snapshot> latest() const;

  // Where it listens, as http://address:port/metrics (the port chosen when 0 was asked for).
  const std::string& url() const { return where; }

 private:
  mutable std::mutex lock;
  std::shared_ptr<const Snapshot> current;
  std::string where;
  MHD_Daemon* daemon = nullptr;
};

}  // namespace vexil

#endif
