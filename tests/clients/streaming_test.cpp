// Streamed replies: the event-stream decoder on its own, then both clients
// against the stub streaming their protocol's events: the same results as
// a reply sent whole, and every way a stream can go wrong.
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tessik/clients/chat_client.hpp>
#include <tessik/clients/detail/sse_decoder.hpp>
#include <tessik/clients/messages_client.hpp>
#include <tessik/clients/provider_error.hpp>
#include <tessik/foundation/json.hpp>

#include "client_fixtures.hpp"
#include "failure.hpp"

namespace tessik::testing {
namespace {

using namespace std::string_literals;
using Events = std::vector<std::string>;

// Every event of `bytes` as "name|data", fed to one decoder in pieces of
// `piece` bytes; a refused line ends the list with "!" and the message.
std::vector<std::string> events_of(std::string_view bytes, std::size_t piece) {
  std::vector<std::string> out;
  clients::detail::SseDecoder decoder;
  try {
    for (std::size_t at = 0; at < bytes.size(); at += piece) {
      decoder.feed(bytes.substr(at, piece), [&](std::string_view name, std::string_view data) {
        out.push_back(std::string(name) + "|" + std::string(data));
      });
    }
  } catch (const Error& e) {
    out.push_back("!"s + e.what());
  }
  return out;
}

TEST(SseDecoder, EventsComeOutTheSameHoweverTheBytesAreCut) {
  const struct {
    const char* name;
    std::string bytes;
    std::vector<std::string> events;
  } kCases[] = {
      {"named event", "event: a\ndata: x\n\n", {"a|x"}},
      {"CR LF and lone CR end lines",
       "data: 1\r\n\r\ndata: 2\r\rdata:3\n\n",
       {"message|1", "message|2", "message|3"}},
      {"data lines join with LF, one blank dropped",
       "data: a\ndata:  b\ndata\n\n",
       {"message|a\n b\n"}},
      {"comments, id and retry skipped; no data, no event",
       ": ping\nid: 7\nretry: 10\nevent: x\n\ndata: y\n\n",
       {"message|y"}},
      {"byte-order mark skipped",
       "\xEF\xBB\xBF"
       "data: z\n\n",
       {"message|z"}},
      {"an unfinished event is not handed on", "data: done\n\ndata: half\n", {"message|done"}},
      {"a JSON body in place of events is refused",
       "data: a\n\n{\"error\": 1}\n",
       {"message|a",
        "!the event stream holds a line that is not an event field: '{\"error\": 1}'"}},
  };
  for (const auto& c : kCases) {
    for (std::size_t piece = 1; piece <= c.bytes.size(); ++piece) {
      SCOPED_TRACE(std::string(c.name) + ", pieces of " + std::to_string(piece));
      EXPECT_EQ(events_of(c.bytes, piece), c.events);
    }
  }
}

// What one tool exchange gave, streamed or sent whole; the request bodies
// without the members that ask for a stream.
struct Exchange {
  CompletionResult result;
  std::vector<Value> bodies, tool_inputs;
  clients::TokenUsage usage;
  std::vector<std::string> progress;  // "stage tool path" as observed
};

Exchange tool_exchange(const ClientProtocol& p, bool stream) {
  auto entry = [&](const Value& reply, Value::Mapping extra) {
    return stream ? streamed(p.events(reply, 3), 0, 0, extra) : answer(reply, extra);
  };
  StubServer stub(replies({entry(p.tool_reply, {{"times", 1}}), entry(p.text_reply, {})}));
  Exchange out;
  std::mutex mutex;
  const auto client = p.make(stub.url(), stream, fast_transport(), [&](const auto& c) {
    const std::lock_guard lock(mutex);
    const char* kStages[] = {"waiting", "accepted", "writing", "tool", "answered"};
    std::string line = kStages[static_cast<int>(c.stage)];
    if (c.stage == clients::CallStage::tool)
      line.append(" ").append(c.tool).append(" ").append(c.path);
    if (out.progress.empty() || out.progress.back() != line) out.progress.push_back(line);
  });
  FileTool files;
  out.result = client->complete_with_tools(user_turn("review"),
                                           {.system = system_blocks(),
                                            .tools = Value::Sequence{read_file_definition()},
                                            .tool_handlers = {{"read_file", files.handler()}},
                                            .max_iterations = 4,
                                            .agent_name = "corvin",
                                            .max_tokens = 2048});
  for (const StubRequest& r : stub.requests()) {
    EXPECT_EQ(r.body.find(p.stream_members + 1) != std::string::npos, stream) << r.body;
    Value::Mapping kept;
    const Value body = r.json();
    for (const auto& [key, value] : body.as_mapping()) {
      if (!key.as_string().starts_with("stream")) kept.set(key, value);
    }
    out.bodies.push_back(Value(std::move(kept)));
  }
  out.tool_inputs = files.inputs();
  out.usage = p.usage(*client).total();
  return out;
}

TEST(Streaming, AStreamedExchangeGivesWhatTheWholeRepliesGive) {
  for (const ClientProtocol& p : client_protocols()) {
    SCOPED_TRACE(p.name);
    const Exchange whole = tool_exchange(p, false);
    const Exchange streamed = tool_exchange(p, true);
    EXPECT_EQ(fields(streamed.result), fields(whole.result));
    EXPECT_EQ(streamed.result.text, "done ü");
    EXPECT_EQ(streamed.result.iterations_used, 2);
    // The tool answers and the assistant turns sent back are the same bytes.
    EXPECT_EQ(streamed.bodies, whole.bodies);
    EXPECT_EQ(streamed.tool_inputs.size(), 2u);
    EXPECT_EQ(streamed.tool_inputs, whole.tool_inputs);
    EXPECT_EQ(streamed.usage, whole.usage);
    EXPECT_EQ(streamed.usage.requests, 2);
    const std::vector<std::string> round = {"waiting", "accepted", "writing", "answered"};
    std::vector<std::string> expected = round;
    expected.insert(expected.end(), {"tool read_file a.py", "tool read_file missing.py"});
    expected.insert(expected.end(), round.begin(), round.end());
    EXPECT_EQ(streamed.progress, expected);
    EXPECT_EQ(whole.progress,
              (std::vector<std::string>{"waiting", "answered", "tool read_file a.py",
                                        "tool read_file missing.py", "waiting", "answered"}));
  }
}

struct StreamCase {
  const char* name;
  bool then_whole;       // the entry answers once; the whole reply follows
  std::size_t requests;  // requests the stub should see
  // After "<provider>: " (see up_to), for Messages then chat, one when the
  // same; none: success.
  std::vector<std::string> said;
  std::function<void(clients::TransportOptions&)> tweak;
  // The scripted entry for a protocol, given its events of a whole reply.
  std::function<Value(bool chat, const Events& whole)> entry;
};

// The first `n` events of a whole reply (the chat role chunk and a piece of text).
std::vector<std::string> head(const std::vector<std::string>& whole, std::size_t n) {
  return {whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(n)};
}

const std::string kMessagesError =
    "event: error\ndata: {\"type\": \"error\", \"error\": {\"type\": \"overloaded_error\", "
    "\"message\": \"Overloaded\"}}\n\n";
const std::string kChatError =
    "data: {\"error\": {\"type\": \"overloaded_error\", \"message\": \"Overloaded\"}}\r\n\r\n";

std::vector<StreamCase> stream_cases() {
  auto idle = [](clients::TransportOptions& t) { t.idle_timeout = std::chrono::milliseconds(300); };
  auto cut = [](bool chat, const Events& whole) {
    return streamed(head(whole, chat ? 2 : whole.size() - 1));
  };
  return {
      {"invalid JSON in a data field",
       false,
       1,
       {"event 'message_delta' holds data that is not JSON (...",
        "event 'message' holds data that is not JSON (..."},
       nullptr,
       [](bool chat, const Events& whole) {
         return streamed(
             {whole[0], chat ? "data: {nope\r\n\r\n"s : "event: message_delta\ndata: {nope\n\n"s});
       }},
      {"a delta before its block or call was opened",
       false,
       1,
       {"content_block_delta for content block 0, which is not open (HTTP 200)",
        "a tool-call piece for index 2 arrived before that call was opened with a function name "
        "(HTTP 200)"},
       nullptr,
       [](bool chat, const Events& whole) {
         return streamed(
             {whole[0],
              chat
                  ? R"(data: {"choices": [{"index": 0, "delta": {"tool_calls": [{"index": 2, "function": {"arguments": "{"}}]}}]})"s +
                        "\r\n\r\n"
                  : "event: content_block_delta\ndata: {\"type\": \"content_block_delta\", \"index\": 0, \"delta\": {\"type\": \"text_delta\", \"text\": \"x\"}}\n\n"s});
       }},
      {"an error event after text",
       false,
       1,
       {"the server reported an error in the stream: Overloaded (overloaded_error) (HTTP 200)"},
       nullptr,
       [](bool chat, const Events& whole) {
         auto events = head(whole, chat ? 2 : 4);
         events.push_back(chat ? kChatError : kMessagesError);
         return streamed(events);
       }},
      {"JSON in place of events half way",
       false,
       1,
       {"the event stream holds a line that is not an event field: '{\"type\": \"message\"}' (HTTP "
        "200)"},
       nullptr,
       [](bool, const Events& whole) {
         return streamed({whole[0], "{\"type\": \"message\"}\n"});
       }},
      {"a \\u escape, a repeated key: left to the full parse, the same text",
       false,
       1,
       {},
       nullptr,
       [](bool chat, const Events& whole) {
         std::vector<std::string> events;
         for (std::string e : whole) {
           const bool wide = e.find("ü") != std::string::npos;
           const std::string from = wide ? "ü" : chat ? "\"content\": " : "\"text\": ";
           const std::string to = wide   ? "\\u00fc"
                                  : chat ? "\"content\": null, \"content\": "
                                         : "\"text\": 1, \"text\": ";
           if (const auto at = e.find(from); at != std::string::npos)
             e.replace(at, from.size(), to);
           events.push_back(e);
         }
         return streamed(events);
       }},
      {"a stream that stops before its final event is retried", true, 2, {}, nullptr, cut},
      {"a stream that stops before its final event on every attempt",
       false,
       4,
       {"the event stream ended before its final event (after 4 attempts)"},
       nullptr,
       cut},
      {"a stall past the idle timeout is retried",
       true,
       2,
       {},
       idle,
       [](bool, const Events& whole) {
         return streamed({whole[0], whole[1]}, 0, 5);
       }},
      {"pings alone until the whole-request timeout",
       false,
       1,
       {"no complete answer from URL within the time allowed (connect 2000 ms, whole request 900 "
        "ms)"},
       [idle](clients::TransportOptions& t) {
         idle(t);
         t.request_timeout = std::chrono::milliseconds(900);
       },
       [](bool chat, const Events&) {
         return streamed({chat ? ": ping\r\n\r\n" : "event: ping\ndata: {}\n\n"}, 0.1, 0,
                         {{"repeat", 100}});
       }},
      {"a line with no end past the size cap",
       false,
       1,
       {"the reply is larger than the limit of 1000 bytes"},
       [](clients::TransportOptions& t) { t.max_response_bytes = 1000; },
       [](bool, const Events&) { return streamed({"data: " + std::string(3000, 'x')}); }},
  };
}

TEST(Streaming, BrokenStreamsFailClearlyOrAreRetried) {
  for (const ClientProtocol& p : client_protocols()) {
    for (const StreamCase& c : stream_cases()) {
      SCOPED_TRACE(std::string(p.name) + ": " + c.name);
      const std::vector<std::string> whole = p.events(p.text_reply, 3);
      Value::Sequence script{c.entry(p.chat, whole)};
      if (c.then_whole) {
        script[0].as_mapping().set("times", 1);
        script.push_back(streamed(whole));
      }
      StubServer stub(replies(script));
      clients::TransportOptions t = fast_transport();
      if (c.tweak) c.tweak(t);
      const auto client = p.make(stub.url(), true, t, nullptr);
      const std::string said = c.said.empty() ? "" : p.chat ? c.said.back() : c.said.front();
      try {
        const CompletionResult r =
            client->complete(user_turn("review"), {.system = system_blocks(), .max_tokens = 64});
        EXPECT_TRUE(said.empty()) << "succeeded: " << r.text;
        EXPECT_EQ(r.text, "done ü");
      } catch (const clients::ProviderError& e) {
        ASSERT_FALSE(said.empty()) << e.what();
        const std::string expected = p.failure(stub.url(), said);
        EXPECT_EQ(up_to(e.what(), expected), expected);
      }
      EXPECT_EQ(stub.requests().size(), c.requests);
    }
  }
}

}  // namespace
}  // namespace tessik::testing
