// Usage: mirror_server DIRECTORY
//
// Serves the files of the directory on loopback. Prints the port. Appends each name that is
// asked for to the file DIRECTORY.requests, after what a proxy was told of the user.

#include <httplib.h>

#include <fstream>
#include <iostream>

int main(int, char** argv) {
  const std::string directory = argv[1];
  httplib::Server server;
  server.Get(".*", [&](const httplib::Request& request, httplib::Response& response) {
    // A proxy is asked for whole addresses.
    const std::size_t host = request.path.rfind("http://", 0) == 0 ? 7 : 0;
    const std::string name = request.path.substr(request.path.find('/', host) + 1);
    std::ofstream(directory + ".requests", std::ios::app)
        << request.get_header_value("Proxy-Authorization") + name + " ";
    std::ifstream file(directory + "/" + name, std::ios::binary);
    response.status = file ? 200 : 404;
    response.set_header("Last-Modified", "Sun, 09 Sep 2001 01:46:40 GMT");
    const std::string contents{std::istreambuf_iterator<char>(file), {}};
    response.set_content(file ? contents : "no such file", "text/plain");
  });
  std::cout << server.bind_to_any_port("127.0.0.1") << std::endl;
  return server.listen_after_bind() ? 0 : 1;
}
