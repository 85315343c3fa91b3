#include <qKernel/MbPath.h>

#include <new>

#include <qSys/ExceptionMode.h>

static_assert(sizeof(MbPath) == 28, "a link record carries two paths");

bool MbPath::ObtainRoom(std::size_t newCapacity) {
  Element* block = newCapacity <= c_maxCount ? new (std::nothrow) Element[newCapacity + 1] : nullptr;
  if (block == nullptr) {
    if (ExceptionMode::IsEnabled()) {
      throw std::bad_alloc();
    }
    return false;
  }
  *block = static_cast<Element>(newCapacity);
  std::copy(begin(), end(), block + 1);
  Release();
  SetBlock(block);
  countAndPlace |= c_isOutside;
  return true;
}

void MbPath::ReleaseOutside() noexcept {
  delete[] Block();
  countAndPlace &= ~c_isOutside;
}
