#include "tests/mirror.h"

#include <httplib.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

struct Mirror::State {
  mutable std::mutex mutex;
  std::condition_variable changed;
  std::map<std::string, Reply> replies;
  Strings requests;
  std::string credentials;
  bool released = false;
  std::unique_ptr<httplib::Server> server;
  int port = 0;
  std::thread thread;

  void handle(const httplib::Request& request, httplib::Response& response) {
    Reply reply{"no such file", 404, Reply::Whole};
    {
      const std::lock_guard<std::mutex> lock(mutex);
      const auto found = replies.find(request.path);
      if (found != replies.end()) reply = found->second;
      requests.push_back(request.path);
      credentials = request.get_header_value("Proxy-Authorization");
    }
    changed.notify_all();
    response.status = reply.status;
    if (reply.how == Reply::Whole) {
      response.set_content(reply.body, "application/octet-stream");
      return;
    }
    const auto send = [this, reply](std::size_t offset, std::size_t, httplib::DataSink& sink) {
      const std::size_t half = reply.body.size() / 2;
      if (offset < half) return sink.write(reply.body.data() + offset, half - offset);
      if (reply.how == Reply::CutShort) return false;
      std::unique_lock<std::mutex> lock(mutex);
      changed.wait(lock, [this] { return released; });
      return sink.write(reply.body.data() + offset, reply.body.size() - offset);
    };
    response.set_content_provider(reply.body.size(), "application/octet-stream", send);
  }
};

Mirror::Mirror(const std::string& certificates) : state_(std::make_unique<State>()) {
  if (certificates.empty())
    state_->server = std::make_unique<httplib::Server>();
  else
    state_->server =
        std::make_unique<httplib::SSLServer>((certificates + "/cert.pem").c_str(), (certificates + "/key.pem").c_str());
  state_->server->Get(".*",
      [this](const httplib::Request& request, httplib::Response& response) { state_->handle(request, response); });
  state_->port = state_->server->bind_to_any_port("127.0.0.1");
  state_->thread = std::thread([this] { state_->server->listen_after_bind(); });
  while (!state_->server->is_running()) std::this_thread::yield();
}

Mirror::~Mirror() {
  release();
  state_->server->stop();
  state_->thread.join();
}

std::string Mirror::address() const {
  return "127.0.0.1:" + std::to_string(state_->port);
}

void Mirror::serve(const Tree& tree) {
  const std::lock_guard<std::mutex> lock(state_->mutex);
  state_->replies.clear();
  for (const auto& [name, contents] : tree) state_->replies["/" + name] = {contents};
}

void Mirror::answer(const std::string& path, const Reply& reply) {
  const std::lock_guard<std::mutex> lock(state_->mutex);
  state_->replies[path] = reply;
}

Strings Mirror::takeRequests() {
  const std::lock_guard<std::mutex> lock(state_->mutex);
  return std::exchange(state_->requests, {});
}

std::string Mirror::proxyCredentials() const {
  const std::lock_guard<std::mutex> lock(state_->mutex);
  return state_->credentials;
}

bool Mirror::waitFor(const std::string& path) {
  std::unique_lock<std::mutex> lock(state_->mutex);
  return state_->changed.wait_for(lock, std::chrono::seconds(20), [&] {
    const auto& all = state_->requests;
    return std::find(all.begin(), all.end(), path) != all.end();
  });
}

void Mirror::release() {
  const std::lock_guard<std::mutex> lock(state_->mutex);
  state_->released = true;
  state_->changed.notify_all();
}
