#include <qSys/MemoryStreams.h>

#include <cstring>
#include <utility>

void MemoryWriter::writeBlock(const void* bytes, std::size_t length) {
  const auto* first = static_cast<const std::byte*>(bytes);
  written.insert(written.end(), first, first + length);
}

std::vector<std::byte> MemoryWriter::TakeBytes() noexcept {
  return std::exchange(written, {});
}

bool MemoryReader::readBlock(void* target, std::size_t length) {
  if (length > bytes.size() - position) {
    position = bytes.size();
    setState(io::state::endOfStream);
    return false;
  }
  if (length != 0) {
    std::memcpy(target, bytes.data() + position, length);
    position += length;
  }
  return true;
}
