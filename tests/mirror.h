// An update mirror on loopback that can refuse, cut and stay silent.
#pragma once

#include <httplib.h>

#include <chrono>
#include <mutex>
#include <regex>
#include <thread>
#include <utility>

#include "tests/installation.h"

class Mirror {
 public:
  struct Reply {
    enum How { Whole, CutShort, Silent };  // half of the announced body; nothing for 2 s
    std::string body;
    int status = 200;
    How how = Whole;
  };

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
  Mirror(const Mirror&) = delete;
  Mirror& operator=(const Mirror&) = delete;

  // Answers "/NAME" so from now on; every name that it was not told of with 404.
  void answer(const std::string& name, const Reply& reply) {
    const std::lock_guard<std::mutex> lock(mutex_);
    replies_[name] = reply;
  }
  void serve(const Tree& tree) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      replies_.clear();
    }
    for (const auto& [name, contents] : tree) answer(name, {contents});
  }

  // The names asked for since the last call, each after what it told a proxy about its
  // user.
  std::string takeRequests() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(requests_, {});
  }

  std::string port;

 private:
  void handle(const httplib::Request& request, httplib::Response& response) {
    std::unique_lock<std::mutex> lock(mutex_);
    const std::string user = request.get_header_value("Proxy-Authorization");
    const std::string name = std::regex_replace(request.path, std::regex("^(http://[^/]*)?/"), "");
    requests_ += (requests_.empty() ? "" : " ") + user + name;
    const auto found = replies_.find(name);
    const Reply reply = found != replies_.end() ? found->second : Reply{"no such file", 404};
    lock.unlock();
    if (reply.how == Reply::Silent) std::this_thread::sleep_for(std::chrono::seconds(2));
    response.status = reply.status;
    if (reply.how == Reply::Whole) return response.set_content(reply.body, "application/octet-stream");
    const auto half = [reply](std::size_t at, std::size_t, httplib::DataSink& sink) {
      return at == 0 && sink.write(reply.body.data(), reply.body.size() / 2);
    };
    response.set_content_provider(reply.body.size(), "application/octet-stream", half);
  }

  std::mutex mutex_;
  std::map<std::string, Reply> replies_;
  std::string requests_;
  httplib::Server server_;
  std::thread thread_;
};
