#include <tessik/diff_parser.hpp>

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include <tessik/foundation/detail/const_table.hpp>
#include <tessik/foundation/detail/short_lower.hpp>

namespace tessik {
namespace {

using detail::ConstStringMap;

// Lower-cased file names that say what a file is regardless of extension.
constexpr ConstStringMap kFileNames({
    {".bash_logout", "shell"},    {".bash_profile", "shell"},  {".bashrc", "shell"},
    {".editorconfig", "ini"},     {".profile", "shell"},       {".zprofile", "shell"},
    {".zshenv", "shell"},         {".zshrc", "shell"},         {"brewfile", "ruby"},
    {"build", "starlark"},        {"cmakelists.txt", "cmake"}, {"containerfile", "dockerfile"},
    {"dockerfile", "dockerfile"}, {"gemfile", "ruby"},         {"gnumakefile", "makefile"},
    {"jenkinsfile", "groovy"},    {"makefile", "makefile"},    {"pipfile", "toml"},
    {"podfile", "ruby"},          {"rakefile", "ruby"},        {"vagrantfile", "ruby"},
    {"workspace", "starlark"},
});

// Lower-cased extensions without their dot.
constexpr ConstStringMap kExtensions({
    {"asm", "assembly"},
    {"bash", "shell"},
    {"bat", "batch"},
    {"bazel", "starlark"},
    {"bzl", "starlark"},
    {"c", "c"},
    {"c++", "cpp"},
    {"cc", "cpp"},
    {"cfg", "ini"},
    {"cjs", "javascript"},
    {"clj", "clojure"},
    {"cljc", "clojure"},
    {"cljs", "clojure"},
    {"cmake", "cmake"},
    {"cmd", "batch"},
    {"cpp", "cpp"},
    {"cs", "csharp"},
    {"css", "css"},
    {"csv", "csv"},
    {"cts", "typescript"},
    {"cu", "cuda"},
    {"cuh", "cuda"},
    {"cxx", "cpp"},
    {"dart", "dart"},
    {"dockerfile", "dockerfile"},
    {"edn", "clojure"},
    {"el", "emacs-lisp"},
    {"elm", "elm"},
    {"erl", "erlang"},
    {"ex", "elixir"},
    {"exs", "elixir"},
    {"f90", "fortran"},
    {"f95", "fortran"},
    {"fish", "shell"},
    {"fs", "fsharp"},
    {"fsi", "fsharp"},
    {"fsx", "fsharp"},
    {"gemspec", "ruby"},
    {"go", "go"},
    {"gql", "graphql"},
    {"gradle", "groovy"},
    {"graphql", "graphql"},
    {"groovy", "groovy"},
    {"h", "c"},
    {"h++", "cpp"},
    {"hcl", "hcl"},
    {"hh", "cpp"},
    {"hpp", "cpp"},
    {"hrl", "erlang"},
    {"hs", "haskell"},
    {"htm", "html"},
    {"html", "html"},
    {"hxx", "cpp"},
    {"ini", "ini"},
    {"inl", "cpp"},
    {"ipp", "cpp"},
    {"java", "java"},
    {"jl", "julia"},
    {"js", "javascript"},
    {"json", "json"},
    {"json5", "json"},
    {"jsonc", "json"},
    {"jsx", "javascript"},
    {"kt", "kotlin"},
    {"kts", "kotlin"},
    {"less", "less"},
    {"lhs", "haskell"},
    {"lua", "lua"},
    {"m", "objective-c"},
    {"mak", "makefile"},
    {"markdown", "markdown"},
    {"md", "markdown"},
    {"mdx", "markdown"},
    {"mjs", "javascript"},
    {"mk", "makefile"},
    {"ml", "ocaml"},
    {"mli", "ocaml"},
    {"mm", "objective-c"},
    {"mts", "typescript"},
    {"nim", "nim"},
    {"php", "php"},
    {"pl", "perl"},
    {"pm", "perl"},
    {"proto", "protobuf"},
    {"ps1", "powershell"},
    {"psd1", "powershell"},
    {"psm1", "powershell"},
    {"py", "python"},
    {"pyi", "python"},
    {"pyw", "python"},
    {"r", "r"},
    {"rake", "ruby"},
    {"rb", "ruby"},
    {"rs", "rust"},
    {"rst", "restructuredtext"},
    {"s", "assembly"},
    {"sass", "sass"},
    {"sc", "scala"},
    {"scala", "scala"},
    {"scss", "scss"},
    {"sh", "shell"},
    {"sol", "solidity"},
    {"sql", "sql"},
    {"svelte", "svelte"},
    {"svg", "xml"},
    {"swift", "swift"},
    {"tex", "latex"},
    {"tf", "terraform"},
    {"tfvars", "terraform"},
    {"toml", "toml"},
    {"tpp", "cpp"},
    {"ts", "typescript"},
    {"tsx", "typescript"},
    {"txt", "text"},
    {"vue", "vue"},
    {"xhtml", "html"},
    {"xml", "xml"},
    {"xsd", "xml"},
    {"xsl", "xml"},
    {"xslt", "xml"},
    {"yaml", "yaml"},
    {"yml", "yaml"},
    {"zig", "zig"},
    {"zsh", "shell"},
});

constexpr std::string_view kUnknown = "unknown";

// No file name in kFileNames is longer: a longer name is not looked up.
constexpr std::size_t kLongestFileName = [] {
  std::size_t longest = 0;
  for (const auto& [name, language] : kFileNames) longest = std::max(longest, name.size());
  return longest;
}();

}  // namespace

std::string detect_language(const Value& file_path) {
  if (!file_path.is_string()) return std::string(kUnknown);
  const std::string_view path = file_path.as_string();
  // The name after the last slash or backslash.
  const auto after_last = [path](char separator) -> std::size_t {
    const void* found = ::memrchr(path.data(), separator, path.size());
    return found != nullptr ? static_cast<const char*>(found) - path.data() + 1 : 0;
  };
  const std::size_t start = std::max(after_last('/'), after_last('\\'));
  // File names and extensions in the tables are ASCII, so ASCII case
  // folding is all a comparison needs; other bytes pass unchanged and simply
  // match nothing.
  const detail::ShortLower lowered(path.substr(start), /*ascii_only=*/true);
  const std::string_view name = lowered.view();

  if (name.size() <= kLongestFileName) {
    if (const auto known = kFileNames.find(name); known != kFileNames.end()) {
      return std::string(known->second);
    }
  }
  // "Dockerfile.dev", "Dockerfile.prod", ...: variants of a Dockerfile.
  if (name.starts_with("dockerfile.")) return "dockerfile";

  const std::size_t dot = name.rfind('.');
  if (dot == std::string::npos || dot == 0) return std::string(kUnknown);
  const auto known = kExtensions.find(name.substr(dot + 1));
  return std::string(known != kExtensions.end() ? known->second : kUnknown);
}

}  // namespace tessik
