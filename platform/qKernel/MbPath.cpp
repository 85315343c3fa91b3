#include <qKernel/MbPath.h>

#include <new>

#include <qSys/ExceptionMode.h>

static_assert(sizeof(MbPath) == 32, "a link record carries two paths");

bool MbPath::ObtainRoom(std::size_t newCapacity) {
  Element* room = newCapacity <= c_maxCount ? new (std::nothrow) Element[newCapacity] : nullptr;
  if (room == nullptr) {
    if (ExceptionMode::IsEnabled()) {
      throw std::bad_alloc();
    }
    return false;
  }
  std::copy(begin(), end(), room);
  Release();
  outside = room;
  capacity = static_cast<std::uint32_t>(newCapacity);
  return true;
}

void MbPath::ReleaseOutside() noexcept {
  delete[] outside;
  capacity = c_inlineCount;
}
