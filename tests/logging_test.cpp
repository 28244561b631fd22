// Log channels: placeholders, levels, sinks and threads.
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <tessik/logging_channels.hpp>

namespace tessik {
namespace {

TEST(FormatLog, Placeholders) {
  const Value v = Value::Mapping{{"k", Value::Sequence{1, "x"}}};
  const Value* none = nullptr;
  const std::optional<std::string> absent;
  struct Case {
    std::string got;
    const char* expected;
  } const cases[] = {
      {format_log("%s|%r|%d", std::vector<LogArg>{"it's", "it's", 42}), "it's|\"it's\"|42"},
      {format_log("%s %r", std::vector<LogArg>{none, absent}), "None None"},
      {format_log("%s %r", std::vector<LogArg>{v, &v}), "{'k': [1, 'x']} {'k': [1, 'x']}"},
      {format_log("%s %d %r", std::vector<LogArg>{true, true, 1.0}), "True 1 1.0"},
      {format_log("100%% %s %x", std::vector<LogArg>{"done"}), "100% done %x"},
      {format_log("%s and %s", std::vector<LogArg>{"one"}), "one and %s"},
      {format_log("%d", std::vector<LogArg>{"not a number"}), "not a number"},
      {format_log("trailing %", {}), "trailing %"},
      {format_log("%d %s", std::vector<LogArg>{UINT64_MAX, std::optional<double>(0.5)}),
       "18446744073709551615 0.5"},
  };
  for (const Case& c : cases) EXPECT_EQ(c.got, c.expected);
}

}  // namespace

TEST(LogChannel, LevelsFilterBeforeFormatting) {
  ScopedLogCapture capture(Log::agent, LogLevel::info);
  Log::agent.debug("hidden %d", Value("not a number"));
  Log::agent.info("shown %s", 1);
  Log::agent.warning("warned");
  EXPECT_EQ(capture.lines(), (std::vector<ScopedLogCapture::Line>{{LogLevel::info, "shown 1"},
                                                                  {LogLevel::warning, "warned"}}));
}

TEST(LogChannel, CaptureRestoresThePreviousSinkAndLevel) {
  const LogLevel before = Log::position.level();
  std::vector<std::string> outer;
  Log::position.set_sink([&](const LogRecord& r) { outer.emplace_back(r.message); });
  {
    ScopedLogCapture capture(Log::position);
    Log::position.info("inner");
    EXPECT_EQ(capture.messages(), std::vector<std::string>{"inner"});
  }
  Log::position.warning("outer");
  EXPECT_EQ(outer, std::vector<std::string>{"outer"});
  EXPECT_EQ(Log::position.level(), before);
}

TEST(LogChannel, DefaultSinkWritesOnlyWarningsToStderr) {
  LogChannel channel("test");
  channel.set_level(LogLevel::debug);
  ::testing::internal::CaptureStderr();
  channel.info("quiet %s", "info");
  channel.warning("loud %r", "warning");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "WARNING:test:loud 'warning'\n");
}

TEST(LogChannel, AThrowingSinkDoesNotReachTheCaller) {
  LogChannel channel("test");
  channel.set_sink([](const LogRecord&) { throw std::runtime_error("disk full"); });
  ::testing::internal::CaptureStderr();
  EXPECT_NO_THROW(channel.warning("x"));
  EXPECT_NE(::testing::internal::GetCapturedStderr().find("disk full"), std::string::npos);
}

TEST(LogChannel, SeveralThreadsEmitWholeLines) {
  ScopedLogCapture capture(Log::agent);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < 200; ++i) Log::agent.info("[%d] line %d", t, i);
    });
  }
  for (auto& th : threads) th.join();
  const auto lines = capture.messages();
  EXPECT_EQ(lines.size(), 800u);
  for (const auto& line : lines) EXPECT_EQ(line.rfind("[", 0), 0u);
}

}  // namespace tessik
