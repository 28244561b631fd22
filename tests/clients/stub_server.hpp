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
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <tessik/foundation/json.hpp>
#include <tessik/foundation/value.hpp>

#include "temp_dir.hpp"

extern char** environ;

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
      if (k.size() == name.size() &&
          std::equal(k.begin(), k.end(), name.begin(), [](char a, char b) {
            return std::tolower(static_cast<unsigned char>(a)) ==
                   std::tolower(static_cast<unsigned char>(b));
          })) {
        return v;
      }
    }
    return {};
  }
  Value json() const { return parse_json(body); }
};

class StubServer {
 public:
  // `script_json` is the text of {"replies": [...]} (see stub_server.py).
  // Without `record`, the stub keeps no record (requests() is then empty).
  explicit StubServer(const std::string& script_json, bool record = true) {
    const std::string script = dir_.write("script.json", script_json).string();
    record_ = record ? (dir_ / "record.jsonl").string() : std::string("-");
    int fds[2];
    if (::pipe(fds) != 0) throw std::runtime_error("pipe failed");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], 1);
    posix_spawn_file_actions_addclose(&actions, fds[0]);
    const std::string program = TESSIK_TEST_SOURCE_DIR "/tests/clients/stub_server.py";
    std::vector<std::string> args{"python3", program, script, record_};
    std::vector<char*> argv;
    for (auto& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    const int rc = posix_spawnp(&pid_, "python3", &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(fds[1]);
    if (rc != 0) {
      ::close(fds[0]);
      throw std::runtime_error("could not start python3");
    }
    std::string line;
    char c = 0;
    while (::read(fds[0], &c, 1) == 1 && c != '\n') line += c;
    ::close(fds[0]);
    if (std::sscanf(line.c_str(), "PORT %d", &port_) != 1) {
      stop();
      throw std::runtime_error("the stub server did not report its port: " + line);
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
    if (pid_ > 0) {
      ::kill(pid_, SIGKILL);
      int status = 0;
      ::waitpid(pid_, &status, 0);
      pid_ = -1;
    }
  }

  TempDir dir_;
  std::string record_;
  pid_t pid_ = -1;
  int port_ = 0;
};

// A loopback port with nothing listening on it (bound, then released).
inline int closed_port() {
  const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  addr.sin_port = 0;
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
