// The HTTP clients' own cost per call against the stub model server, next to
// a bare libcurl POST of the same bytes in the same run.
//
//   tessik_client_bench --benchmark_counters_tabular=true
//
// BM_BareCurl/N       one POST of a ready-made request body with a diff of N
//                     bytes through a reused libcurl handle; the reply is
//                     only collected. The floor for any client.
// BM_MessagesClient/N MessagesClient::complete with the same system blocks
//                     and message: builds the body, posts it, checks and
//                     decodes the reply, counts usage.
// BM_ChatClient/N     the same through ChatCompletionsClient.
// BM_MessagesStreamed/N, BM_ChatStreamed/N
//                     the same call with the reply streamed as events, one
//                     piece of text (about 4 bytes, a token) per event: the
//                     client's CPU per streamed reply, to set beside the
//                     whole reply's.
// BM_MessagesBurst/N, BM_ChatBurst/N
//                     the same events sent by the server in one write, so
//                     that they arrive together: the decoding without a
//                     wake-up per event.
// BM_DecodeWhole, BM_DecodeStream
//                     the decoding alone: the Messages reply body through
//                     its decoder, and the same reply's event stream through
//                     the event decoder and the assembler.
//
// The server's share of a call is the same in every benchmark, so the CPU
// time of the calling thread (the "CPU" column) is the client's own work:
// its ratio to BM_BareCurl's is what the client adds. Real time includes the
// stub's answer (a Python server, so it dominates).
#include <benchmark/benchmark.h>
#include <curl/curl.h>

#include <memory>
#include <string>
#include <vector>

#include <tessik/clients/chat_client.hpp>
#include <tessik/clients/detail/messages_stream.hpp>
#include <tessik/clients/detail/messages_wire.hpp>
#include <tessik/clients/detail/sse_decoder.hpp>
#include <tessik/clients/messages_client.hpp>
#include <tessik/foundation/json.hpp>

#include "clients/client_fixtures.hpp"

namespace {

using namespace tessik;

const char* const kReply =
    R"({"status": "findings", "summary": "one issue", "findings": [{"file_path": "src/a.py",)"
    R"( "line_number": 12, "severity": "high", "issue": "The loop never ends when the list is)"
    R"( empty.", "suggestion": "Check the length first.", "confidence": 0.9, "category":)"
    R"( "code-quality"}]})";

// One event per token of about 4 bytes.
std::size_t token_pieces() { return std::string_view(kReply).size() / 4; }

// The user turn of the burst benchmarks: the stub sends their events in one
// write.
const char* const kMessagesBurst = "review (messages burst)";
const char* const kChatBurst = "review (chat burst)";

// All of `events` as one chunk.
std::vector<std::string> burst(const std::vector<std::string>& events) {
  std::string all;
  for (const std::string& e : events) all += e;
  return {all};
}

// One stub for the whole run, answering both protocols, whole or streamed,
// by path-free content.
testing::StubServer& stub() {
  static testing::StubServer server(
      testing::replies({
          testing::streamed(burst(testing::chat_events(testing::chat_text(kReply), token_pieces())),
                            0, 0, {{"when", kChatBurst}}),
          testing::streamed(
              burst(testing::messages_events(testing::messages_text(kReply), token_pieces())), 0, 0,
              {{"when", kMessagesBurst}}),
          testing::streamed(testing::chat_events(testing::chat_text(kReply), token_pieces()), 0, 0,
                            {{"when", "\"stream_options\""}}),
          testing::answer(testing::chat_text(kReply), {{"when", "\"role\": \"system\""}}),
          testing::streamed(
              testing::messages_events(testing::messages_text(kReply), token_pieces()), 0, 0,
              {{"when", "\"stream\": true"}}),
          testing::answer(testing::messages_text(kReply)),
      }),
      /*record=*/false);
  return server;
}

Value system_with_diff(std::size_t bytes) {
  Value blocks = testing::system_blocks();
  std::string diff;
  while (diff.size() < bytes) diff += "+    total += compute(item, factor)  # keep going\n";
  diff.resize(bytes);
  blocks.as_sequence()[0].as_mapping().set("text", diff);
  return blocks;
}

std::size_t collect(char*, std::size_t size, std::size_t n, void* out) {
  static_cast<std::string*>(out)->append(size * n, ' ');
  return size * n;
}

void BM_BareCurl(benchmark::State& state) {
  const Value system = system_with_diff(static_cast<std::size_t>(state.range(0)));
  clients::MessagesClientOptions o = testing::messages_options(stub().url());
  const std::string body = to_json(Value::Mapping{{"model", o.model},
                                                  {"max_tokens", 1024},
                                                  {"system", system},
                                                  {"messages", testing::user_turn("review")}});
  const std::string url = stub().url() + "/v1/messages";
  CURL* h = curl_easy_init();
  curl_slist* headers = curl_slist_append(nullptr, "Content-Type: application/json");
  headers = curl_slist_append(headers, "Expect:");
  std::string reply;
  for (auto _ : state) {
    reply.clear();
    curl_easy_setopt(h, CURLOPT_URL, url.c_str());
    curl_easy_setopt(h, CURLOPT_POSTFIELDS, body.data());
    curl_easy_setopt(h, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
    curl_easy_setopt(h, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(h, CURLOPT_WRITEFUNCTION, &collect);
    curl_easy_setopt(h, CURLOPT_WRITEDATA, &reply);
    if (curl_easy_perform(h) != CURLE_OK) state.SkipWithError("bare POST failed");
    benchmark::DoNotOptimize(reply.data());
  }
  curl_slist_free_all(headers);
  curl_easy_cleanup(h);
}

template <class Client, class Options>
void run_client(benchmark::State& state, Options options, bool stream = false,
                const char* turn = "review") {
  options.stream = stream;
  const Value system = system_with_diff(static_cast<std::size_t>(state.range(0)));
  const Value messages = testing::user_turn(turn);
  Client client(std::move(options));
  const CompleteOptions call{.system = system, .agent_name = "bench", .max_tokens = 1024};
  for (auto _ : state) {
    CompletionResult r = client.complete(messages, call);
    benchmark::DoNotOptimize(r.text.data());
  }
}

void BM_MessagesClient(benchmark::State& state) {
  run_client<clients::MessagesClient>(state, testing::messages_options(stub().url()));
}

void BM_ChatClient(benchmark::State& state) {
  run_client<clients::ChatCompletionsClient>(state, testing::chat_options(stub().url()));
}

void BM_MessagesStreamed(benchmark::State& state) {
  run_client<clients::MessagesClient>(state, testing::messages_options(stub().url()), true);
}

void BM_ChatStreamed(benchmark::State& state) {
  run_client<clients::ChatCompletionsClient>(state, testing::chat_options(stub().url()), true);
}

void BM_MessagesBurst(benchmark::State& state) {
  run_client<clients::MessagesClient>(state, testing::messages_options(stub().url()), true,
                                      kMessagesBurst);
}

void BM_ChatBurst(benchmark::State& state) {
  run_client<clients::ChatCompletionsClient>(state, testing::chat_options(stub().url()), true,
                                             kChatBurst);
}

void BM_DecodeWhole(benchmark::State& state) {
  const std::string body = to_json(testing::messages_text(kReply));
  for (auto _ : state) {
    clients::detail::DecodedReply r = clients::detail::decode_messages_reply(body);
    benchmark::DoNotOptimize(r.text.data());
  }
}

void BM_DecodeStream(benchmark::State& state) {
  std::string events;
  for (const std::string& e :
       testing::messages_events(testing::messages_text(kReply), token_pieces()))
    events += e;
  for (auto _ : state) {
    clients::detail::SseDecoder decoder;
    const auto stream = clients::detail::messages_reply_stream();
    decoder.feed(events,
                 [&](std::string_view name, std::string_view data) { stream->event(name, data); });
    clients::detail::DecodedReply r = stream->reply();
    benchmark::DoNotOptimize(r.text.data());
  }
}

BENCHMARK(BM_BareCurl)->Arg(1 << 10)->Arg(64 << 10);
BENCHMARK(BM_MessagesClient)->Arg(1 << 10)->Arg(64 << 10);
BENCHMARK(BM_ChatClient)->Arg(1 << 10)->Arg(64 << 10);
BENCHMARK(BM_MessagesStreamed)->Arg(1 << 10)->Arg(64 << 10);
BENCHMARK(BM_ChatStreamed)->Arg(1 << 10)->Arg(64 << 10);
BENCHMARK(BM_MessagesBurst)->Arg(1 << 10)->Arg(64 << 10);
BENCHMARK(BM_ChatBurst)->Arg(1 << 10)->Arg(64 << 10);
BENCHMARK(BM_DecodeWhole);
BENCHMARK(BM_DecodeStream);

}  // namespace

BENCHMARK_MAIN();
