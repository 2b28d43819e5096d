// An update mirror on loopback.
#pragma once

#include <httplib.h>

#include <mutex>
#include <regex>
#include <thread>

#include "tests/installation.h"

class Mirror {
 public:
  Mirror() {
    server_.Get(".*", [this](const httplib::Request& request, httplib::Response& response) {
      const std::lock_guard<std::mutex> lock(mutex_);
      // A proxy is asked for whole addresses.
      const std::regex address("^(http://[^/]*)?/");
      const std::string name = std::regex_replace(request.path, address, "");
      requests_.push_back(request.get_header_value("Proxy-Authorization") + name);
      const auto file = files_.find(name);
      response.status = file != files_.end() ? 200 : 404;
      response.set_header("Last-Modified", "Sun, 09 Sep 2001 01:46:40 GMT");
      response.set_content(file != files_.end() ? file->second : "no such file", "text/plain");
    });
    port = std::to_string(server_.bind_to_any_port("127.0.0.1"));
    thread_ = std::thread([this] { server_.listen_after_bind(); });
    while (!server_.is_running()) std::this_thread::yield();
  }
  ~Mirror() {
    server_.stop();
    thread_.join();
  }

  // Serves these files from now on, and answers 404 for all others.
  void serve(const Tree& files) {
    const std::lock_guard<std::mutex> lock(mutex_);
    files_ = files;
  }

  // The names asked for since the last call, each after what it told a proxy about its
  // user.
  std::string takeRequests() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return joined(std::exchange(requests_, {}), " ");
  }

  std::string port;

 private:
  std::mutex mutex_;
  Tree files_;
  Strings requests_;
  httplib::Server server_;
  std::thread thread_;
};
