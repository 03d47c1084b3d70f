// SPDX-License-Identifier: Apache-2.0
#include "metrics_server.h"

#include <fcntl.h>
#include <microhttpd.h>
#include <netdb.h>
#include <netinet/in.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string_view>

namespace vexil {

namespace {

constexpr unsigned kConnectionLimit = 1000;
constexpr unsigned kIdleSeconds = 10;

// The address as the user meant it: host (127.0.0.1 unless given) and port.
struct Listen {
  std::string host;
  std::string port;
  std::string shown;  // host:port, an IPv6 host in brackets
};

Listen parse_listen(const std::string& text) {
  Listen l{"127.0.0.1", text, ""};
  if (!text.empty() && text[0] == '[') {
    const std::size_t close = text.find(']');
    if (close == std::string::npos || text.compare(close + 1, 1, ":") != 0) {
      throw std::runtime_error("Invalid --metrics-listen address: " + text);
    }
    l.host = text.substr(1, close - 1);
    l.port = text.substr(close + 2);
  } else if (const std::size_t colon = text.rfind(':'); colon != std::string::npos) {
    l.host = text.substr(0, colon);
    l.port = text.substr(colon + 1);
  }
  const bool numeric = !l.port.empty() && l.port.size() <= 5
                       && l.port.find_first_not_of("0123456789") == std::string::npos;
  if (!numeric || std::stoi(l.port) > 65535 || l.host.empty()
      || (text[0] != '[' && l.host.find(':') != std::string::npos)) {
    throw std::runtime_error("Invalid --metrics-listen address: " + text);
  }
  l.shown = l.host.find(':') == std::string::npos ? l.host : "[" + l.host + "]";
  l.shown.append(":").append(l.port);
  return l;
}

[[noreturn]] void cannot_listen(const std::string& shown, const char* why) {
  throw std::runtime_error(
      std::string("Unable to listen on ").append(shown).append(": ").append(why));
}

// A listening socket, bound here so that a failure can say why; the port bound is returned in
// port (the one chosen when 0 was asked for).
int listen_socket(const Listen& l, std::string& port) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
  addrinfo* found = nullptr;
  if (const int error = getaddrinfo(l.host.c_str(), l.port.c_str(), &hints, &found); error != 0) {
    cannot_listen(l.shown, gai_strerror(error));
  }
  const int fd = socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  const int on = 1;
  if (fd < 0 || setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0
      || bind(fd, found->ai_addr, found->ai_addrlen) != 0 || listen(fd, 128) != 0) {
    const int error = errno;
    freeaddrinfo(found);
    if (fd >= 0) {
      close(fd);
    }
    cannot_listen(l.shown, std::strerror(error));
  }
  freeaddrinfo(found);
  sockaddr_storage bound{};
  socklen_t size = sizeof bound;
  getsockname(fd, reinterpret_cast<sockaddr*>(&bound), &size);
  port = std::to_string(ntohs(bound.ss_family == AF_INET6
                                  ? reinterpret_cast<sockaddr_in6*>(&bound)->sin6_port
                                  : reinterpret_cast<sockaddr_in*>(&bound)->sin_port));
  return fd;
}

MHD_Result answer(MHD_Connection* connection, unsigned status, const char* text) {
  MHD_Response* response = MHD_create_response_from_buffer(
      std::strlen(text), const_cast<char*>(text), MHD_RESPMEM_PERSISTENT);
  if (response == nullptr) {
    return MHD_NO;
  }
  MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, "text/plain; charset=utf-8");
  if (status == MHD_HTTP_METHOD_NOT_ALLOWED) {
    MHD_add_response_header(response, MHD_HTTP_HEADER_ALLOW, "GET, HEAD");
  }
  const MHD_Result queued = MHD_queue_response(connection, status, response);
  MHD_destroy_response(response);
  return queued;
}

void release(void* snapshot) {
  delete static_cast<std::shared_ptr<const MetricsServer::Snapshot>*>(snapshot);
}

MHD_Result handle(void* cls, MHD_Connection* connection, const char* url, const char* method,
                  const char* /*version*/, const char* /*upload_data*/,
                  std::size_t* /*upload_data_size*/, void** /*con_cls*/) {
  if (std::strcmp(url, "/metrics") != 0) {
    return answer(connection, MHD_HTTP_NOT_FOUND, "Not found: the metrics are at /metrics\n");
  }
  if (std::strcmp(method, MHD_HTTP_METHOD_GET) != 0
      && std::strcmp(method, MHD_HTTP_METHOD_HEAD) != 0) {
    return answer(connection, MHD_HTTP_METHOD_NOT_ALLOWED, "Only GET and HEAD\n");
  }
  auto* held = new std::shared_ptr<const MetricsServer::Snapshot>(
      static_cast<const MetricsServer*>(cls)->latest());
  if (!*held) {
    delete held;
    return answer(connection, MHD_HTTP_SERVICE_UNAVAILABLE, "Not started yet\n");
  }
  const char* accept =
      MHD_lookup_connection_value(connection, MHD_HEADER_KIND, MHD_HTTP_HEADER_ACCEPT);
  const bool openmetrics =
      accept != nullptr && std::strstr(accept, "application/openmetrics-text") != nullptr;
  const std::string& body = openmetrics ? (*held)->openmetrics : (*held)->text;
  MHD_Response* response = MHD_create_response_from_buffer_with_free_callback_cls(
      body.size(), const_cast<char*>(body.data()), release, held);
  if (response == nullptr) {
    delete held;
    return MHD_NO;
  }
  MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE,
                          openmetrics ? "application/openmetrics-text; version=1.0.0; charset=utf-8"
                                      : "text/plain; version=0.0.4; charset=utf-8");
  const MHD_Result queued = MHD_queue_response(connection, MHD_HTTP_OK, response);
  MHD_destroy_response(response);
  return queued;
}

}  // namespace

MetricsServer::MetricsServer(const std::string& listen) {
  const Listen l = parse_listen(listen);
  std::string port;
  const int fd = listen_socket(l, port);
  where = "http://" + l.shown.substr(0, l.shown.size() - l.port.size()) + port + "/metrics";
  // The server's thread leaves the stop signals to the merge's threads.
  sigset_t stop, before;
  sigemptyset(&stop);
  sigaddset(&stop, SIGTERM);
  sigaddset(&stop, SIGINT);
  pthread_sigmask(SIG_BLOCK, &stop, &before);
  daemon =
      MHD_start_daemon(MHD_USE_AUTO_INTERNAL_THREAD, 0, nullptr, nullptr, handle, this,
                       MHD_OPTION_LISTEN_SOCKET, fd, MHD_OPTION_CONNECTION_LIMIT, kConnectionLimit,
                       MHD_OPTION_CONNECTION_TIMEOUT, kIdleSeconds, MHD_OPTION_END);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (daemon == nullptr) {
    close(fd);
    cannot_listen(l.shown, "the HTTP server did not start");
  }
}

MetricsServer::~MetricsServer() {
  MHD_stop_daemon(daemon);  // closes the listening socket too
}

void MetricsServer::publish(std::shared_ptr<const Snapshot> snapshot) {
  const std::lock_guard<std::mutex> hold(lock);
  current.swap(snapshot);  // the old one is released after the lock, by the caller's copy
}

std::shared_ptr<const MetricsServer::Snapshot> MetricsServer::latest() const {
  const std::lock_guard<std::mutex> hold(lock);
  return current;
}

}  // namespace vexil
