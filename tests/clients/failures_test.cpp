// Retries, timeouts, size caps and failure messages, each case run against
// both clients: they share one transport, and each words failures the same.
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

#include <tessik/clients/cancellation.hpp>
#include <tessik/clients/chat_client.hpp>
#include <tessik/clients/messages_client.hpp>
#include <tessik/clients/provider_error.hpp>
#include <tessik/foundation/json.hpp>
#include <tessik/logging_channels.hpp>

#include "client_fixtures.hpp"

namespace tessik::testing {
namespace {

// One protocol: how to build its client and its successful reply.
struct Protocol {
  const char* name;
  std::function<std::unique_ptr<AIClient>(const std::string& url, clients::TransportOptions)> make;
  const char* endpoint_suffix;  // the client's endpoint is the server's URL and this
  Value success;                // a reply body whose text is "done"
  const char* key_header;
  const char* path;
  std::string endpoint(const std::string& url) const { return url + endpoint_suffix; }
};

template <class Client, class Options>
std::unique_ptr<AIClient> make_client(Options options, clients::TransportOptions t) {
  options.transport = std::move(t);
  return std::make_unique<Client>(options);
}

const Protocol kProtocols[] = {
    {"messages",
     [](const std::string& url, clients::TransportOptions t) {
       return make_client<clients::MessagesClient>(messages_options(url), t);
     },
     "", messages_text("done"), "x-api-key", "/v1/messages"},
    {"chat",
     [](const std::string& url, clients::TransportOptions t) {
       return make_client<clients::ChatCompletionsClient>(chat_options(url), t);
     },
     "/v1", chat_text("done"), "authorization", "/chat/completions"},
};

CompletionResult call(AIClient& client) {
  return client.complete(user_turn("review"), {.system = system_blocks(), .max_tokens = 64});
}

struct Case {
  const char* name;
  std::string entries;   // JSON text of the scripted failures, comma-separated
  bool then_success;     // the protocol's success reply follows them
  std::size_t requests;  // requests the stub should see
  std::string error;     // expected message after "<provider>: "; empty: success
  long status = 0;
  bool prefix_only = false;  // `error` is the start of the message
  std::function<void(clients::TransportOptions&)> tweak = nullptr;
};

const std::string kBigBody = R"("body": "0123456789", "repeat": 200)";

std::vector<Case> cases() {
  return {
      {"429 with retry-after then success",
       R"({"status": 429, "headers": {"retry-after": "1"}, "json": {"error": {"message": "slow down"}}, "times": 1})",
       true, 2, ""},
      {"500 then success", R"({"status": 500, "body": "boom", "times": 1})", true, 2, ""},
      {"408, 502 and 529 then success on the last attempt",
       R"({"status": 408, "times": 1}, {"status": 502, "times": 1}, {"status": 529, "times": 1})",
       true, 4, ""},
      {"connection closed without an answer, then success", R"({"action": "close", "times": 1})",
       true, 2, ""},
      {"401 is not retried",
       R"({"status": 401, "json": {"type": "error", "error": {"type": "authentication_error", "message": "invalid x-api-key"}}})",
       true, 1, "authentication failed (HTTP 401): invalid x-api-key", 401},
      {"403 with a top-level message",
       R"({"status": 403, "json": {"message": "no access to this model"}})", true, 1,
       "permission denied (HTTP 403): no access to this model", 403},
      {"404 with an error text, as local servers send",
       R"({"status": 404, "json": {"error": "model 'x' not found"}})", true, 1,
       "not found (HTTP 404): model 'x' not found", 404},
      {"400 with an empty body", R"({"status": 400})", true, 1,
       "bad request (HTTP 400) with an empty body", 400},
      {"400 with a body that is not JSON is quoted",
       R"({"status": 400, "body": "<html>bad\n</html>"})", true, 1,
       "bad request (HTTP 400); the body begins: '<html>bad\\n</html>'", 400},
      {"503 on every attempt", R"({"status": 503, "json": {"error": {"message": "busy"}}})", false,
       4, "service unavailable (HTTP 503 after 4 attempts): busy", 503},
      {"the key echoed by the server is redacted",
       R"({"status": 401, "json": {"error": {"message": "bad key sk-test-7f3a9c-very-secret"}}})",
       false, 1, "authentication failed (HTTP 401): bad key [redacted]", 401},
      {"llama.cpp's server refuses a prompt over its context at once",
       R"({"llama": {"context": 10}})", false, 1, "bad request (HTTP 400): request (", 400, true},
      {"llama.cpp's server out of context under parallel load, then its answer",
       R"({"llama": {"busy": 2, "prose": "done"}})", false, 3, ""},
      {"a body that is an array", R"({"json": [1, 2]})", false, 1,
       "the reply is an array, not an object; it begins: '[1, 2]' (HTTP 200)", 200},
      {"invalid UTF-8 in the body", R"({"body": "{\"a\": \"\udcff\"}"})", false, 1,
       "the reply is not JSON (", 200, true},
      {"a reply over the size cap, length announced", "{" + kBigBody + "}", false, 1,
       "the reply is larger than the limit of 1000 bytes", 0, false,
       [](clients::TransportOptions& t) { t.max_response_bytes = 1000; }},
      {"a reply over the size cap, length not announced",
       "{" + kBigBody + R"(, "action": "unannounced"})", false, 1,
       "the reply is larger than the limit of 1000 bytes", 0, false,
       [](clients::TransportOptions& t) { t.max_response_bytes = 1000; }},
      {"a truncated body on every attempt", R"({"action": "truncate", "body": "{\"a\": 1}"})",
       false, 4, "the reply was cut off before the length the server announced (after 4 attempts)"},
      {"a server that never answers", R"({"action": "hang"})", false, 1,
       "no complete answer from URL within the time allowed (connect 2000 ms, whole request 300 "
       "ms)",
       0, false,
       [](clients::TransportOptions& t) { t.request_timeout = std::chrono::milliseconds(300); }},
  };
}

TEST(ClientFailures, RetriesAndFailuresOfBothProtocols) {
  for (const Protocol& p : kProtocols) {
    for (const Case& c : cases()) {
      SCOPED_TRACE(std::string(p.name) + ": " + c.name);
      std::string script = R"({"replies": [)" + c.entries;
      if (c.then_success) script += ", " + to_json(answer(p.success));
      StubServer stub(script + "]}");
      clients::TransportOptions t = fast_transport();
      if (c.tweak) c.tweak(t);
      const auto client = p.make(stub.url(), t);
      const std::string provider = "model server at " + p.endpoint(stub.url());
      try {
        const CompletionResult result = call(*client);
        EXPECT_TRUE(c.error.empty()) << "succeeded: " << result.text;
        EXPECT_EQ(result.text, "done");
      } catch (const clients::ProviderError& e) {
        ASSERT_FALSE(c.error.empty()) << e.what();
        std::string expected = provider + ": " + c.error;
        if (const auto at = expected.find("URL"); at != std::string::npos) {
          expected.replace(at, 3, p.endpoint(stub.url()) + p.path);
        }
        if (c.prefix_only) {
          EXPECT_EQ(std::string(e.what()).rfind(expected, 0), 0u) << e.what();
        } else {
          EXPECT_EQ(e.what(), expected);
        }
        EXPECT_EQ(e.status(), c.status);
        EXPECT_EQ(e.provider(), provider);
        EXPECT_EQ(e.class_name(), "ClientError");
        EXPECT_EQ(std::string(e.what()).find(kApiKey), std::string::npos);
      }
      const auto requests = stub.requests();
      EXPECT_EQ(requests.size(), c.requests);
      if (std::string(c.name).find("retry-after") != std::string::npos && requests.size() == 2) {
        // The one-second wait the server asked for, not the millisecond backoff.
        EXPECT_GE(requests[1].time - requests[0].time, 0.95);
      }
    }
  }
}

TEST(ClientFailures, RefusedConnectionFailsAtOnce) {
  const std::string url = "http://127.0.0.1:" + std::to_string(closed_port());
  for (const Protocol& p : kProtocols) {
    SCOPED_TRACE(p.name);
    const auto client = p.make(url, fast_transport());
    try {
      call(*client);
      ADD_FAILURE() << "no failure";
    } catch (const clients::ProviderError& e) {
      EXPECT_EQ(e.what(), "model server at " + p.endpoint(url) + ": could not connect to " +
                              p.endpoint(url) + p.path + " (connection refused or unreachable)");
      EXPECT_EQ(e.status(), 0);
      EXPECT_EQ(e.attempts(), 1);
    }
  }
}

// Cancelled while its answer is awaited or while it waits to retry, a call
// ends with one request sent; once cancelled, no call sends anything.
TEST(ClientFailures, ACancelledCallEndsAndIsNeverRetried) {
  for (const Protocol& p : kProtocols) {
    for (const char* entry : {R"({"action": "hang"})", R"({"status": 503})", ""}) {
      SCOPED_TRACE(std::string(p.name) + ": " + entry);
      StubServer stub(std::string(R"({"replies": [)") + entry + "]}");
      const auto cancel = std::make_shared<clients::Cancellation>();
      clients::TransportOptions t = fast_transport();
      t.backoff_initial = t.backoff_max = std::chrono::minutes(10);
      t.cancellation = cancel;
      const auto client = p.make(stub.url(), t);
      const std::size_t sent = *entry == '\0' ? 0 : 1;
      if (sent == 0) cancel->cancel();
      std::jthread canceller([&] {
        for (int i = 0; i < 1000 && stub.requests().size() < sent; ++i)
          std::this_thread::sleep_for(std::chrono::milliseconds(10));
        cancel->cancel();
      });
      try {
        call(*client);
        ADD_FAILURE() << "no failure";
      } catch (const clients::ProviderError& e) {
        EXPECT_EQ(e.what(), "model server at " + p.endpoint(stub.url()) + ": the request to " +
                                p.endpoint(stub.url()) + p.path + " was cancelled");
        EXPECT_EQ(e.status(), 0);
        EXPECT_EQ(e.attempts(), static_cast<int>(sent));
      }
      EXPECT_EQ(stub.requests().size(), sent);
    }
  }
}

TEST(ClientFailures, KeyTravelsOnlyInItsHeaderAndLogsRedactIt) {
  for (const Protocol& p : kProtocols) {
    SCOPED_TRACE(p.name);
    StubServer stub(replies({answer(p.success)}));
    const auto client = p.make(stub.url(), fast_transport());
    std::vector<std::string> lines;
    {
      ScopedLogCapture capture(Log::agent, LogLevel::debug);
      call(*client);
      call(*client);
      for (const auto& line : capture.lines()) lines.push_back(line.message);
    }
    ASSERT_FALSE(lines.empty());
    bool redacted = false;
    for (const std::string& line : lines) {
      EXPECT_EQ(line.find(kApiKey), std::string::npos) << line;
      redacted = redacted || line.find("[redacted]") != std::string::npos;
    }
    EXPECT_TRUE(redacted);
    const auto requests = stub.requests();
    ASSERT_EQ(requests.size(), 2u);
    for (const StubRequest& r : requests) {
      EXPECT_EQ(r.body.find(kApiKey), std::string::npos);
      EXPECT_EQ(r.path.find(kApiKey), std::string::npos);
      int carriers = 0;
      for (const auto& [name, value] : r.headers) {
        if (value.find(kApiKey) == std::string::npos) continue;
        ++carriers;
        EXPECT_EQ(r.header(p.key_header), value) << name;
      }
      EXPECT_EQ(carriers, 1);
    }
    // Keep-alive: the second call reused the first call's connection.
    EXPECT_EQ(requests[0].peer_port, requests[1].peer_port);
  }
}

}  // namespace
}  // namespace tessik::testing
