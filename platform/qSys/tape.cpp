#include <qSys/tape.h>

tape::~tape() = default;

void tape::setState(io::state fault) {
  stateBits |= static_cast<std::uint32_t>(fault);
}
