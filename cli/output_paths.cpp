#include "cli/output_paths.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "base/paths.h"

#ifdef _WIN32
#include <process.h>
#define VELLMARK_GETPID _getpid
#else
#include <unistd.h>
#define VELLMARK_GETPID getpid
#endif

namespace vellmark::cli {

namespace fs = std::filesystem;

bool isSeparator(char c) { return c == '/' || c == kPathSeparator; }

std::string prepareOutputFolder(const std::string& arg) {
  std::string folder = arg;
  while (!folder.empty() && isSeparator(folder.back())) folder.pop_back();
  const bool root = folder.empty() && !arg.empty();
  if (arg.empty()) throw OutputError("the output folder name is empty");
  const std::string shown = root ? arg : folder;
  std::error_code ec;
  if (!root && !fs::is_directory(folder, ec)) {
    if (fs::exists(folder, ec)) throw OutputError("cannot write into '" + shown + "': it is not a folder");
    fs::create_directories(folder, ec);
    if (ec) throw OutputError("cannot create the folder '" + shown + "': " + ec.message());
  }
  // A probe file finds a folder that exists but does not take new files now, rather than
  // after the tool has passed over every write silently.
  const std::string probe = asPrefix(folder) + ".vellmark-probe-" + std::to_string(VELLMARK_GETPID());
  std::FILE* f = std::fopen(probe.c_str(), "wb");
  if (!f) throw OutputError("cannot write into '" + shown + "': " + std::strerror(errno));
  std::fclose(f);
  std::remove(probe.c_str());
  return folder;
}

std::string asPrefix(const std::string& folder) { return folder + kPathSeparator; }

std::string toolPath(const std::string& path) {
  std::string p = path;
  for (char& c : p)
    if (isSeparator(c)) c = kPathSeparator;
  if (p.find(kPathSeparator) == std::string::npos) p = std::string(".") + kPathSeparator + p;
  return p;
}

std::string stemOf(const std::string& path) { return fs::path(path).stem().string(); }

std::optional<FileStamp> stampOf(const std::string& path) {
  struct stat st {};
  if (::stat(path.c_str(), &st) != 0) return std::nullopt;
  FileStamp s;
  s.node = static_cast<std::uint64_t>(st.st_ino);
  std::error_code ec;
  // Nanoseconds where the file system keeps them: two writes within one second differ.
  s.modified = static_cast<std::int64_t>(fs::last_write_time(path, ec).time_since_epoch().count());
  return s;
}

std::string whyNotWritable(const std::string& path) {
  // Appended rather than concatenated to a literal: GCC 12 at -O3 warns (-Wrestrict) about
  // its own inlined operator+ for the latter.
  const std::string parent = fs::path(path).parent_path().string();
  std::string quoted = "'";
  quoted.append(parent).append("'");
  std::error_code ec;
  if (!parent.empty() && !fs::exists(parent, ec)) return "the folder " + quoted + " does not exist";
  if (!parent.empty() && !fs::is_directory(parent, ec)) return quoted + " is not a folder";
  if (fs::is_directory(path, ec)) return "it is a folder";
  const bool existed = fs::exists(path, ec);
  std::FILE* f = std::fopen(path.c_str(), "ab");
  if (!f) return std::strerror(errno);
  std::fclose(f);
  if (!existed) std::remove(path.c_str());
  return "the tool did not write it";
}

FolderStamps folderStamps(const std::string& folder) {
  FolderStamps stamps;
  std::error_code ec;
  for (fs::directory_iterator it(folder.empty() ? fs::path("/") : fs::path(folder), ec), end; !ec && it != end;
       it.increment(ec)) {
    if (auto s = stampOf(it->path().string())) stamps[it->path().filename().string()] = *s;
  }
  return stamps;
}

std::vector<std::string> writtenSince(const std::string& folder, const FolderStamps& before) {
  std::vector<std::string> names;
  for (const auto& [name, stamp] : folderStamps(folder)) {
    const auto old = before.find(name);
    if (old == before.end() || old->second != stamp) names.push_back(name);
  }
  return names;
}

void requireWritten(const std::string& path, const std::optional<FileStamp>& before) {
  const auto after = stampOf(path);
  if (after && after != before) return;
  throw OutputError("cannot write '" + path + "': " + whyNotWritable(path));
}

}  // namespace vellmark::cli
