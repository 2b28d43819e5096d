// An update mirror on loopback that can refuse, cut and stay silent.
#pragma once

#include <httplib.h>

#include <mutex>
#include <regex>
#include <thread>

#include "tests/installation.h"

class Mirror {
 public:
  Mirror() {
    server_.Get(".*", [this](const auto& request, auto& response) { handle(request, response); });
    port = std::to_string(server_.bind_to_any_port("127.0.0.1"));
    thread_ = std::thread([this] { server_.listen_after_bind(); });
    while (!server_.is_running()) std::this_thread::yield();
  }
  ~Mirror() {
    server_.stop();
    thread_.join();
  }

  // Answers "/NAME" with these bodies from now on, everything else with 404.
  void serve(const Tree& tree) {
    const std::lock_guard<std::mutex> lock(mutex_);
    bodies_ = tree;
    hows_.clear();
  }
  // Answers one name in a way of its own: missing, cut (announces the whole body, sends
  // half of it and hangs up), silent (for 2 s), or with the body itself.
  void answer(const std::string& name, const std::string& how, const std::string& body) {
    const std::lock_guard<std::mutex> lock(mutex_);
    hows_[name] = how;
    bodies_[name] = body;
  }

  // The names asked for since the last call, each after what it told a proxy about its
  // user.
  std::string takeRequests() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return joined(std::exchange(requests_, {}), " ");
  }

  std::string port;

 private:
  void handle(const httplib::Request& request, httplib::Response& response) {
    std::unique_lock<std::mutex> lock(mutex_);
    // A proxy is asked for whole addresses.
    const std::string name = std::regex_replace(request.path, std::regex("^(http://[^/]*)?/"), "");
    requests_.push_back(request.get_header_value("Proxy-Authorization") + name);
    response.status = bodies_.count(name) != 0 && hows_[name] != "missing" ? 200 : 404;
    const std::string how = hows_[name], body = bodies_[name];
    lock.unlock();
    response.set_header("Last-Modified", "Sun, 09 Sep 2001 01:46:40 GMT");
    if (how == "silent") std::this_thread::sleep_for(std::chrono::seconds(2));
    if (how != "cut") return response.set_content(body, "application/octet-stream");
    const auto half = [body](std::size_t at, std::size_t, httplib::DataSink& sink) {
      return at == 0 && sink.write(body.data(), body.size() / 2);
    };
    response.set_content_provider(body.size(), "application/octet-stream", half);
  }

  std::mutex mutex_;
  Tree bodies_, hows_;
  Strings requests_;
  httplib::Server server_;
  std::thread thread_;
};
