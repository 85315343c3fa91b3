#include <qKernel/MbPath.h>

#include <new>

#include <qSys/ExceptionMode.h>

std::size_t MbPath::GrownCount() const noexcept {
  const std::size_t count = elements.capacity();
  // A path at its maximum asks for one more than it may have, which ObtainRoom refuses.
  return count == c_maxCount ? c_maxCount + 1 : std::min(count + (count * 3 + 4) / 5, c_maxCount);
}

bool MbPath::ObtainRoom(std::size_t count) {
  try {
    if (count > c_maxCount) {
      throw std::bad_alloc();
    }
    elements.reserve(count);
    return true;
  } catch (const std::bad_alloc&) {
    if (ExceptionMode::IsEnabled()) {
      throw;
    }
    return false;
  }
}
