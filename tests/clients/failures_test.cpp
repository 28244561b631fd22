// Retries, timeouts, size caps and failure messages, each case run against
// both clients: they share one transport, and each words failures the same.
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include <tessik/clients/cancellation.hpp>
#include <tessik/clients/provider_error.hpp>
#include <tessik/foundation/json.hpp>
#include <tessik/logging_channels.hpp>

#include "client_fixtures.hpp"

namespace tessik::testing {
namespace {

CompletionResult call(AIClient& client) {
  return client.complete(user_turn("review"), {.system = system_blocks(), .max_tokens = 64});
}

struct Case {
  const char* name;
  std::string entries;   // JSON text of the scripted replies; "refused": nothing listens
  bool then_success;     // the protocol's text reply follows them
  std::size_t requests;  // requests the stub should see
  std::string said;      // the failure after "<provider>: " (see up_to); empty: success
  long status = 0;
  std::function<void(clients::TransportOptions&)> tweak = nullptr;
  int cancel_at = -1;  // cancel once this many requests arrived; -1: never
};

const std::string kBigBody = R"("body": "0123456789", "repeat": 200)";

std::vector<Case> cases() {
  const auto capped = [](clients::TransportOptions& t) { t.max_response_bytes = 1000; };
  const std::string cancelled = "the request to URL was cancelled";
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
       R"({"llama": {"context": 10}})", false, 1, "bad request (HTTP 400): request (...", 400},
      {"llama.cpp's server out of context under parallel load, then its answer",
       R"({"llama": {"busy": 2, "prose": "done ü"}})", false, 3, ""},
      {"a body that is an array", R"({"json": [1, 2]})", false, 1,
       "the reply is an array, not an object; it begins: '[1, 2]' (HTTP 200)", 200},
      {"invalid UTF-8 in the body", R"({"body": "{\"a\": \"\udcff\"}"})", false, 1,
       "the reply is not JSON (...", 200},
      {"a reply over the size cap, length announced", "{" + kBigBody + "}", false, 1,
       "the reply is larger than the limit of 1000 bytes", 0, capped},
      {"a reply over the size cap, length not announced",
       "{" + kBigBody + R"(, "action": "unannounced"})", false, 1,
       "the reply is larger than the limit of 1000 bytes", 0, capped},
      {"a truncated body on every attempt", R"({"action": "truncate", "body": "{\"a\": 1}"})",
       false, 4, "the reply was cut off before the length the server announced (after 4 attempts)"},
      {"a server that never answers", R"({"action": "hang"})", false, 1,
       "no complete answer from URL within the time allowed (connect 2000 ms, whole request 300 "
       "ms)",
       0, [](clients::TransportOptions& t) { t.request_timeout = std::chrono::milliseconds(300); }},
      {"a refused connection fails at once", "refused", false, 0,
       "could not connect to URL (connection refused or unreachable)"},
      // Cancelled while the answer is awaited or while waiting to retry, a
      // call ends with its one request; once cancelled, none is sent.
      {"cancelled while the answer is awaited", R"({"action": "hang"})", false, 1, cancelled, 0,
       nullptr, 1},
      {"cancelled while waiting to retry", R"({"status": 503})", false, 1, cancelled, 0, nullptr,
       1},
      {"cancelled before the call", "", false, 0, cancelled, 0, nullptr, 0},
  };
}

TEST(ClientFailures, RetriesAndFailuresOfBothProtocols) {
  for (const ClientProtocol& p : client_protocols()) {
    for (const Case& c : cases()) {
      SCOPED_TRACE(std::string(p.name) + ": " + c.name);
      const bool refused = c.entries == "refused";
      std::string script = R"({"replies": [)" + (refused ? "" : c.entries);
      if (c.then_success) script += ", " + to_json(answer(p.text_reply));
      StubServer stub(script + "]}");
      const std::string server =
          refused ? "http://127.0.0.1:" + std::to_string(closed_port()) : stub.url();
      clients::TransportOptions t = fast_transport();
      if (c.tweak) c.tweak(t);
      const auto cancel = std::make_shared<clients::Cancellation>();
      std::jthread canceller;
      if (c.cancel_at >= 0) {
        t.backoff_initial = t.backoff_max = std::chrono::minutes(10);
        t.cancellation = cancel;
        canceller = std::jthread([&] {
          for (int i = 0; i < 1000 && stub.requests().size() < std::size_t(c.cancel_at); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
          cancel->cancel();
        });
        if (c.cancel_at == 0) canceller.join();
      }
      const auto client = p.make(server, false, t, nullptr);
      try {
        const CompletionResult result = call(*client);
        EXPECT_TRUE(c.said.empty()) << "succeeded: " << result.text;
        EXPECT_EQ(result.text, "done ü");
      } catch (const clients::ProviderError& e) {
        ASSERT_FALSE(c.said.empty()) << e.what();
        const std::string expected = p.failure(server, c.said);
        EXPECT_EQ(up_to(e.what(), expected), expected);
        EXPECT_EQ(e.status(), c.status);
        EXPECT_EQ(e.attempts(), static_cast<int>(c.requests) + (refused ? 1 : 0));
        EXPECT_EQ(e.provider(), "model server at " + p.endpoint(server));
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

TEST(ClientFailures, KeyTravelsOnlyInItsHeaderAndLogsRedactIt) {
  for (const ClientProtocol& p : client_protocols()) {
    SCOPED_TRACE(p.name);
    StubServer stub(replies({answer(p.text_reply)}));
    const auto client = p.make(stub.url(), false, fast_transport(), nullptr);
    ScopedLogCapture capture(Log::agent, LogLevel::debug);
    call(*client);
    call(*client);
    bool redacted = false;
    for (const auto& line : capture.lines()) {
      EXPECT_EQ(line.message.find(kApiKey), std::string::npos) << line.message;
      redacted = redacted || line.message.find("[redacted]") != std::string::npos;
    }
    EXPECT_TRUE(redacted);
    const auto requests = stub.requests();
    ASSERT_EQ(requests.size(), 2u);
    for (const StubRequest& r : requests) {
      EXPECT_EQ((r.body + r.path).find(kApiKey), std::string::npos);
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
