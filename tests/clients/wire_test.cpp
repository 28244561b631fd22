// Decoding of reply bodies of both protocols, and the wording of what came
// back: each table row is a body a server could send.
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include <tessik/clients/detail/chat_wire.hpp>
#include <tessik/clients/detail/http_transport.hpp>
#include <tessik/clients/detail/messages_wire.hpp>
#include <tessik/clients/detail/reply_text.hpp>

#include "failure.hpp"

namespace tessik::testing {
namespace {

using namespace clients::detail;

struct DecodeCase {
  const char* name;
  const char* body;
  std::string error;  // the InvalidValueError message; empty: decodes
  std::string text{};
  std::optional<std::string> stop{};
  std::string problems{};  // the tool calls' problems, "|"-separated
};

std::string problems_of(const DecodedReply& r) {
  std::string out;
  for (const ToolCall& c : r.tool_calls) out += (out.empty() ? "" : "|") + c.problem;
  return out;
}

void check(const DecodeCase& c, DecodedReply (*decode)(std::string_view)) {
  SCOPED_TRACE(c.name);
  if (!c.error.empty()) {
    const Failure f = failure_of([&] { decode(c.body); });
    EXPECT_EQ(f.kind, "ValueError");
    EXPECT_EQ(f.message, c.error);
    return;
  }
  const DecodedReply r = decode(c.body);
  EXPECT_EQ(r.text, c.text);
  EXPECT_EQ(r.stop_reason, c.stop);
  EXPECT_EQ(problems_of(r), c.problems);
}

TEST(MessagesWire, DecodesRepliesAndRefusesWrongShapes) {
  const DecodeCase kCases[] = {
      {"text blocks join; thinking blocks are skipped",
       R"({"content": [{"type": "thinking", "thinking": "hm"}, {"type": "text", "text": "a"},)"
       R"( {"type": "text", "text": "b"}], "stop_reason": "refusal"})",
       "", "ab", "refusal"},
      {"null stop reason is absent", R"({"content": [], "stop_reason": null})", ""},
      {"tool input that is not an object is a problem, not a failure",
       R"({"content": [{"type": "tool_use", "id": "t", "name": "read_file", "input": [1]}],)"
       R"( "stop_reason": "tool_use"})",
       "", "", "tool_use", "the input of tool 'read_file' must be an object, not an array"},
      {"missing tool input", R"({"content": [{"type": "tool_use", "id": "t", "name": "x"}]})", "",
       "", std::nullopt, "the input of tool 'x' must be an object, not null"},
      {"empty body", "", "the reply body is empty"},
      {"JSON null", "null", "the reply is null, not an object; it begins: 'null'"},
      {"no content", R"({"type": "message"})",
       R"(the reply has no content array; it begins: '{"type": "message"}')"},
      {"a block that is not an object", R"({"content": [3]})",
       "content block 1 of the reply is a number, not an object"},
      {"a text block without text",
       R"({"content": [{"type": "text"}, {"type": "text", "text": 1}]})",
       "text block 1 of the reply has no text"},
      {"a tool_use block without an id",
       R"({"content": [{"type": "tool_use", "name": "x", "input": {}}]})",
       "tool_use block 1 of the reply lacks its id or name"},
  };
  for (const DecodeCase& c : kCases) check(c, &decode_messages_reply);
}

TEST(MessagesWire, UsageIgnoresCountsOfTheWrongKind) {
  const DecodedReply r =
      decode_messages_reply(R"({"content": [], "usage": {"input_tokens": -4, "output_tokens": "9",)"
                            R"( "cache_read_input_tokens": 3}})");
  EXPECT_EQ(r.usage, (clients::TokenUsage{.cache_read_tokens = 3, .requests = 1}));
}

TEST(ChatWire, DecodesRepliesAndMapsFinishReasons) {
  const DecodeCase kCases[] = {
      {"stop", R"({"choices": [{"message": {"content": "a"}, "finish_reason": "stop"}]})", "", "a",
       "end_turn"},
      {"length", R"({"choices": [{"message": {"content": "a"}, "finish_reason": "length"}]})", "",
       "a", "max_tokens"},
      {"content filter",
       R"({"choices": [{"message": {"content": null}, "finish_reason": "content_filter"}]})", "",
       "", "refusal"},
      {"a refusal message wins over stop",
       R"({"choices": [{"message": {"content": null, "refusal": "no"}, "finish_reason": "stop"}]})",
       "", "", "refusal"},
      {"an unknown reason passes through",
       R"({"choices": [{"message": {"content": "a"}, "finish_reason": "eos"}]})", "", "a", "eos"},
      {"tool calls finishing with stop still ask for tools",
       R"({"choices": [{"message": {"tool_calls": [{"id": "c", "function": {"name": "f",)"
       R"( "arguments": "{}"}}]}, "finish_reason": "stop"}]})",
       "", "", "tool_use"},
      {"arguments given as an object, as some local servers do",
       R"({"choices": [{"message": {"tool_calls": [{"function": {"name": "f", "arguments": {"a": 1}}}]},)"
       R"( "finish_reason": "tool_calls"}]})",
       "", "", "tool_use"},
      {"arguments that are an array",
       R"({"choices": [{"message": {"tool_calls": [{"id": "c", "function": {"name": "f", "arguments": "[1]"}}]},)"
       R"( "finish_reason": "tool_calls"}]})",
       "", "", "tool_use", "the arguments of tool 'f' must be an object, not an array"},
      {"no choices", R"({"choices": []})",
       R"(the reply has no choices; it begins: '{"choices": []}')"},
      {"a choice without a message", R"({"choices": [{"text": "a"}]})",
       "the reply's first choice has no message object"},
      {"content that is not text", R"({"choices": [{"message": {"content": 5}}]})",
       "the reply's message content is a number, not a string"},
      {"a tool call without a name", R"({"choices": [{"message": {"tool_calls": [{"id": "c"}]}}]})",
       "tool call 1 of the reply has no function name"},
  };
  for (const DecodeCase& c : kCases) check(c, &decode_chat_reply);
}

TEST(ReplyText, ExcerptsAndProviderMessages) {
  const struct {
    std::string in;
    std::string excerpt;
  } kExcerpts[] = {
      {"plain", "'plain'"},
      {"a'b\\c\td\n", R"('a\'b\\c\x09d\n')"},
      {"caf\xc3\xa9 \xff\xc3", R"('café \xff\xc3')"},
      {std::string(130, 'x'), "'" + std::string(120, 'x') + "'..."},
  };
  for (const auto& c : kExcerpts) EXPECT_EQ(excerpt(c.in), c.excerpt) << c.in;

  const struct {
    const char* body;
    const char* said;
  } kMessages[] = {
      {R"({"type": "error", "error": {"type": "x", "message": "invalid x-api-key"}})",
       "invalid x-api-key"},
      {R"({"error": "model not loaded"})", "model not loaded"},
      {R"({"message": "top level"})", "top level"},
      {R"({"error": {"code": 5}})", ""},
      {"<html>", ""},
  };
  for (const auto& c : kMessages) EXPECT_EQ(provider_message(c.body), c.said) << c.body;
}

TEST(Transport, BackoffDoublesUpToItsCapAndOnlyTransientStatusesRetry) {
  clients::TransportOptions o;
  o.backoff_initial = std::chrono::milliseconds(100);
  o.backoff_max = std::chrono::milliseconds(350);
  const long kWaits[] = {100, 200, 350, 350};
  for (int retry = 1; retry <= 4; ++retry) {
    EXPECT_EQ(backoff_delay(o, retry).count(), kWaits[retry - 1]) << retry;
  }
  for (long status : {408L, 429L, 500L, 502L, 503L, 504L, 529L})
    EXPECT_TRUE(retryable_status(status)) << status;
  for (long status : {200L, 400L, 401L, 403L, 404L, 413L, 501L})
    EXPECT_FALSE(retryable_status(status)) << status;
}

TEST(Transport, OnlyAKeyLongEnoughToBeSecretIsRedacted) {
  const std::string text = "the maximum for key 1234567 and key 12345678 is 12345678";
  EXPECT_EQ(HttpTransport({}, "p", "").redact(text), text);
  // A placeholder under 8 bytes ("x", "1234567") would cut words apart.
  EXPECT_EQ(HttpTransport({}, "p", "x").redact(text), text);
  EXPECT_EQ(HttpTransport({}, "p", "1234567").redact(text), text);
  EXPECT_EQ(HttpTransport({}, "p", "12345678").redact(text),
            "the maximum for key 1234567 and key [redacted] is [redacted]");
}

TEST(ChatWire, SystemTextJoinsBlockTextsInOrder) {
  EXPECT_EQ(joined_system_text(Value("one text")), "one text");
  EXPECT_EQ(joined_system_text(Value::Sequence{Value::Mapping{{"type", "text"}, {"text", "a"}},
                                               Value::Mapping{{"type", "image"}},
                                               Value::Mapping{{"text", "b"}}}),
            "a\n\nb");
}

}  // namespace
}  // namespace tessik::testing
