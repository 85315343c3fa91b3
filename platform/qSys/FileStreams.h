#pragma once

#include <cstddef>
#include <cstdio>
#include <filesystem>

#include <qSys/Export.h>
#include <qSys/reader.h>
#include <qSys/writer.h>

/// Writes a file, from its beginning; an existing file is replaced. A file that cannot be opened or written records
/// io::state::deviceFailed; nothing throws.
class QSYS_API FileWriter final : public writer {
 public:
  explicit FileWriter(const std::filesystem::path& path, const StreamVersions& streamVersions = {});
  /// Closes the file; a caller that must know whether every byte arrived calls Close first.
  ~FileWriter() override;

  void writeBlock(const void* bytes, std::size_t length) override;

  /// Writes out what is buffered and closes the file; records io::state::deviceFailed where that fails. Writing
  /// afterwards records the same. Closing twice is no fault.
  void Close();

 private:
  std::FILE* file;
};

/// Reads a file from its beginning. A file that cannot be opened or read records io::state::deviceFailed beside
/// io::state::endOfStream; nothing throws.
class QSYS_API FileReader final : public reader {
 public:
  explicit FileReader(const std::filesystem::path& path, const StreamVersions& streamVersions = {});
  ~FileReader() override;

  /// As every reader's, but for a block of more than c_stagedLength bytes that runs short, which may have received
  /// a part of its bytes: no second buffer of a caller's size is held.
  bool readBlock(void* bytes, std::size_t length) override;

  static constexpr std::size_t c_stagedLength = 4096;

 private:
  std::FILE* file;
};
