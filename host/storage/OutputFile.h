#pragma once

#include <filesystem>

namespace host {

/// An output file that appears whole or not at all: it is written under another name beside its place and takes its
/// name in one step. Whatever else happens, an end by a signal that can be caught included, the other name is removed
/// and what stood in the place stays as it was. A symbolic
/// link in the place stays; what it leads to is replaced. One at a time in a process.
class OutputFile {
 public:
  /// Throws HostError where `place` is a folder or its folder does not exist or takes no files.
  explicit OutputFile(const std::filesystem::path& place);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  ~OutputFile();

  /// Where to write: an empty file that exists already.
  const std::filesystem::path& TemporaryPath() const noexcept { return temporary; }

  /// Brings the bytes to the disk and the file into its place. Throws HostError where that fails.
  void Commit();

 private:
  std::filesystem::path target;
  std::filesystem::path temporary;
};

}  // namespace host
