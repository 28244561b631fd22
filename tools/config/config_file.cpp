#include "config/config_file.hpp"

#include <exception>

#include <tessik/foundation/detail/value_words.hpp>
#include <tessik/foundation/text.hpp>
#include <tessik/foundation/yaml.hpp>

#include "change/git/git_handles.hpp"
#include "cli/cli_args.hpp"
#include "config/settings_table.hpp"
#include "lint/closest_key.hpp"

namespace tessik::cli {
namespace {

// The top of the working tree of the repository holding `directory`, or
// nullopt outside a repository and in a bare one.
std::optional<std::filesystem::path> repository_top(const std::filesystem::path& directory) {
  const git::Session session;
  try {
    const git::Repository repo = git::open_repository(directory);
    if (const char* workdir = git_repository_workdir(repo.get())) return workdir;
  } catch (const git::GitError&) {
  }
  return std::nullopt;
}

void add_warning(ConfigFile& file, TextPosition at, const Value& key) {
  if (!key.is_string()) {
    file.warnings.push_back(file_place(file.shown, at) + ": the key " +
                            detail::describe_value(key) + " is not a setting; it is ignored");
    return;
  }
  std::vector<std::string_view> keys;
  for (const Setting& s : all_settings()) keys.push_back(s.key);
  const std::string close = lint::closest_key(key.as_string(), keys);
  file.warnings.push_back(file_place(file.shown, at) + ": unknown key " +
                          detail::quoted_text(key.as_string()) +
                          (close.empty() ? "; it is ignored" : "; did you mean '" + close + "'?"));
}

}  // namespace

std::string file_place(const std::string& shown, TextPosition at) {
  return shown + ":" + std::to_string(at.line) + ":" + std::to_string(at.column);
}

std::optional<std::filesystem::path> locate_config_file(const std::optional<std::string>& named,
                                                        const std::filesystem::path& directory) {
  if (named) {
    std::error_code ec;
    if (!std::filesystem::is_regular_file(*named, ec)) {
      throw UsageError("--config names " + detail::quoted_text(*named) +
                       (std::filesystem::exists(*named, ec) ? ", which is not a file"
                                                            : ", which does not exist"));
    }
    return std::filesystem::path(*named);
  }
  const std::optional<std::filesystem::path> top = repository_top(directory);
  if (!top) return std::nullopt;
  const std::filesystem::path candidate = *top / kConfigFileName;
  std::error_code ec;
  if (!std::filesystem::exists(candidate, ec)) return std::nullopt;
  return candidate;
}

ConfigFile read_config_file(const std::filesystem::path& path) {
  ConfigFile file{.path = path, .shown = path_text(path)};
  YamlDocument document;
  try {
    document = load_yaml_document(read_text_file(path, kYamlMaxInputBytes));
  } catch (const Error& e) {
    const TextPosition at = e.position().value_or(TextPosition{});
    throw UsageError(file_place(file.shown, at) + ": cannot read the configuration: " + e.what());
  } catch (const std::exception& e) {
    throw UsageError(file.shown + ": cannot read the configuration: " + e.what());
  }
  if (document.value.is_null()) return file;
  if (!document.value.is_mapping()) {
    throw UsageError(file_place(file.shown, document.place.value) +
                     ": the configuration must be a mapping of settings (key: value), not " +
                     detail::describe_value(document.value));
  }
  std::size_t index = 0;
  for (const auto& [key, value] : document.value.as_mapping()) {
    const YamlPlace* place =
        index < document.place.children.size() ? &document.place.children[index] : nullptr;
    ++index;
    const TextPosition key_at = place ? place->key : document.place.value;
    if (!key.is_string() || find_setting(key.as_string()) == nullptr) {
      add_warning(file, key_at, key);
      continue;
    }
    if (value.is_null()) continue;
    FileValue entry{.value = value, .at = place ? place->value : key_at};
    if (place != nullptr) {
      for (const YamlPlace& item : place->children) entry.items.push_back(item.value);
    }
    file.values.emplace(key.as_string(), std::move(entry));
  }
  return file;
}

}  // namespace tessik::cli
