#include <qSys/ByteString.h>

static_assert(sizeof(ByteString) == 16, "a link record carries two byte strings");

void ByteString::TakeOutside(std::string_view bytes) {
  char* copy = new char[bytes.size()];
  std::memcpy(copy, bytes.data(), bytes.size());
  words[0] = std::bit_cast<std::uint64_t>(copy);
  words[1] = c_outsideMark | bytes.size();
}

int ByteString::CompareViews(const ByteString& left, const ByteString& right) noexcept {
  return left.View().compare(right.View());
}

void ByteString::ReleaseOutside() noexcept {
  delete[] Outside();
}
