#include "tests/mirror.h"

#include <httplib.h>

#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>

struct Mirror::State {
  std::mutex mutex;
  std::condition_variable ends;
  bool ended = false;
  std::map<std::string, Reply> replies;
  Strings requests;
  std::unique_ptr<httplib::Server> server;
  int port = 0;
  std::thread thread;

  void handle(const httplib::Request& request, httplib::Response& response) {
    std::unique_lock<std::mutex> lock(mutex);
    const std::string name = request.path.substr(1);
    requests.push_back(name);
    const auto found = replies.find(name);
    const Reply reply = found != replies.end() ? found->second : Reply{"no such file", 404};
    if (reply.how == Reply::Silent) ends.wait(lock, [this] { return ended; });
    response.status = reply.status;
    if (reply.how == Reply::Whole) return response.set_content(reply.body, "application/octet-stream");
    response.set_content_provider(
        reply.body.size(), "application/octet-stream", [reply](std::size_t at, std::size_t, httplib::DataSink& sink) {
          return at == 0 && sink.write(reply.body.data(), reply.body.size() / 2);
        });
  }
};

Mirror::Mirror(bool secure) : state_(std::make_unique<State>()) {
  State& state = *state_;
  if (secure)
    state.server = std::make_unique<httplib::SSLServer>("cert.pem", "key.pem");
  else
    state.server = std::make_unique<httplib::Server>();
  state.server->Get(".*", [&state](const auto& request, auto& response) { state.handle(request, response); });
  state.port = state.server->bind_to_any_port("127.0.0.1");
  state.thread = std::thread([&state] { state.server->listen_after_bind(); });
  while (!state.server->is_running()) std::this_thread::yield();
}

Mirror::~Mirror() {
  {
    const std::lock_guard<std::mutex> lock(state_->mutex);
    state_->ended = true;
  }
  state_->ends.notify_all();
  state_->server->stop();
  state_->thread.join();
}

std::string Mirror::address() const {
  return "127.0.0.1:" + std::to_string(state_->port);
}

void Mirror::serve(const Tree& tree) {
  const std::lock_guard<std::mutex> lock(state_->mutex);
  state_->replies.clear();
  for (const auto& [name, contents] : tree) state_->replies[name] = {contents};
}

void Mirror::answer(const std::string& name, const Reply& reply) {
  const std::lock_guard<std::mutex> lock(state_->mutex);
  state_->replies[name] = reply;
}

Strings Mirror::takeRequests() {
  const std::lock_guard<std::mutex> lock(state_->mutex);
  return std::exchange(state_->requests, {});
}
