// Named log channels with printf-style lines that are formatted only when
// they are emitted.
//
//   Log::agent.info("[tessik]     [%s] verdict=findings count=%d", name, n);
//
//   {
//     ScopedLogCapture capture(Log::agent);   // tests: collect lines
//     run_something();
//     EXPECT_EQ(capture.messages(), std::vector<std::string>{"..."});
//   }
//
// Placeholders: "%s" the text form of the argument (see `text_form`), "%d"
// an integer in decimal (a double is truncated, a boolean is 0 or 1), "%r"
// the quoted literal form (see `repr`), "%%" a percent sign. Arguments may be
// strings, integers, doubles, booleans, `Value`, `const Value*` and
// `std::optional` of these; a null pointer or an empty optional is `None`.
// A "%d" whose argument is not a number writes its text form; a placeholder
// without an argument, and any other "%x", is written as it stands; surplus
// arguments are ignored. Logging never throws for a mismatch.
//
// Each channel starts at level warning with the default sink (warnings to
// standard error). A line below the channel's level is dropped before any
// argument is formatted, so a disabled debug line costs one atomic load.
//
// Thread safety: emitting, and replacing a channel's sink or level, are safe
// from several threads at once. A sink may be called from several threads at
// once and must be safe for that itself (the default sink is).
#ifndef TESSIK_LOGGING_CHANNELS_HPP_
#define TESSIK_LOGGING_CHANNELS_HPP_

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <tessik/foundation/value.hpp>

namespace tessik {

enum class LogLevel { debug = 10, info = 20, warning = 30 };

// One emitted line: the channel's name ("agent", "position"), the level
// and the formatted message. Views are valid only during the sink call.
struct LogRecord {
  std::string_view channel;
  LogLevel level;
  std::string_view message;
};

using LogSink = std::function<void(const LogRecord&)>;

// One formatting argument, viewed without copying.
class LogArg {
 public:
  LogArg(const std::string& s) noexcept : kind_(Kind::text), text_(s) {}  // NOLINT
  LogArg(std::string_view s) noexcept : kind_(Kind::text), text_(s) {}    // NOLINT
  LogArg(const char* s) noexcept : kind_(Kind::text), text_(s) {}         // NOLINT
  LogArg(bool b) noexcept : kind_(Kind::boolean), int_(b) {}              // NOLINT
  LogArg(double d) noexcept : kind_(Kind::floating), double_(d) {}        // NOLINT
  LogArg(const Value& v) noexcept : kind_(Kind::value), value_(&v) {}     // NOLINT
  LogArg(const Value* v) noexcept                                         // NOLINT
      : kind_(v == nullptr ? Kind::none : Kind::value), value_(v) {}
  LogArg(std::nullptr_t) noexcept : kind_(Kind::none) {}  // NOLINT
  // A bare sequence or mapping would be converted to a temporary Value that
  // dies before the line is formatted: pass a Value instead.
  LogArg(const Value::Sequence&) = delete;
  LogArg(const Value::Mapping&) = delete;
  LogArg(std::nullopt_t) noexcept : kind_(Kind::none) {}  // NOLINT
  template <class T>
  requires(std::is_integral_v<T>&& std::is_signed_v<T>) LogArg(T i)
  noexcept : kind_(Kind::integer), int_(static_cast<std::int64_t>(i)) {}  // NOLINT
  template <class T>
  requires(std::is_integral_v<T>&& std::is_unsigned_v<T> && !std::is_same_v<T, bool>) LogArg(T u)
  noexcept : kind_(Kind::unsigned_integer), unsigned_(static_cast<std::uint64_t>(u)) {}  // NOLINT
  template <class T>
  LogArg(const std::optional<T>& o) noexcept  // NOLINT
      : LogArg(o.has_value() ? LogArg(*o) : LogArg(nullptr)) {}

  // Appends the argument as `conversion` ('s', 'd' or 'r') spells it.
  void append_to(char conversion, std::string& out) const;

 private:
  enum class Kind { none, text, boolean, integer, unsigned_integer, floating, value };
  Kind kind_;
  std::string_view text_;
  std::int64_t int_ = 0;
  std::uint64_t unsigned_ = 0;
  double double_ = 0.0;
  const Value* value_ = nullptr;
};

// Formats `format` with `args` as described at the top of this header.
// Never throws for a mismatch between placeholders and arguments.
std::string format_log(std::string_view format, std::span<const LogArg> args);

// A named channel. Lines below the channel's level are dropped before any
// formatting happens.
class LogChannel {
 public:
  explicit LogChannel(std::string name);
  LogChannel(const LogChannel&) = delete;
  LogChannel& operator=(const LogChannel&) = delete;

  const std::string& name() const noexcept { return name_; }

  // Lines below `level` are never formatted. Default: warning.
  void set_level(LogLevel level) noexcept;
  LogLevel level() const noexcept;
  bool enabled_for(LogLevel level) const noexcept;

  // Where emitted lines go. The default sink writes lines of level warning
  // and above to standard error as "<LEVEL>:<channel>:<message>" and drops
  // the others. An empty sink drops every line. A sink that throws loses
  // that line: the failure is reported on standard error, never to the
  // code that logged.
  void set_sink(LogSink sink);
  LogSink sink() const;

  template <class... Args>
  void debug(std::string_view format, const Args&... args) {
    log(LogLevel::debug, format, args...);
  }
  template <class... Args>
  void info(std::string_view format, const Args&... args) {
    log(LogLevel::info, format, args...);
  }
  template <class... Args>
  void warning(std::string_view format, const Args&... args) {
    log(LogLevel::warning, format, args...);
  }
  template <class... Args>
  void log(LogLevel level, std::string_view format, const Args&... args) {
    if (!enabled_for(level)) return;
    if constexpr (sizeof...(Args) == 0) {
      emit(level, format_log(format, {}));
    } else {
      const LogArg list[] = {LogArg(args)...};
      emit(level, format_log(format, list));
    }
  }

 private:
  void emit(LogLevel level, const std::string& message) const;

  std::string name_;
  std::atomic<int> level_;
  mutable std::mutex mutex_;  // guards sink_
  std::shared_ptr<const LogSink> sink_;
};

// The channels of the review program that this library writes to.
struct Log {
  static LogChannel agent;
  static LogChannel position;
};

// Collects every line of one channel, at `level` and above, for as long as
// it lives; restores the channel's previous sink and level on destruction.
// Meant for tests and tools; safe if the channel is written from several
// threads meanwhile.
class ScopedLogCapture {
 public:
  struct Line {
    LogLevel level;
    std::string message;
    friend bool operator==(const Line&, const Line&) = default;
  };

  explicit ScopedLogCapture(LogChannel& channel, LogLevel level = LogLevel::debug);
  ~ScopedLogCapture();
  ScopedLogCapture(const ScopedLogCapture&) = delete;
  ScopedLogCapture& operator=(const ScopedLogCapture&) = delete;

  std::vector<Line> lines() const;
  std::vector<std::string> messages() const;

 private:
  struct Shared {
    std::mutex mutex;
    std::vector<Line> lines;
  };
  LogChannel& channel_;
  LogSink previous_sink_;
  LogLevel previous_level_;
  std::shared_ptr<Shared> shared_;
};

}  // namespace tessik

#endif  // TESSIK_LOGGING_CHANNELS_HPP_
