#include <qSys/writer.h>

writer::~writer() = default;

void writer::writeUInt64(std::uint64_t value) {
  writeBlock(&value, sizeof(value));
}
