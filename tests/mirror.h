// An update mirror on loopback that can refuse, cut and stay silent.
#pragma once

#include <memory>
#include <string>

#include "tests/machine.h"

struct Reply {
  enum How { Whole, CutShort, Silent };  // half of the announced body; nothing at all
  std::string body;
  int status = 200;
  How how = Whole;
};

class Mirror {
 public:
  // Serves HTTPS with cert.pem and key.pem of the current directory, or HTTP.
  explicit Mirror(bool secure = false);
  ~Mirror();
  Mirror(const Mirror&) = delete;
  Mirror& operator=(const Mirror&) = delete;

  // "127.0.0.1:PORT".
  std::string address() const;

  // Answers "/NAME" with these bodies from now on, everything else with 404.
  void serve(const Tree& tree);
  // Answers one name in a way of its own.
  void answer(const std::string& name, const Reply& reply);

  // The names asked for since the last call.
  Strings takeRequests();

 private:
  struct State;
  std::unique_ptr<State> state_;
};
