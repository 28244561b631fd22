// Uses the installed HTTP clients the way an embedder would: builds both
// clients, checks what they offer, and calls each against a loopback port
// where nothing listens, expecting the documented failure. Prints "ok" and
// exits 0, or says on stderr what did not behave as documented.
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <iostream>
#include <memory>
#include <string>

#include <tessik/agent_loader.hpp>
#include <tessik/clients/chat_client.hpp>
#include <tessik/clients/messages_client.hpp>
#include <tessik/clients/provider_error.hpp>

namespace {

int fail(const std::string& why) {
  std::cerr << why << "\n";
  return 1;
}

// A loopback URL with nothing listening on its port.
std::string closed_url() {
  const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t len = sizeof addr;
  ::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
  ::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len);
  ::close(fd);
  return "http://127.0.0.1:" + std::to_string(ntohs(addr.sin_port));
}

int check(tessik::AIClient& client, const std::string& name) {
  if (!client.offers_tools()) return fail(name + " does not offer tools");
  if (client.type_name() != name) return fail(name + " reports type " + client.type_name());
  try {
    const tessik::Value messages =
        tessik::Value::Sequence{tessik::Value::Mapping{{"role", "user"}, {"content", "hi"}}};
    client.complete(messages, {.max_tokens = 16});
    return fail(name + " reached a closed port");
  } catch (const tessik::clients::ProviderError& e) {
    if (std::string(e.what()).find("could not connect") == std::string::npos || e.status() != 0)
      return fail(name + ": unexpected failure: " + e.what());
  }
  return 0;
}

}  // namespace

int main() {
  const std::string url = closed_url();
  tessik::clients::TransportOptions transport;
  transport.max_attempts = 1;
  auto messages =
      std::make_shared<tessik::clients::MessagesClient>(tessik::clients::MessagesClientOptions{
          .endpoint = url, .api_key = "k", .model = "m", .transport = transport});
  tessik::clients::ChatCompletionsClient chat(
      {.endpoint = url, .model = "m", .transport = transport});
  if (int rc = check(*messages, "MessagesClient")) return rc;
  if (int rc = check(chat, "ChatCompletionsClient")) return rc;
  try {
    tessik::clients::ChatCompletionsClient broken({.endpoint = "", .model = "m"});
    return fail("an empty endpoint was accepted");
  } catch (const tessik::InvalidValueError&) {
  }
  std::cout << "ok\n";
  return 0;
}
