#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <vector>

#include "bench/Jobs.h"

namespace bench {

/// The workloads on a whole document with about so many links: position links, positions of bodies, opening, saving.
class HostBench {
 public:
  explicit HostBench(std::size_t linkCount);
  HostBench(const HostBench&) = delete;
  HostBench& operator=(const HostBench&) = delete;
  /// Removes the files.
  ~HostBench();

  /// Looks whether the document is what the workloads expect. Throws Disagreement.
  void Compare() const;

  /// They refer to this object.
  std::vector<Job> Jobs();

 private:
  struct Documents;

  std::unique_ptr<Documents> documents;
};

/// Makes a document with about so many links and saves it.
void SaveNewDocument(std::size_t linkCount, const std::filesystem::path& file);

/// Opens a document and prints how many links it has.
void OpenDocument(const std::filesystem::path& file);

}  // namespace bench
