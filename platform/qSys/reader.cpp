#include <qSys/reader.h>

reader::~reader() = default;

std::uint64_t reader::readUInt64() {
  std::uint64_t value = 0;
  readBlock(&value, sizeof(value));
  return value;
}
