#include <qSys/ByteStrings.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <utility>

#include <qSys/reader.h>
#include <qSys/writer.h>

void WriteByteString(writer& out, const std::string& bytes) {
  const bool fits = bytes.size() <= std::numeric_limits<std::uint32_t>::max();
  if (!fits) {
    out.setState(io::state::countOverflow);
  }
  const std::uint32_t length = fits ? static_cast<std::uint32_t>(bytes.size()) : 0;
  out.writeBlock(&length, sizeof(length));
  if (length != 0) {
    out.writeBlock(bytes.data(), length);
  }
}

void ReadByteString(reader& in, std::string& bytes) {
  std::uint32_t length = 0;
  if (!in.readBlock(&length, sizeof(length))) {
    return;
  }
  std::array<char, 1024> block;
  std::string result;
  for (std::size_t left = length; left != 0;) {
    const std::size_t part = std::min(left, block.size());
    if (!in.readBlock(block.data(), part)) {
      return;
    }
    result.append(block.data(), part);
    left -= part;
  }
  bytes = std::move(result);
}
