#include <tessik/clients/detail/http_transport.hpp>

#include <curl/curl.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <exception>
#include <mutex>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include <tessik/clients/provider_error.hpp>
#include <tessik/logging_channels.hpp>

namespace tessik::clients::detail {
namespace {

using std::chrono::milliseconds;

// libcurl's global set-up is not thread-safe; it runs once, before the first
// transport exists, and is never undone (other code in the process may use
// libcurl too).
void init_curl_once() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

// What one attempt collected.
struct Transfer {
  std::size_t cap = 0;
  std::size_t received = 0;  // body bytes, streamed or collected
  std::string body;
  bool too_large = false;
  std::optional<milliseconds> retry_after;
  long status = 0;           // of the last status line seen
  std::string content_type;  // lower case
  // Streaming: the receiver (null when not asked for), whether this answer
  // goes to it, and why it was cut short.
  StreamReceiver* receiver = nullptr;
  bool decided = false, streaming = false, stalled = false;
  std::exception_ptr refused;
  const Cancellation* cancellation = nullptr;  // ends the attempt when cancelled
  bool cancelled = false;
  milliseconds idle_timeout{0};  // zero: no limit
  std::chrono::steady_clock::time_point last_activity{};
  curl_off_t last_up = 0, last_down = 0;
};

bool streamed_answer(const Transfer& t) {
  return t.receiver && t.status >= 200 && t.status <= 299 &&
         t.content_type.rfind("text/event-stream", 0) == 0;
}

std::size_t on_body(char* data, std::size_t size, std::size_t count, void* user) {
  auto& t = *static_cast<Transfer*>(user);
  const std::size_t n = size * count;
  if (!t.decided) {
    t.decided = true;
    t.streaming = streamed_answer(t);
    if (t.streaming) t.receiver->start();
  }
  // No clock read here: the progress callback sees the byte count move.
  if (n > t.cap - t.received) {
    t.too_large = true;
    return 0;  // aborts the transfer
  }
  t.received += n;
  if (!t.streaming) {
    t.body.append(data, n);
    return n;
  }
  try {
    t.receiver->receive(std::string_view(data, n));
  } catch (...) {
    t.refused = std::current_exception();
    return 0;
  }
  return n;
}

// Called by libcurl at least once a second while a transfer runs: ends an
// attempt once cancelled, or when it has neither sent nor received a byte
// for the idle timeout.
int on_progress(void* user, curl_off_t, curl_off_t down, curl_off_t, curl_off_t up) {
  auto& t = *static_cast<Transfer*>(user);
  if (t.cancellation && t.cancellation->cancelled()) {
    t.cancelled = true;
    return 1;  // aborts the transfer
  }
  if (t.idle_timeout.count() <= 0) return 0;
  const auto now = std::chrono::steady_clock::now();
  if (down != t.last_down || up != t.last_up) {
    t.last_down = down;
    t.last_up = up;
    t.last_activity = now;
  }
  if (now - t.last_activity < t.idle_timeout) return 0;
  t.stalled = true;
  return 1;  // aborts the transfer
}

bool starts_with_nocase(std::string_view text, std::string_view prefix) {
  if (text.size() < prefix.size()) return false;
  for (std::size_t i = 0; i < prefix.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(text[i])) != prefix[i]) return false;
  }
  return true;
}

// Keeps the retry-after header of the final response (seconds only; an HTTP
// date is ignored and the backoff applies).
std::size_t on_header(char* data, std::size_t size, std::size_t count, void* user) {
  auto& t = *static_cast<Transfer*>(user);
  const std::string_view line(data, size * count);
  constexpr std::string_view kName = "retry-after:";
  t.last_activity = std::chrono::steady_clock::now();
  if (starts_with_nocase(line, "http/")) {
    t.retry_after.reset();
    t.content_type.clear();
    const std::size_t blank = line.find(' ');
    if (blank != std::string_view::npos) {
      std::from_chars(line.data() + blank + 1, line.data() + line.size(), t.status);
    }
  } else if (starts_with_nocase(line, "content-type:")) {
    for (char c : line.substr(13)) {
      if (c != ' ' && c != '\t' && c != '\r' && c != '\n') {
        t.content_type += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
      }
    }
  } else if (starts_with_nocase(line, kName)) {
    std::string_view v = line.substr(kName.size());
    while (!v.empty() && (v.front() == ' ' || v.front() == '\t')) v.remove_prefix(1);
    std::int64_t seconds = 0;
    const auto [end, ec] = std::from_chars(v.data(), v.data() + v.size(), seconds);
    if (ec == std::errc() && seconds >= 0 && seconds < 86'400) {
      t.retry_after = milliseconds(seconds * 1000);
    }
  }
  return size * count;
}

struct SListFree {
  void operator()(curl_slist* list) const noexcept { curl_slist_free_all(list); }
};
using SList = std::unique_ptr<curl_slist, SListFree>;

SList header_list(const std::vector<std::string>& headers, bool stream) {
  curl_slist* list = nullptr;
  auto add = [&list](const char* h) {
    curl_slist* next = curl_slist_append(list, h);
    if (!next) {
      curl_slist_free_all(list);
      throw std::bad_alloc();
    }
    list = next;
  };
  add("Content-Type: application/json");
  add(stream ? "Accept: text/event-stream, application/json" : "Accept: application/json");
  add("Expect:");  // no 100-continue round trip before large bodies
  for (const std::string& h : headers) add(h.c_str());
  return SList(list);
}

struct Attempt {
  CURLcode code = CURLE_OK;
  long status = 0;
  Transfer transfer;
};

Attempt perform(CURL* h, const HttpRequest& request, curl_slist* headers, const TransportOptions& o,
                StreamReceiver* receiver) {
  Attempt a;
  a.transfer.cap = o.max_response_bytes;
  a.transfer.receiver = receiver;
  a.transfer.idle_timeout = receiver ? o.idle_timeout : milliseconds(0);
  a.transfer.cancellation = o.cancellation.get();
  a.transfer.last_activity = std::chrono::steady_clock::now();
  curl_easy_reset(h);  // keeps the handle's live connections
  curl_easy_setopt(h, CURLOPT_URL, request.url.c_str());
  curl_easy_setopt(h, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(h, CURLOPT_POST, 1L);
  curl_easy_setopt(h, CURLOPT_POSTFIELDS, request.body.data());
  curl_easy_setopt(h, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
  if (request.method == "GET") {
    curl_easy_setopt(h, CURLOPT_HTTPGET, 1L);
  } else if (request.method != "POST") {
    curl_easy_setopt(h, CURLOPT_CUSTOMREQUEST, request.method.c_str());
  }
  curl_easy_setopt(h, CURLOPT_HTTPHEADER, headers);
  curl_easy_setopt(h, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(h, CURLOPT_TCP_KEEPALIVE, 1L);
  curl_easy_setopt(h, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(o.connect_timeout.count()));
  curl_easy_setopt(h, CURLOPT_TIMEOUT_MS, static_cast<long>(o.request_timeout.count()));
  curl_easy_setopt(h, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(o.max_response_bytes));
  curl_easy_setopt(h, CURLOPT_WRITEFUNCTION, &on_body);
  curl_easy_setopt(h, CURLOPT_WRITEDATA, &a.transfer);
  curl_easy_setopt(h, CURLOPT_HEADERFUNCTION, &on_header);
  curl_easy_setopt(h, CURLOPT_HEADERDATA, &a.transfer);
  if (a.transfer.cancellation || a.transfer.idle_timeout.count() > 0) {
    curl_easy_setopt(h, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(h, CURLOPT_XFERINFOFUNCTION, &on_progress);
    curl_easy_setopt(h, CURLOPT_XFERINFODATA, &a.transfer);
  }
  a.code = curl_easy_perform(h);
  curl_easy_getinfo(h, CURLINFO_RESPONSE_CODE, &a.status);
  return a;
}

// A broken connection: worth another attempt.
bool retryable_code(CURLcode code) noexcept {
  return code == CURLE_SEND_ERROR || code == CURLE_RECV_ERROR || code == CURLE_GOT_NOTHING ||
         code == CURLE_PARTIAL_FILE;
}

// A streamed answer that ended before its final event.
bool cut_stream(const Attempt& a) {
  return a.code == CURLE_OK && a.transfer.streaming && !a.transfer.receiver->complete();
}

std::string failure_text(const Attempt& a, const HttpRequest& request, const TransportOptions& o) {
  if (a.transfer.too_large || a.code == CURLE_FILESIZE_EXCEEDED) {
    return "the reply is larger than the limit of " + std::to_string(o.max_response_bytes) +
           " bytes";
  }
  if (a.transfer.stalled) {
    return "nothing arrived from " + request.url + " for " +
           std::to_string(o.idle_timeout.count()) + " ms (the idle timeout)";
  }
  if (cut_stream(a)) return "the event stream ended before its final event";
  switch (a.code) {
    case CURLE_COULDNT_CONNECT:
      return "could not connect to " + request.url + " (connection refused or unreachable)";
    case CURLE_COULDNT_RESOLVE_HOST:
      return "could not resolve the host name of " + request.url;
    case CURLE_OPERATION_TIMEDOUT:
      return "no complete answer from " + request.url + " within the time allowed (connect " +
             std::to_string(o.connect_timeout.count()) + " ms, whole request " +
             std::to_string(o.request_timeout.count()) + " ms)";
    case CURLE_PARTIAL_FILE:
      return "the reply was cut off before the length the server announced";
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_GOT_NOTHING:
      return "the connection was closed before a complete answer";
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_URL_MALFORMAT:
      return "the endpoint URL " + request.url + " is not an http or https URL";
    default:
      return std::string("the transfer failed: ") + curl_easy_strerror(a.code);
  }
}

// Why the receiver refused a stream: what it threw.
std::string refusal_reason(const std::exception_ptr& refused) {
  try {
    std::rethrow_exception(refused);
  } catch (const std::exception& e) {
    return e.what();
  } catch (...) {
    return "the event stream was refused";
  }
}

milliseconds jittered(milliseconds delay) {
  thread_local std::mt19937_64 rng{std::random_device{}()};
  std::uniform_real_distribution<double> factor(0.5, 1.0);
  return milliseconds(static_cast<std::int64_t>(static_cast<double>(delay.count()) * factor(rng)));
}

// Waits `delay` before a retry; false when cancelled meanwhile.
bool wait_before_retry(const TransportOptions& o, milliseconds delay) {
  if (!o.cancellation) {
    std::this_thread::sleep_for(delay);
    return true;
  }
  return !o.cancellation->wait_for(delay);
}

}  // namespace

bool retryable_status(long status) noexcept {
  switch (status) {
    case 408:
    case 429:
    case 500:
    case 502:
    case 503:
    case 504:
    case 529:
      return true;
    default:
      return false;
  }
}

milliseconds backoff_delay(const TransportOptions& options, int retry) noexcept {
  milliseconds delay = options.backoff_initial;
  for (int i = 1; i < retry && delay < options.backoff_max; ++i) delay *= 2;
  return std::min(delay, options.backoff_max);
}

HttpTransport::HttpTransport(TransportOptions options, std::string provider, std::string secret)
    : options_(std::move(options)), provider_(std::move(provider)), secret_(std::move(secret)) {
  init_curl_once();
  options_.max_attempts = std::max(options_.max_attempts, 1);
}

HttpTransport::~HttpTransport() {
  for (void* h : idle_) curl_easy_cleanup(static_cast<CURL*>(h));
}

void* HttpTransport::acquire() {
  {
    std::lock_guard lock(mutex_);
    if (!idle_.empty()) {
      void* h = idle_.back();
      idle_.pop_back();
      return h;
    }
  }
  CURL* h = curl_easy_init();
  if (!h) throw ProviderError(provider_ + ": could not create an HTTP handle", provider_, 0, 0);
  return h;
}

void HttpTransport::release(void* handle) noexcept {
  {
    std::lock_guard lock(mutex_);
    if (idle_.size() < options_.max_idle_connections) {
      idle_.push_back(handle);
      return;
    }
  }
  curl_easy_cleanup(static_cast<CURL*>(handle));
}

std::string HttpTransport::redact(std::string text) const {
  if (secret_.size() < kMinRedactedSecretBytes) return text;
  constexpr std::string_view kMark = "[redacted]";
  for (std::size_t at = text.find(secret_); at != std::string::npos;
       at = text.find(secret_, at + kMark.size())) {
    text.replace(at, secret_.size(), kMark);
  }
  return text;
}

HttpResponse HttpTransport::post(const HttpRequest& request, StreamReceiver* receiver) {
  const SList headers = header_list(request.headers, receiver != nullptr);
  if (Log::agent.enabled_for(LogLevel::debug)) {
    std::string names;
    for (const std::string& h : request.headers) names += (names.empty() ? "" : "; ") + h;
    Log::agent.debug("[tessik] %s %s (%d bytes) headers: %s", request.method, request.url,
                     request.body.size(), redact(names));
  }
  // A cancelled call ends here, before its next attempt, and is not retried.
  const auto cancelled = [&](int attempts) {
    std::string message = provider_ + ": the request to " + request.url + " was cancelled";
    if (attempts > 1) message += " (after " + std::to_string(attempts) + " attempts)";
    return ProviderError(redact(std::move(message)), provider_, 0, attempts);
  };
  for (int attempt = 1;; ++attempt) {
    if (options_.cancellation && options_.cancellation->cancelled()) throw cancelled(attempt - 1);
    Attempt a;
    {
      void* h = acquire();
      struct Release {
        HttpTransport* self;
        void* h;
        ~Release() { self->release(h); }
      } release_guard{this, h};
      a = perform(static_cast<CURL*>(h), request, headers.get(), options_, receiver);
    }
    const bool last = attempt >= options_.max_attempts;
    if (a.transfer.refused) {
      throw ProviderError(redact(provider_ + ": " + refusal_reason(a.transfer.refused) + " (HTTP " +
                                 std::to_string(a.status) + ")"),
                          provider_, a.status, attempt);
    }
    if (a.code == CURLE_OK && !cut_stream(a)) {
      if (last || !retryable_status(a.status)) {
        return {a.status, std::move(a.transfer.body), a.transfer.retry_after, attempt,
                a.transfer.streaming};
      }
      milliseconds wait = jittered(backoff_delay(options_, attempt));
      if (a.transfer.retry_after) {
        wait = std::max(wait, std::min(*a.transfer.retry_after, options_.retry_after_max));
      }
      Log::agent.debug("[tessik] %s answered HTTP %d; retry %d in %d ms", provider_, a.status,
                       attempt, wait.count());
      if (!wait_before_retry(options_, wait)) throw cancelled(attempt);
      continue;
    }
    if (a.transfer.cancelled) throw cancelled(attempt);
    const bool broken = retryable_code(a.code) || a.transfer.stalled || cut_stream(a);
    if (last || a.transfer.too_large || !broken) {
      std::string message = provider_ + ": " + failure_text(a, request, options_);
      if (attempt > 1) message += " (after " + std::to_string(attempt) + " attempts)";
      throw ProviderError(redact(std::move(message)), provider_, 0, attempt);
    }
    const milliseconds wait = jittered(backoff_delay(options_, attempt));
    Log::agent.debug("[tessik] %s: connection broken; retry %d in %d ms", provider_, attempt,
                     wait.count());
    if (!wait_before_retry(options_, wait)) throw cancelled(attempt);
  }
}

}  // namespace tessik::clients::detail
