// Helpers shared by the fuzz targets.
#ifndef TESSIK_FUZZ_SUPPORT_HPP_
#define TESSIK_FUZZ_SUPPORT_HPP_

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include <tessik/logging_channels.hpp>

namespace tessik::fuzz {

inline std::string_view as_text(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// A private scratch directory for this fuzzing process.
inline const std::filesystem::path& scratch_dir() {
  static const std::filesystem::path dir = [] {
    auto d = std::filesystem::temp_directory_path() / ("tessik-fuzz-" + std::to_string(::getpid()));
    std::filesystem::create_directories(d);
    return d;
  }();
  return dir;
}

inline std::filesystem::path write_scratch(const std::string& name, std::string_view bytes) {
  std::filesystem::path p = scratch_dir() / name;
  std::ofstream out(p, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  return p;
}

// Log lines are part of what is exercised (they are formatted), but not printed.
inline void silence_logs() {
  static const bool done = [] {
    Log::agent.set_level(LogLevel::debug);
    Log::position.set_level(LogLevel::debug);
    Log::agent.set_sink([](const LogRecord&) {});
    Log::position.set_sink([](const LogRecord&) {});
    return true;
  }();
  (void)done;
}

}  // namespace tessik::fuzz

#endif  // TESSIK_FUZZ_SUPPORT_HPP_
