#include "lint/check.hpp"

#include <cerrno>
#include <exception>
#include <map>

#include <tessik/agent_loader/definitions/detail/custom_entries.hpp>
#include <tessik/agent_loader/definitions/parsers.hpp>
#include <tessik/agent_loader/findings/detail/category.hpp>
#include <tessik/foundation/text.hpp>

#include "cli/failure.hpp"
#include "lint/definition_lints.hpp"
#include "lint/definition_source.hpp"
#include "lint/refusal.hpp"

namespace tessik::lint {
namespace {

void add_lints(FileReport& r, const DefinitionSource& source, const YamlDocument& document) {
  const bool disabled = r.definition && !r.definition->enabled;
  for (Diagnostic& d : lint_definition(r.file, source)) {
    // A disabled definition replaces nothing: the built-in agent stays.
    if (disabled && d.code == "N301") continue;
    r.diagnostics.push_back(std::move(d));
  }
  const YamlPlace* name = find_place(document.value, document.place, "name");
  if (name != nullptr) r.name_at = name->value;
  if (disabled) {
    const YamlPlace* enabled = find_place(document.value, document.place, "enabled");
    const std::string& agent = r.definition->name;
    std::string message = "the agent '" + agent + "' is disabled, so no review run loads it";
    if (detail::AGENT_CANONICAL_CATEGORY.contains(agent)) {
      message += "; it replaces nothing: the built-in agent '" + agent + "' still runs";
    }
    r.diagnostics.push_back({r.file, enabled ? enabled->value : document.place.value,
                             Severity::note, std::move(message), "N302"});
  }
}

// The report of one file from the loader's outcome: a definition, or the
// failure it threw (a null `failure` with no definition is not allowed).
FileReport report(const std::filesystem::path& path, std::optional<AgentDefinition> definition,
                  const std::exception* failure) {
  FileReport r{.file = path_text(path), .definition = std::move(definition)};
  if (failure != nullptr) r.diagnostics.push_back(refusal(r.file, *failure));
  const std::optional<DefinitionSource> source = read_definition_source(path);
  if (source) {
    if (source->document) add_lints(r, *source, *source->document);
    // Every position is one of the file's own.
    for (Diagnostic& d : r.diagnostics) {
      if (d.at) d.at = clamp_to_text(*source, *d.at);
    }
  } else {
    // Without the file's text only a position computed from its bytes
    // (a UTF-8 failure) can be trusted.
    for (Diagnostic& d : r.diagnostics) {
      if (d.code != "E102") d.at.reset();
    }
  }
  sort_by_position(r.diagnostics);
  return r;
}

void set_error(FileReport& r) {
  const cli::Failure f = cli::current_failure();
  r.error_kind = f.kind;
  r.error_message = f.message;
}

}  // namespace

FileReport check_file(const std::filesystem::path& file) {
  try {
    return report(file, load_agent_definition(file), nullptr);
  } catch (const std::exception& failure) {
    FileReport r = report(file, std::nullopt, &failure);
    set_error(r);
    return r;
  }
}

std::vector<FileReport> check_directory(const std::string& dir) {
  std::vector<FileReport> reports;
  const detail::CustomEntryEvents events{
      .outside =
          [&](const std::filesystem::path& entry) {
            FileReport r{.file = path_text(entry)};
            r.error_kind = "Skipped";
            r.error_message = "Skipping path outside custom agents dir: " + r.file;
            r.diagnostics.push_back({r.file, std::nullopt, Severity::error,
                                     "the entry leads outside the folder, or nowhere, so the "
                                     "loader skips it",
                                     "E108"});
            reports.push_back(std::move(r));
          },
      .loaded =
          [&](const std::filesystem::path& entry, AgentDefinition definition) {
            reports.push_back(report(entry, std::move(definition), nullptr));
          },
      .failed =
          [&](const std::filesystem::path& entry, const std::exception& failure) {
            FileReport r = report(entry, std::nullopt, &failure);
            r.error_kind = "Error";
            if (const auto* e = dynamic_cast<const Error*>(&failure))
              r.error_kind = e->class_name();
            r.error_message = failure.what();
            reports.push_back(std::move(r));
          },
  };
  if (!detail::read_custom_entries(dir, default_parsers(), events)) {
    throw FileSystemError("cannot check " + dir + ": it is not a directory", ENOTDIR);
  }
  // Enabled agents are merged by name: a later file replaces an earlier one.
  std::map<std::string, std::string> first_file;
  for (FileReport& r : reports) {
    if (!r.definition || !r.definition->enabled) continue;
    const auto [it, fresh] = first_file.emplace(r.definition->name, r.file);
    if (fresh) continue;
    r.diagnostics.push_back({r.file, r.name_at, Severity::warning,
                             "the name '" + r.definition->name + "' is also defined by " +
                                 it->second + "; this later file replaces it",
                             "W210"});
    it->second = r.file;
    sort_by_position(r.diagnostics);
  }
  return reports;
}

}  // namespace tessik::lint
