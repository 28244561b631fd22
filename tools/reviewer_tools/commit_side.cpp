// A commit's tree as a SourceTree side: files read from the object database,
// symbolic links resolved inside the tree.
#include <tessik/foundation/limits.hpp>

#include "reviewer_tools/source_sides.hpp"

namespace tessik::cli {
namespace {

struct Resolved {
  git_oid blob;
  std::string path;
};

std::string link_target(const SourceTree::State& s, const git_tree_entry* entry) {
  git_blob* blob = nullptr;
  git::check(git_blob_lookup(&blob, s.repo.get(), git_tree_entry_id(entry)), "cannot read a link");
  const git::Blob owned(blob);
  return {static_cast<const char*>(git_blob_rawcontent(blob)),
          static_cast<std::size_t>(git_blob_rawsize(blob))};
}

// Walks `rel` one component at a time from the tree's root, following links
// as the file system would, and refuses any link that leaves the tree or
// leads to a path the tools refuse.
Resolved resolve_in_tree(const SourceTree::State& s, const std::string& rel) {
  std::vector<std::string> pending = *resolve_components(rel);
  std::vector<std::string> done;
  std::size_t hops = 0;
  while (!pending.empty()) {
    done.push_back(pending.front());
    pending.erase(pending.begin());
    const std::string here = join_components(done);
    git_tree_entry* raw = nullptr;
    if (git_tree_entry_bypath(&raw, s.tree.get(), here.c_str()) < 0) {
      throw ToolRefusal(quoted_path(rel) + " does not exist in the reviewed commit");
    }
    const git::TreeEntry entry(raw);
    const git_filemode_t mode = git_tree_entry_filemode(raw);
    if (mode == GIT_FILEMODE_LINK) {
      if (++hops > limits::kToolLinkHops) {
        throw ToolRefusal(quoted_path(rel) + " goes through more than " +
                          std::to_string(limits::kToolLinkHops) + " links");
      }
      const std::string target = link_target(s, raw);
      done.pop_back();
      const std::string joined = join_components(done) + "/" + target;
      auto next = target.starts_with('/') ? std::nullopt : resolve_components(joined);
      if (!next)
        throw ToolRefusal(quoted_path(rel) + " resolves through a link to outside the repository");
      next->insert(next->end(), pending.begin(), pending.end());
      const std::string target_path = join_components(*next);
      const std::string what =
          quoted_path(rel) + " links to " + quoted_path(target_path) + ", which";
      try {
        confined_path(target_path.empty() ? "." : target_path);
      } catch (const ToolRefusal& e) {
        throw ToolRefusal(what + " is refused: " + e.what());
      }
      s.refuse_ignored_locked(target_path, what);
      pending = std::move(*next);
      done.clear();
    } else if (mode == GIT_FILEMODE_TREE) {
      if (pending.empty()) throw ToolRefusal(quoted_path(rel) + " is a directory, not a file");
    } else if (mode == GIT_FILEMODE_BLOB || mode == GIT_FILEMODE_BLOB_EXECUTABLE) {
      if (!pending.empty())
        throw ToolRefusal(quoted_path(rel) + " does not exist in the reviewed commit");
      return {*git_tree_entry_id(raw), here};
    } else {
      throw ToolRefusal(quoted_path(rel) + " is a submodule, not a file");
    }
  }
  throw ToolRefusal("the repository's top level is a directory, not a file");
}

struct WalkState {
  const SourceTree::State* s;
  std::string prefix;
  std::size_t max_files;
  SourceListing* out;
};

int visit(const char* root, const git_tree_entry* entry, void* payload) {
  auto& w = *static_cast<WalkState*>(payload);
  const std::string child = w.prefix + root + git_tree_entry_name(entry);
  const git_filemode_t mode = git_tree_entry_filemode(entry);
  try {
    confined_path(child);
    w.s->refuse_ignored_locked(child, quoted_path(child));
  } catch (const ToolRefusal&) {
    return 1;  // skips a refused directory's contents as well
  }
  if (mode != GIT_FILEMODE_BLOB && mode != GIT_FILEMODE_BLOB_EXECUTABLE) return 0;
  if (w.out->paths.size() == w.max_files) {
    w.out->truncated = true;
    return -1;
  }
  w.out->paths.push_back(child);
  return 0;
}

}  // namespace

std::string read_commit_file(const SourceTree::State& s, const std::string& rel,
                             std::size_t max_bytes) {
  const std::lock_guard lock(s.git_mutex);
  s.refuse_ignored_locked(rel, quoted_path(rel));
  const Resolved r = resolve_in_tree(s, rel);
  git_odb* raw_odb = nullptr;
  git::check(git_repository_odb(&raw_odb, s.repo.get()), "cannot open the object database");
  const git::Odb odb(raw_odb);
  std::size_t size = 0;
  git_object_t type{};
  git::check(git_odb_read_header(&size, &type, raw_odb, &r.blob), "cannot read " + rel);
  if (size > max_bytes) {
    throw ToolRefusal(quoted_path(rel) + " holds " + std::to_string(size) +
                      " bytes, more than the " + std::to_string(max_bytes) + " bytes a tool reads");
  }
  git_blob* blob = nullptr;
  git::check(git_blob_lookup(&blob, s.repo.get(), &r.blob), "cannot read " + rel);
  const git::Blob owned(blob);
  return {static_cast<const char*>(git_blob_rawcontent(blob)),
          static_cast<std::size_t>(git_blob_rawsize(blob))};
}

void list_commit(const SourceTree::State& s, const std::string& rel, std::size_t max_files,
                 SourceListing& out) {
  const std::lock_guard lock(s.git_mutex);
  s.refuse_ignored_locked(rel, quoted_path(rel));
  git::Tree subtree;
  const git_tree* walk_root = s.tree.get();
  if (!rel.empty()) {
    git_tree_entry* raw = nullptr;
    if (git_tree_entry_bypath(&raw, s.tree.get(), rel.c_str()) < 0) {
      throw ToolRefusal(quoted_path(rel) + " does not exist in the reviewed commit");
    }
    const git::TreeEntry entry(raw);
    const git_filemode_t mode = git_tree_entry_filemode(raw);
    if (mode == GIT_FILEMODE_BLOB || mode == GIT_FILEMODE_BLOB_EXECUTABLE) {
      out.paths.push_back(rel);
      return;
    }
    if (mode != GIT_FILEMODE_TREE)
      throw ToolRefusal(quoted_path(rel) + " is a link; name its target");
    git_tree* tree = nullptr;
    git::check(git_tree_lookup(&tree, s.repo.get(), git_tree_entry_id(raw)), "cannot read " + rel);
    subtree.reset(tree);
    walk_root = tree;
  }
  WalkState w{&s, rel.empty() ? "" : rel + "/", max_files, &out};
  git_tree_walk(walk_root, GIT_TREEWALK_PRE, visit, &w);
}

}  // namespace tessik::cli
