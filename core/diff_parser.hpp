// What the diff parsing of the review program tells about a changed file.
#ifndef TESSIK_DIFF_PARSER_HPP_
#define TESSIK_DIFF_PARSER_HPP_

#include <string>

#include <tessik/foundation/value.hpp>

namespace tessik {

// The lower-case name of the programming language (or file kind) of the file
// at `file_path`: "python", "cpp", "typescript", "dockerfile", "yaml", ...
//
// Only the path's last component is looked at ('/' and '\\' both separate
// components), and never the file itself. A well-known file name decides
// first ("Dockerfile", "Dockerfile.dev", "Makefile", "CMakeLists.txt",
// "Gemfile", "Jenkinsfile", ".bashrc", ...), then the extension after the
// last dot ("a.tar.gz" -> "gz"; a leading dot alone starts no extension).
// Names and extensions compare without regard to ASCII letter case
// ("MAIN.PY" is Python). A ".h" header counts as C.
//
// Returns "unknown" for a path it cannot place, for an empty path, for the
// placeholder path "unknown" itself and for a `file_path` that is not a
// string (null included). Never fails; safe to call from several threads.
std::string detect_language(const Value& file_path);

}  // namespace tessik

#endif  // TESSIK_DIFF_PARSER_HPP_
