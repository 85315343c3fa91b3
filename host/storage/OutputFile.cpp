#include "host/storage/OutputFile.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>

#include "host/HostError.h"

namespace host {

namespace {

// What the signal handler removes; null when there is nothing. The text belongs to the OutputFile.
std::atomic<const char*> unfinished = nullptr;

constexpr std::array c_endingSignals = {SIGINT, SIGTERM, SIGHUP};

void RemoveUnfinished(int signal) {
  if (const char* path = unfinished.exchange(nullptr)) {
    ::unlink(path);
  }
  // The handler was taken off when it was called, so this ends the process as the signal would have.
  // Cannot fail: the number is that of a signal which was just delivered.
  static_cast<void>(std::raise(signal));
}

void Watch(const char* path) {
  unfinished = path;
  struct sigaction action = {};
  action.sa_handler = RemoveUnfinished;
  // SA_RESETHAND is an unsigned bit in a signed field.
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  for (const int signal : c_endingSignals) {
    struct sigaction before = {};
    // What was to be ignored stays ignored, for a program that is to go on without its terminal.
    if (::sigaction(signal, nullptr, &before) == 0 && before.sa_handler != SIG_IGN) {
      ::sigaction(signal, &action, nullptr);
    }
  }
}

[[noreturn]] void Fail(const std::filesystem::path& path, int error) {
  const bool isFull = error == ENOSPC || error == EFBIG || error == EDQUOT;
  throw HostError(isFull ? fmt::format("{}: the disk is full; make room and try again", path.string())
                         : fmt::format("{}: cannot be written ({}); choose another place with -o", path.string(),
                                       std::generic_category().message(error)));
}

void Synchronize(const std::filesystem::path& path, int flags) {
  const int descriptor = ::open(path.c_str(), flags | O_CLOEXEC);
  if (descriptor < 0) {
    Fail(path, errno);
  }
  const int error = ::fsync(descriptor) == 0 ? 0 : errno;
  ::close(descriptor);
  // Some file systems cannot synchronize a folder.
  if (error != 0 && error != EINVAL) {
    Fail(path, error);
  }
}

std::filesystem::path FolderOf(const std::filesystem::path& path) {
  return path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
}

// A symbolic link stays what it is: the file that it leads to is the one to make.
std::filesystem::path Followed(std::filesystem::path place) {
  constexpr int c_mostLinks = 40;
  std::error_code ignored;
  for (int links = 0; links < c_mostLinks && std::filesystem::is_symlink(place, ignored); ++links) {
    place = place.parent_path() / std::filesystem::read_symlink(place, ignored);
  }
  return place;
}

// Beside the target, since only within one file system a file can change its name; with room for the six letters
// that are put in.
std::string TemporaryName(const std::filesystem::path& target) {
  constexpr std::size_t c_most = 240;
  return (target.parent_path() / (target.filename().string().substr(0, c_most) + ".XXXXXX")).string();
}

}  // namespace

OutputFile::OutputFile(const std::filesystem::path& place) : target(Followed(place)) {
  std::error_code ignored;
  if (!target.has_filename()) {
    throw HostError(fmt::format("'{}': is no name for a file; name the file to make", target.string()));
  }
  if (std::filesystem::is_directory(target, ignored)) {
    throw HostError(fmt::format("{}: is a folder; name a file", target.string()));
  }
  if (!std::filesystem::is_directory(FolderOf(target), ignored)) {
    throw HostError(fmt::format("{}: no such folder {}; make it first", target.string(), FolderOf(target).string()));
  }
  std::string name = TemporaryName(target);
  const int descriptor = ::mkostemp(name.data(), O_CLOEXEC);
  if (descriptor < 0) {
    Fail(target, errno);
  }
  // mkostemp gives rights to the owner alone; a document gets those of any new file.
  const mode_t mask = ::umask(0);
  ::umask(mask);
  ::fchmod(descriptor, 0666 & ~mask);
  ::close(descriptor);
  temporary = std::move(name);
  Watch(temporary.c_str());
}

OutputFile::~OutputFile() {
  unfinished = nullptr;
  if (!temporary.empty()) {
    ::unlink(temporary.c_str());
  }
}

void OutputFile::Commit() {
  Synchronize(temporary, O_RDWR);
  if (::rename(temporary.c_str(), target.c_str()) != 0) {
    Fail(target, errno);
  }
  unfinished = nullptr;
  temporary.clear();
  Synchronize(FolderOf(target), O_RDONLY | O_DIRECTORY);
}

}  // namespace host
