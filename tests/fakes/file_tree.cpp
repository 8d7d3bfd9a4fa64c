#include "tests/fakes/file_tree.h"

#include <array>
#include <cstdio>
#include <vector>

namespace fakes {
namespace {

constexpr const char* kDefaultTime = "20240102030405";

std::string parent_of(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::string name_of(const std::string& path) { return path.substr(path.rfind('/') + 1); }

/// "Jan  2  2024": the long form of `ls`, which does not depend on today's date.
std::string list_time(const std::string& modified) {
  static constexpr std::array<const char*, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const auto month = static_cast<std::size_t>(std::stoi(modified.substr(4, 2)) - 1);
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%s %2d  %s", kMonths.at(month), std::stoi(modified.substr(6, 2)),
                modified.substr(0, 4).c_str());
  return text.data();
}

std::size_t size_of(const FileTree::Node& node) { return node.bytes ? node.bytes->size() : 0; }

std::string list_line(const std::string& name, const FileTree::Node& node) {
  std::array<char, 96> head{};
  std::snprintf(head.data(), head.size(), "%s   1 owner    group    %12zu %s ",
                node.directory ? "drwxr-xr-x" : "-rw-r--r--", size_of(node),
                list_time(node.modified).c_str());
  return head.data() + name + "\r\n";
}

std::string mlsd_line(const std::string& name, const FileTree::Node& node) {
  std::string line = node.directory ? "type=dir;" : "type=file;size=" + std::to_string(size_of(node)) + ";";
  return line + "modify=" + node.modified + "; " + name + "\r\n";
}

}  // namespace

FileTree::FileTree() { nodes_["/"] = {true, nullptr, kDefaultTime}; }

std::string FileTree::resolve(std::string_view from, std::string_view argument) {
  std::string text{argument.substr(0, 1) == "/" ? "" : from};
  text.append("/").append(argument);
  std::vector<std::string> parts;
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t end = std::min(text.find('/', at), text.size());
    const std::string part = text.substr(at, end - at);
    if (part == "..") {
      if (!parts.empty()) parts.pop_back();
    } else if (!part.empty() && part != ".") {
      parts.push_back(part);
    }
    at = end + 1;
  }
  std::string path;
  for (const std::string& part : parts) path += "/" + part;
  return path.empty() ? "/" : path;
}

const FileTree::Node* FileTree::find(const std::string& path) const {
  const auto node = nodes_.find(path);
  return node == nodes_.end() ? nullptr : &node->second;
}

void FileTree::add_directory(const std::string& path, std::string modified) {
  if (path != "/" && find(parent_of(path)) == nullptr) add_directory(parent_of(path), modified);
  nodes_[path] = {true, nullptr, std::move(modified)};
}

void FileTree::add_file(const std::string& path, std::string bytes, std::string modified) {
  if (find(parent_of(path)) == nullptr) add_directory(parent_of(path), modified);
  nodes_[path] = {false, std::make_shared<const std::string>(std::move(bytes)), std::move(modified)};
}

bool FileTree::has_children(const std::string& path) const {
  const std::string prefix = path == "/" ? path : path + "/";
  const auto next = nodes_.upper_bound(prefix);
  return next != nodes_.end() && next->first.starts_with(prefix);
}

bool FileTree::make_directory(const std::string& path) {
  const Node* parent = find(parent_of(path));
  if (find(path) != nullptr || parent == nullptr || !parent->directory) return false;
  add_directory(path, kDefaultTime);
  return true;
}

bool FileTree::remove_directory(const std::string& path) {
  const Node* node = find(path);
  if (path == "/" || node == nullptr || !node->directory || has_children(path)) return false;
  nodes_.erase(path);
  return true;
}

bool FileTree::remove_file(const std::string& path) {
  const Node* node = find(path);
  if (node == nullptr || node->directory) return false;
  nodes_.erase(path);
  return true;
}

bool FileTree::move(const std::string& from, const std::string& to) {
  const Node* parent = find(parent_of(to));
  if (from == "/" || find(from) == nullptr || parent == nullptr || !parent->directory) return false;
  std::map<std::string, Node> moved;
  for (auto node = nodes_.begin(); node != nodes_.end();) {
    if (node->first == from || node->first.starts_with(from + "/")) {
      moved[to + node->first.substr(from.size())] = std::move(node->second);
      node = nodes_.erase(node);
    } else {
      ++node;
    }
  }
  for (auto& [path, node] : moved) nodes_[path] = std::move(node);
  return true;
}

bool FileTree::set_modified(const std::string& path, std::string modified) {
  const auto node = nodes_.find(path);
  if (node == nodes_.end()) return false;
  node->second.modified = std::move(modified);
  return true;
}

std::optional<std::string> FileTree::list(const std::string& path) const {
  if (const auto raw = raw_list_.find(path); raw != raw_list_.end()) return raw->second;
  const Node* node = find(path);
  if (node == nullptr) return std::nullopt;
  if (!node->directory) return list_line(name_of(path), *node);
  std::string body;
  for (const auto& [other, child] : nodes_) {
    if (other != "/" && parent_of(other) == path) body += list_line(name_of(other), child);
  }
  return body;
}

std::optional<std::string> FileTree::mlsd(const std::string& path) const {
  if (const auto raw = raw_mlsd_.find(path); raw != raw_mlsd_.end()) return raw->second;
  const Node* node = find(path);
  if (node == nullptr || !node->directory) return std::nullopt;
  std::string body;
  for (const auto& [other, child] : nodes_) {
    if (other != "/" && parent_of(other) == path) body += mlsd_line(name_of(other), child);
  }
  return body;
}

}  // namespace fakes
