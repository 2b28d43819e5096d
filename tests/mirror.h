// An update mirror on loopback that can refuse, cut, drip and stay silent.
#pragma once

#include <memory>
#include <string>

#include "tests/sandbox.h"

struct Reply {
  enum How {
    Whole,
    CutShort,  // announces the whole body, sends half of it and hangs up
    Held,      // sends half of the body, the rest after release()
  };
  std::string body;
  int status = 200;
  How how = Whole;
};

class Mirror {
 public:
  // Serves HTTPS with cert.pem and key.pem of the directory when it is given.
  explicit Mirror(const std::string& certificates = "");
  ~Mirror();
  Mirror(const Mirror&) = delete;
  Mirror& operator=(const Mirror&) = delete;

  // "127.0.0.1:PORT".
  std::string address() const;

  // Answers "/NAME" with these bodies from now on, everything else with 404.
  void serve(const Tree& tree);
  // Answers one path in a way of its own.
  void answer(const std::string& path, const Reply& reply);

  // The paths asked for since the last call.
  Strings takeRequests();
  // What the last request told a proxy about its user.
  std::string proxyCredentials() const;
  // Waits until the path was asked for; false after 20 seconds.
  bool waitFor(const std::string& path);
  // Lets Held replies go on, now and from now on.
  void release();

 private:
  struct State;
  std::unique_ptr<State> state_;
};
