#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

/// A file in memory with a name of this process's own, removed at the end.
class ScratchFile {
 public:
  explicit ScratchFile(const std::string& ending) : path("/dev/shm/qpd-fuzz-" + std::to_string(::getpid()) + ending) {}
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;
  ~ScratchFile() {
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
  }

  const std::filesystem::path& Path() const { return path; }

  void Write(const std::uint8_t* data, std::size_t size) const {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  }

 private:
  std::filesystem::path path;
};
