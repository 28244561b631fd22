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

// One protocol: its client and the events it streams for a whole reply.
struct Protocol {
  const char* name;
  std::function<std::unique_ptr<AIClient>(const std::string& url, bool stream,
                                          clients::TransportOptions, clients::ProgressObserver)>
      make;
  std::function<std::vector<std::string>(const Value& reply)> events;
  Value text_reply, tool_reply;  // "done", and a read_file call of a.py then missing.py
  std::string endpoint_suffix;
  const char* stream_members;  // what a streaming request adds to the body
};

clients::MessagesClientOptions options_for(const clients::MessagesClient*, const std::string& url) {
  return messages_options(url);
}
clients::ChatCompletionsClientOptions options_for(const clients::ChatCompletionsClient*,
                                                  const std::string& url) {
  return chat_options(url);
}

template <class Client>
std::unique_ptr<AIClient> make_client(const std::string& url, bool stream,
                                      clients::TransportOptions t,
                                      clients::ProgressObserver progress) {
  auto o = options_for(static_cast<const Client*>(nullptr), url);
  o.stream = stream;
  o.transport = t;
  o.progress = std::move(progress);
  return std::make_unique<Client>(o);
}

const Protocol& messages_protocol() {
  static const Protocol p{
      "messages",
      &make_client<clients::MessagesClient>,
      [](const Value& r) { return messages_events(r); },
      messages_text("done ü"),
      messages_tool_use({{"t1", "read_file", Value::Mapping{{"path", "a.py"}}},
                         {"t2", "read_file", Value::Mapping{{"path", "missing.py"}}}}),
      "",
      R"({"stream": true})"};
  return p;
}

const Protocol& chat_protocol() {
  static const Protocol p{"chat",
                          &make_client<clients::ChatCompletionsClient>,
                          [](const Value& r) { return chat_events(r); },
                          chat_text("done ü"),
                          chat_tool_calls({{"c1", "read_file", R"({"path": "a.py"})"},
                                           {"c2", "read_file", R"({"path": "missing.py"})"}}),
                          "/v1",
                          R"({"stream": true, "stream_options": {"include_usage": true}})"};
  return p;
}

const Protocol* const kProtocols[] = {&messages_protocol(), &chat_protocol()};

// The request bodies the stub saw, without the members that ask for a stream.
std::vector<Value> bodies_without_stream(const StubServer& stub) {
  std::vector<Value> out;
  for (const StubRequest& r : stub.requests()) {
    Value::Mapping kept;
    const Value body = r.json();
    for (const auto& [key, value] : body.as_mapping()) {
      if (key.as_string().rfind("stream", 0) != 0) kept.set(key, value);
    }
    out.push_back(Value(std::move(kept)));
  }
  return out;
}

// What one tool exchange gave, streamed or sent whole.
struct Exchange {
  CompletionResult result;
  std::vector<Value> bodies, tool_inputs;
  clients::TokenUsage usage;
  std::vector<std::string> progress;  // "stage tool path" as observed
};

Exchange tool_exchange(const Protocol& p, bool stream) {
  auto entry = [&](const Value& reply) {
    return stream ? streamed(p.events(reply)) : answer(reply);
  };
  Value tool_round = entry(p.tool_reply);
  tool_round.as_mapping().set("times", 1);
  StubServer stub(replies({tool_round, entry(p.text_reply)}));
  Exchange out;
  std::mutex mutex;
  const auto client =
      p.make(stub.url() + p.endpoint_suffix, stream, fast_transport(),
             [&](const clients::CallProgress& c) {
               const std::lock_guard lock(mutex);
               const char* kStages[] = {"waiting", "accepted", "writing", "tool", "answered"};
               std::string line = kStages[static_cast<int>(c.stage)];
               if (c.stage == clients::CallStage::tool) {
                 line.append(" ").append(c.tool).append(" ").append(c.path);
               }
               if (out.progress.empty() || out.progress.back() != line) {
                 out.progress.push_back(line);
               }
             });
  FileTool files(FileTool::Files{{"a.py", "x = 1\n"}});
  out.result = client->complete_with_tools(user_turn("review"),
                                           {.system = system_blocks(),
                                            .tools = Value::Sequence{read_file_definition()},
                                            .tool_handlers = {{"read_file", files.handler()}},
                                            .max_iterations = 4,
                                            .agent_name = "corvin",
                                            .max_tokens = 2048});
  out.bodies = bodies_without_stream(stub);
  out.tool_inputs = files.inputs();
  const auto requests = stub.requests();
  for (const StubRequest& r : requests) {
    EXPECT_EQ(r.body.find(p.stream_members + 1) != std::string::npos, stream) << r.body;
  }
  if (auto* m = dynamic_cast<clients::MessagesClient*>(client.get())) {
    out.usage = m->usage().total();
  } else {
    out.usage = dynamic_cast<clients::ChatCompletionsClient&>(*client).usage().total();
  }
  return out;
}

TEST(Streaming, AStreamedExchangeGivesWhatTheWholeRepliesGive) {
  for (const Protocol* p : kProtocols) {
    SCOPED_TRACE(p->name);
    const Exchange whole = tool_exchange(*p, false);
    const Exchange streamed = tool_exchange(*p, true);
    EXPECT_EQ(streamed.result.text, "done ü");
    EXPECT_EQ(streamed.result.text, whole.result.text);
    EXPECT_EQ(streamed.result.stop_reason, whole.result.stop_reason);
    EXPECT_EQ(streamed.result.iterations_used, 2);
    EXPECT_EQ(streamed.result.iterations_used, whole.result.iterations_used);
    EXPECT_EQ(streamed.result.hit_iteration_cap, whole.result.hit_iteration_cap);
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
  // The scripted entries for a protocol, given its events of a whole reply.
  std::function<Value::Sequence(bool chat, const std::vector<std::string>& whole)> entries;
  std::size_t requests;
  std::string error[2];  // Messages, chat; after "<provider>: "; empty: success
  bool prefix_only = false;
  std::function<void(clients::TransportOptions&)> tweak = nullptr;
};

Value::Sequence once(Value entry, bool then_whole, const std::vector<std::string>& whole) {
  entry.as_mapping().set("times", 1);
  Value::Sequence out{std::move(entry)};
  if (then_whole) out.push_back(streamed(whole));
  return out;
}

// The first `n` events of a whole reply (the chat role chunk and a piece of text).
std::vector<std::string> head(const std::vector<std::string>& whole, std::size_t n) {
  return {whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(n)};
}

const std::string kMessagesError =
    "event: error\ndata: {\"type\": \"error\", \"error\": {\"type\": \"overloaded_error\", "
    "\"message\": \"Overloaded\"}}\n\n";
const std::string kChatError =
    "data: {\"error\": {\"type\": \"overloaded_error\", \"message\": \"Overloaded\"}}\r\n\r\n";
const std::string kReported =
    "the server reported an error in the stream: Overloaded (overloaded_error) (HTTP 200)";

std::vector<StreamCase> stream_cases() {
  auto idle = [](clients::TransportOptions& t) { t.idle_timeout = std::chrono::milliseconds(300); };
  return {
      {"invalid JSON in a data field",
       [](bool chat, const auto& whole) {
         return Value::Sequence{streamed(
             {whole[0], chat ? "data: {nope\r\n\r\n"s : "event: message_delta\ndata: {nope\n\n"s})};
       },
       1,
       {"event 'message_delta' holds data that is not JSON (",
        "event 'message' holds data that is not JSON ("},
       true},
      {"a delta before its block or call was opened",
       [](bool chat, const auto& whole) {
         return Value::Sequence{streamed(
             {whole[0],
              chat
                  ? R"(data: {"choices": [{"index": 0, "delta": {"tool_calls": [{"index": 2, "function": {"arguments": "{"}}]}}]})"s +
                        "\r\n\r\n"
                  : "event: content_block_delta\ndata: {\"type\": \"content_block_delta\", \"index\": 0, \"delta\": {\"type\": \"text_delta\", \"text\": \"x\"}}\n\n"s})};
       },
       1,
       {"content_block_delta for content block 0, which is not open (HTTP 200)",
        "a tool-call piece for index 2 arrived before that call was opened with a function name "
        "(HTTP 200)"}},
      {"an error event after text",
       [](bool chat, const auto& whole) {
         auto events = head(whole, chat ? 2 : 4);
         events.push_back(chat ? kChatError : kMessagesError);
         return Value::Sequence{streamed(events)};
       },
       1,
       {kReported, kReported}},
      {"JSON in place of events half way",
       [](bool, const auto& whole) {
         return Value::Sequence{streamed({whole[0], "{\"type\": \"message\"}\n"})};
       },
       1,
       {"the event stream holds a line that is not an event field: '{\"type\": \"message\"}' (HTTP "
        "200)",
        "the event stream holds a line that is not an event field: '{\"type\": \"message\"}' (HTTP "
        "200)"}},
      {"a \\u escape, a repeated key: left to the full parse, the same text",
       [](bool chat, const auto& whole) {
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
         return Value::Sequence{streamed(events)};
       },
       1,
       {"", ""}},
      {"a stream that stops before its final event is retried",
       [](bool chat, const auto& whole) {
         return once(streamed(head(whole, chat ? 2 : whole.size() - 1)), true, whole);
       },
       2,
       {"", ""}},
      {"a stream that stops before its final event on every attempt",
       [](bool chat, const auto& whole) {
         return Value::Sequence{streamed(head(whole, chat ? 2 : whole.size() - 1))};
       },
       4,
       {"the event stream ended before its final event (after 4 attempts)",
        "the event stream ended before its final event (after 4 attempts)"}},
      {"a stall past the idle timeout is retried",
       [](bool, const auto& whole) {
         return once(streamed({whole[0], whole[1]}, 0, 5), true, whole);
       },
       2,
       {"", ""},
       false,
       idle},
      {"pings alone until the whole-request timeout",
       [](bool chat, const auto&) {
         Value entry = streamed({chat ? ": ping\r\n\r\n" : "event: ping\ndata: {}\n\n"}, 0.1);
         entry.as_mapping().set("repeat", 100);
         return Value::Sequence{entry};
       },
       1,
       {"no complete answer from URL within the time allowed (connect 2000 ms, whole request 900 "
        "ms)",
        "no complete answer from URL within the time allowed (connect 2000 ms, whole request 900 "
        "ms)"},
       false,
       [idle](clients::TransportOptions& t) {
         idle(t);
         t.request_timeout = std::chrono::milliseconds(900);
       }},
      {"a line with no end past the size cap",
       [](bool, const auto&) {
         return Value::Sequence{streamed({"data: " + std::string(3000, 'x')})};
       },
       1,
       {"the reply is larger than the limit of 1000 bytes",
        "the reply is larger than the limit of 1000 bytes"},
       false,
       [](clients::TransportOptions& t) { t.max_response_bytes = 1000; }},
  };
}

TEST(Streaming, BrokenStreamsFailClearlyOrAreRetried) {
  for (const Protocol* p : kProtocols) {
    const bool chat = p == &chat_protocol();
    for (const StreamCase& c : stream_cases()) {
      SCOPED_TRACE(std::string(p->name) + ": " + c.name);
      StubServer stub(replies(c.entries(chat, p->events(p->text_reply))));
      clients::TransportOptions t = fast_transport();
      if (c.tweak) c.tweak(t);
      const std::string url = stub.url() + p->endpoint_suffix;
      const auto client = p->make(stub.url(), true, t, nullptr);
      const std::string& error = c.error[chat ? 1 : 0];
      try {
        const CompletionResult r =
            client->complete(user_turn("review"), {.system = system_blocks(), .max_tokens = 64});
        EXPECT_TRUE(error.empty()) << "succeeded: " << r.text;
        EXPECT_EQ(r.text, "done ü");
      } catch (const clients::ProviderError& e) {
        ASSERT_FALSE(error.empty()) << e.what();
        std::string expected = "model server at " + url + ": " + error;
        if (const auto at = expected.find("URL"); at != std::string::npos) {
          expected.replace(at, 3, url + (chat ? "/chat/completions" : "/v1/messages"));
        }
        if (c.prefix_only) {
          EXPECT_EQ(std::string(e.what()).rfind(expected, 0), 0u) << e.what();
        } else {
          EXPECT_EQ(e.what(), expected);
        }
      }
      EXPECT_EQ(stub.requests().size(), c.requests);
    }
  }
}

}  // namespace
}  // namespace tessik::testing
