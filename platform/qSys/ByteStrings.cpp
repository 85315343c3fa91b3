#include <qSys/ByteStrings.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <string>

#include <qSys/ByteString.h>
#include <qSys/reader.h>
#include <qSys/writer.h>

void WriteByteString(writer& out, std::string_view bytes) {
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

void ReadByteString(reader& in, ByteString& bytes) {
  std::uint32_t length = 0;
  if (!in.readBlock(&length, sizeof(length))) {
    return;
  }
  std::array<char, 1024> block;
  if (length <= ByteString::c_inlineCount) {
    if (length == 0 || in.readBlock(block.data(), length)) {
      bytes = ByteString(std::string_view(block.data(), length));
    }
    return;
  }
  std::string result;
  for (std::size_t left = length; left != 0;) {
    const std::size_t part = std::min(left, block.size());
    if (!in.readBlock(block.data(), part)) {
      return;
    }
    result.append(block.data(), part);
    left -= part;
  }
  bytes = ByteString(result);
}
