#include <tessik/logging_channels.hpp>

#include <cstdio>

#include <tessik/foundation/text.hpp>

namespace tessik {
namespace {

std::string_view level_name(LogLevel level) {
  switch (level) {
    case LogLevel::debug:
      return "DEBUG";
    case LogLevel::info:
      return "INFO";
    case LogLevel::warning:
      return "WARNING";
  }
  return "LOG";
}

void stderr_sink(const LogRecord& record) {
  if (record.level < LogLevel::warning) return;
  std::string line;
  line.reserve(record.message.size() + 32);
  line += level_name(record.level);
  line += ':';
  line += record.channel;
  line += ':';
  line += record.message;
  line += '\n';
  // One write per line keeps lines from different threads whole.
  std::fwrite(line.data(), 1, line.size(), stderr);
}

}  // namespace

LogChannel Log::agent{"agent"};
LogChannel Log::position{"position"};

void LogArg::append_to(char conversion, std::string& out) const {
  switch (kind_) {
    case Kind::none:
      out += "None";
      return;
    case Kind::text:
      if (conversion == 'r') {
        out += repr(text_);
      } else if (conversion == 'd') {
        out += std::to_string(to_int(Value(text_)));
      } else {
        out += text_;
      }
      return;
    case Kind::boolean:
      if (conversion == 'd') {
        out += int_ != 0 ? "1" : "0";
      } else {
        out += int_ != 0 ? "True" : "False";
      }
      return;
    case Kind::integer:
      out += std::to_string(int_);
      return;
    case Kind::unsigned_integer:
      out += std::to_string(unsigned_);
      return;
    case Kind::floating:
      out += conversion == 'd' ? std::to_string(to_int(Value(double_))) : text_form(Value(double_));
      return;
    case Kind::value:
      if (conversion == 'r') {
        out += repr(*value_);
      } else if (conversion == 'd') {
        out += std::to_string(to_int(*value_));
      } else {
        out += text_form(*value_);
      }
      return;
  }
}

std::string format_log(std::string_view format, std::span<const LogArg> args) {
  std::string out;
  out.reserve(format.size() + 64);
  std::size_t next_arg = 0;
  for (std::size_t i = 0; i < format.size(); ++i) {
    const char c = format[i];
    if (c != '%' || i + 1 == format.size()) {
      out.push_back(c);
      continue;
    }
    const char conversion = format[i + 1];
    if (conversion == '%') {
      out.push_back('%');
      ++i;
    } else if ((conversion == 's' || conversion == 'd' || conversion == 'r') &&
               next_arg < args.size()) {
      // A %d whose argument is not a number writes the argument's text form
      // rather than failing inside a log call.
      try {
        args[next_arg].append_to(conversion, out);
      } catch (const std::exception&) {
        args[next_arg].append_to('s', out);
      }
      ++next_arg;
      ++i;
    } else {
      out.push_back(c);
    }
  }
  return out;
}

LogChannel::LogChannel(std::string name)
    : name_(std::move(name)),
      level_(static_cast<int>(LogLevel::warning)),
      sink_(std::make_shared<const LogSink>(&stderr_sink)) {}

void LogChannel::set_level(LogLevel level) noexcept {
  level_.store(static_cast<int>(level), std::memory_order_relaxed);
}

LogLevel LogChannel::level() const noexcept {
  return static_cast<LogLevel>(level_.load(std::memory_order_relaxed));
}

bool LogChannel::enabled_for(LogLevel level) const noexcept {
  return static_cast<int>(level) >= level_.load(std::memory_order_relaxed);
}

void LogChannel::set_sink(LogSink sink) {
  auto next = std::make_shared<const LogSink>(std::move(sink));
  const std::lock_guard<std::mutex> lock(mutex_);
  sink_ = std::move(next);
}

LogSink LogChannel::sink() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return *sink_;
}

void LogChannel::emit(LogLevel level, const std::string& message) const {
  std::shared_ptr<const LogSink> sink;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    sink = sink_;
  }
  if (!*sink) return;
  try {
    (*sink)(LogRecord{name_, level, message});
  } catch (const std::exception& e) {
    std::fprintf(stderr, "log sink of channel %s failed: %s\n", name_.c_str(), e.what());
  } catch (...) {
    std::fprintf(stderr, "log sink of channel %s failed\n", name_.c_str());
  }
}

ScopedLogCapture::ScopedLogCapture(LogChannel& channel, LogLevel level)
    : channel_(channel),
      previous_sink_(channel.sink()),
      previous_level_(channel.level()),
      shared_(std::make_shared<Shared>()) {
  channel_.set_sink([shared = shared_](const LogRecord& record) {
    const std::lock_guard<std::mutex> lock(shared->mutex);
    shared->lines.push_back({record.level, std::string(record.message)});
  });
  channel_.set_level(level);
}

ScopedLogCapture::~ScopedLogCapture() {
  channel_.set_sink(std::move(previous_sink_));
  channel_.set_level(previous_level_);
}

std::vector<ScopedLogCapture::Line> ScopedLogCapture::lines() const {
  const std::lock_guard<std::mutex> lock(shared_->mutex);
  return shared_->lines;
}

std::vector<std::string> ScopedLogCapture::messages() const {
  std::vector<std::string> out;
  for (const Line& line : lines()) out.push_back(line.message);
  return out;
}

}  // namespace tessik
