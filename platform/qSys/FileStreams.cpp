#include <qSys/FileStreams.h>

#include <array>
#include <cstring>

FileWriter::FileWriter(const std::filesystem::path& path, const StreamVersions& streamVersions)
    : tape(streamVersions), file(std::fopen(path.c_str(), "wb")) {
  if (file == nullptr) {
    FileWriter::setState(io::state::deviceFailed);
  }
}

FileWriter::~FileWriter() {
  Close();
}

void FileWriter::writeBlock(const void* bytes, std::size_t length) {
  if (length == 0) {
    return;
  }
  if (file == nullptr || std::fwrite(bytes, 1, length, file) != length) {
    setState(io::state::deviceFailed);
  }
}

void FileWriter::Close() {
  if (file == nullptr) {
    return;
  }
  if (std::fclose(file) != 0) {
    setState(io::state::deviceFailed);
  }
  file = nullptr;
}

FileReader::FileReader(const std::filesystem::path& path, const StreamVersions& streamVersions)
    : tape(streamVersions), file(std::fopen(path.c_str(), "rb")) {
  if (file == nullptr) {
    FileReader::setState(io::state::deviceFailed);
  }
}

FileReader::~FileReader() {
  if (file != nullptr) {
    // Nothing was written that could be lost.
    static_cast<void>(std::fclose(file));
  }
}

bool FileReader::readBlock(void* bytes, std::size_t length) {
  if (length == 0) {
    return true;
  }
  std::array<char, c_stagedLength> staged;
  const bool isStaged = length <= staged.size();
  void* target = isStaged ? staged.data() : bytes;
  if (file == nullptr || std::fread(target, 1, length, file) != length) {
    if (file != nullptr && std::ferror(file) != 0) {
      setState(io::state::deviceFailed);
    }
    setState(io::state::endOfStream);
    return false;
  }
  if (isStaged) {
    std::memcpy(bytes, staged.data(), length);
  }
  return true;
}
