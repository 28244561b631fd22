// The libcurl transport under both clients: a pool of reusable easy handles
// (each keeps its connections alive between calls), per-attempt timeouts, the
// response size cap and the retry loop.
#ifndef TESSIK_CLIENTS_DETAIL_HTTP_TRANSPORT_HPP_
#define TESSIK_CLIENTS_DETAIL_HTTP_TRANSPORT_HPP_

#include <chrono>
#include <cstddef>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <tessik/clients/transport_options.hpp>

namespace tessik::clients::detail {

struct HttpRequest {
  std::string url;
  std::vector<std::string> headers;  // "name: value"
  std::string body;                  // JSON text, sent as the body
  // "POST" (the models' calls); "GET" sends no body; "PATCH", "PUT" send it.
  std::string method = "POST";
};

struct HttpResponse {
  long status = 0;
  std::string body;
  std::optional<std::chrono::milliseconds> retry_after;  // from a retry-after header
  int attempts = 1;                                      // attempts made, this one included
  bool streamed = false;  // the body went to the StreamReceiver and `body` is empty
};

// Takes a reply that arrives as server-sent events, attempt by attempt.
// The transport hands an answer to it only when the status is 2xx and the
// content type is text/event-stream; any other answer is collected in
// HttpResponse::body as usual.
class StreamReceiver {
 public:
  virtual ~StreamReceiver() = default;
  // An attempt's streamed answer begins: forget any earlier attempt's.
  virtual void start() = 0;
  // The next bytes, as they arrive. Throws (an Error saying what was wrong)
  // to refuse the stream: the attempt then ends and is not retried.
  virtual void receive(std::string_view bytes) = 0;
  // Whether the stream has carried its final event; asked when it ends.
  virtual bool complete() const = 0;
};

// True for the statuses worth another attempt: 408, 429, 500, 502, 503,
// 504 and 529.
bool retryable_status(long status) noexcept;

// The wait before retry `retry` (1-based) without jitter: backoff_initial
// doubled per retry, capped at backoff_max.
std::chrono::milliseconds backoff_delay(const TransportOptions& options, int retry) noexcept;

// Keys shorter than this are placeholders (a local server takes "x" or
// "none"), not secrets: looking for them would cut words of every message
// apart ("ma[redacted]imum"), so they are left alone.
inline constexpr std::size_t kMinRedactedSecretBytes = 8;

// A thread-safe HTTP POST client. `provider` names the server in failures;
// `secret` (the API key) is redacted from debug log lines and messages when
// it has at least kMinRedactedSecretBytes bytes.
class HttpTransport {
 public:
  HttpTransport(TransportOptions options, std::string provider, std::string secret);
  ~HttpTransport();
  HttpTransport(const HttpTransport&) = delete;
  HttpTransport& operator=(const HttpTransport&) = delete;

  // Sends `request` with its method, retrying as the options say, and returns the last
  // answer whatever its status. Throws ProviderError (status 0) when no
  // answer came: refused, timed out, reset on the last attempt, reply over
  // the size cap.
  //
  // With a `receiver`, the request asks for a stream: an answer streamed as
  // server-sent events goes to it (HttpResponse::streamed), the idle timeout
  // applies, and a stream that stalls or ends before its final event counts
  // as a broken connection (retried). What the receiver throws becomes a
  // ProviderError with the HTTP status. Once the options' cancellation is
  // cancelled, the attempt in flight ends, no other starts, and
  // ProviderError (status 0) says the request was cancelled.
  HttpResponse post(const HttpRequest& request, StreamReceiver* receiver = nullptr);

  const TransportOptions& options() const noexcept { return options_; }
  const std::string& provider() const noexcept { return provider_; }
  // `text` with every occurrence of the secret replaced by "[redacted]"
  // (unchanged for a secret under kMinRedactedSecretBytes).
  std::string redact(std::string text) const;

 private:
  void* acquire();
  void release(void* handle) noexcept;

  TransportOptions options_;
  std::string provider_;
  std::string secret_;
  std::mutex mutex_;
  std::vector<void*> idle_;  // CURL* easy handles with live connections
};

}  // namespace tessik::clients::detail

#endif  // TESSIK_CLIENTS_DETAIL_HTTP_TRANSPORT_HPP_
