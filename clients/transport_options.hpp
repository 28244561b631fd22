// How the HTTP clients talk to a model server: timeouts, the response size
// cap, retries and the connection pool. Every client takes one
// `TransportOptions`; the defaults suit a hosted model API.
//
//   tessik::clients::TransportOptions transport;
//   transport.request_timeout = std::chrono::minutes(2);
//   transport.max_attempts = 2;  // one retry
//
// Retries: a call is retried when the server answers 408, 429, 500, 502,
// 503, 504 or 529, or when the connection breaks before a complete answer
// (reset, closed, truncated). It is never retried on any other status
// (400, 401, 403 and 404 in particular), on a timeout, on a refused
// connection or on an oversized reply. A streamed reply is also retried
// when it stalls (no byte for `idle_timeout`) or ends before its final
// event. The wait before retry n (1-based) is
// `backoff_initial * 2^(n-1)`, at most `backoff_max`, scaled by a random
// factor in [0.5, 1] (jitter, so that agents sharing a rate limit do not
// retry in step). A `retry-after` header in seconds raises the wait to that
// many seconds, but never above `retry_after_max`.
//
// Cancellation: with `cancellation` set, cancelling it ends the calls in
// flight and the waits before retries, and no call is retried after it
// (cancellation.hpp).
#ifndef TESSIK_CLIENTS_TRANSPORT_OPTIONS_HPP_
#define TESSIK_CLIENTS_TRANSPORT_OPTIONS_HPP_

#include <chrono>
#include <cstddef>
#include <memory>

#include <tessik/clients/cancellation.hpp>

namespace tessik::clients {

// The default cap on a reply body: 16 MiB. A reply is bounded by the token
// budget of its request (the classifier refuses texts over 4 MiB), so a
// larger body is not a genuine answer.
inline constexpr std::size_t kDefaultMaxResponseBytes = std::size_t{16} << 20;

struct TransportOptions {
  // Time allowed to open the connection (TCP and TLS): 10 s.
  std::chrono::milliseconds connect_timeout{10'000};
  // Time allowed for one whole attempt, connecting to the last byte of the
  // reply: 10 min, since a long reply with extended thinking takes minutes.
  std::chrono::milliseconds request_timeout{600'000};
  // Longest silence allowed in a streamed reply, waiting for its first byte
  // included: 120 s (hosted servers send keep-alive pings far more often).
  // The attempt then ends and is retried. Zero turns it off. Replies that
  // were not asked to stream are bounded by `request_timeout` alone.
  std::chrono::milliseconds idle_timeout{120'000};
  // Largest reply body accepted, every streamed byte counted; the transfer is aborted as soon as it
  // is passed, whether or not the server announced the length.
  std::size_t max_response_bytes = kDefaultMaxResponseBytes;
  // Attempts per call, the first included: 4 (three retries).
  int max_attempts = 4;
  // Wait before the first retry (1 s), doubling per retry up to
  // `backoff_max` (30 s).
  std::chrono::milliseconds backoff_initial{1'000};
  std::chrono::milliseconds backoff_max{30'000};
  // Longest wait a `retry-after` header can ask for: 60 s.
  std::chrono::milliseconds retry_after_max{60'000};
  // Idle connections kept open for reuse (keep-alive) between calls: 8,
  // one per agent of a usual review run.
  std::size_t max_idle_connections = 8;
  // Shared by the calls it may stop; none: calls run to their end.
  std::shared_ptr<const Cancellation> cancellation{};
};

}  // namespace tessik::clients

#endif  // TESSIK_CLIENTS_TRANSPORT_OPTIONS_HPP_
