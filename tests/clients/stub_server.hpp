// Starts the scripted stub model server (stub_server.py) on a free loopback
// port for one test, and reads back the requests it recorded.
//
//   StubServer stub(replies({ok_reply("hi")}));
//   client.complete(...);              // against stub.url()
//   auto requests = stub.requests();   // what the client sent
#ifndef TESSIK_TESTS_CLIENTS_STUB_SERVER_HPP_
#define TESSIK_TESTS_CLIENTS_STUB_SERVER_HPP_

#include <netinet/in.h>
#include <signal.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <tessik/foundation/json.hpp>
#include <tessik/foundation/value.hpp>

#include "temp_dir.hpp"

namespace tessik::testing {

// One request as the stub saw it.
struct StubRequest {
  std::string path;
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
  double time = 0;
  std::int64_t peer_port = 0;

  // The value of the first header named `name` (any case), "" if none.
  std::string header(std::string_view name) const {
    for (const auto& [k, v] : headers) {
      if (k.size() == name.size() && ::strncasecmp(k.data(), name.data(), k.size()) == 0) return v;
    }
    return {};
  }
  Value json() const { return parse_json(body); }
};

class StubServer {
 public:
  // `script_json` is the text of {"replies": [...]} (see stub_server.py).
  // Without `record`, the stub keeps no record (requests() is then empty).
  explicit StubServer(const std::string& script_json, bool record = true)
      : record_(record ? (dir_ / "record.jsonl").string() : "-") {
    const std::string command =
        "exec python3 '" TESSIK_TEST_SOURCE_DIR "/tests/clients/stub_server.py' '" +
        dir_.write("script.json", script_json).string() + "' '" + record_ + "'";
    out_ = ::popen(command.c_str(), "re");
    if (!out_) throw std::runtime_error("could not start python3");
    if (std::fscanf(out_, "PORT %d PID %d", &port_, &pid_) != 2) {
      stop();
      throw std::runtime_error("the stub server did not report its port");
    }
  }
  ~StubServer() { stop(); }
  StubServer(const StubServer&) = delete;
  StubServer& operator=(const StubServer&) = delete;

  int port() const { return port_; }
  std::string url() const { return "http://127.0.0.1:" + std::to_string(port_); }

  std::vector<StubRequest> requests() const {
    std::vector<StubRequest> out;
    std::ifstream in(record_);
    std::string line;
    while (std::getline(in, line)) {
      const Value v = parse_json(line);
      StubRequest r{.path = v.find("path")->as_string(),
                    .headers = {},
                    .body = v.find("body")->as_string(),
                    .time = v.find("time")->as_float(),
                    .peer_port = v.find("peer_port")->as_int()};
      for (const Value& h : v.find("headers")->as_sequence()) {
        r.headers.emplace_back(h.as_sequence()[0].as_string(), h.as_sequence()[1].as_string());
      }
      out.push_back(std::move(r));
    }
    return out;
  }

 private:
  void stop() {
    if (pid_ > 0) ::kill(pid_, SIGKILL);
    if (out_) ::pclose(out_);  // waits for the stub to end
    out_ = nullptr;
  }

  TempDir dir_;
  std::string record_;
  FILE* out_ = nullptr;
  pid_t pid_ = -1;
  int port_ = 0;
};

// A loopback port with nothing listening on it (bound, then released).
inline int closed_port() {
  const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t len = sizeof addr;
  ::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
  ::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len);
  ::close(fd);
  return ntohs(addr.sin_port);
}

// {"replies": [...]} for a list of reply entries.
inline std::string replies(Value::Sequence entries) {
  return to_json(Value::Mapping{{"replies", Value(std::move(entries))}});
}

}  // namespace tessik::testing

#endif  // TESSIK_TESTS_CLIENTS_STUB_SERVER_HPP_
