#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <utility>

#include <qKernel/Export.h>

/// An array of component indices with an element count. A value: copies own their elements. Up to c_inlineCount
/// elements live inside the object, which has 28 bytes.
///
/// Where a path gets no memory, ExceptionMode decides: enabled, std::bad_alloc is raised; otherwise the path is left
/// empty (copying, Reserve) or the element is dropped (Append). Moving never asks for memory.
class QKERNEL_API MbPath {
 public:
  using Element = std::uint32_t;

  static constexpr std::size_t c_inlineCount = 6;
  /// More elements than these are treated as memory that could not be obtained.
  static constexpr std::size_t c_maxCount = 0x3FFFFFFF;

  MbPath() noexcept : inside() {}
  MbPath(std::initializer_list<Element> source) : MbPath() { Assign(source.begin(), source.size()); }
  MbPath(const MbPath& other) : MbPath() { *this = other; }
  MbPath(MbPath&& other) noexcept : MbPath() { TakeFrom(other); }
  MbPath& operator=(const MbPath& other) {
    if (IsInside() && other.IsInside()) {
      TakeInside(other);
    } else if (this != &other) {
      Assign(other.begin(), other.Count());
    }
    return *this;
  }
  MbPath& operator=(MbPath&& other) noexcept {
    if (this != &other) {
      Release();
      TakeFrom(other);
    }
    return *this;
  }
  ~MbPath() { Release(); }

  std::size_t Count() const noexcept { return countAndPlace & ~c_isOutside; }
  bool IsEmpty() const noexcept { return Count() == 0; }

  /// Positions start at 0 and must be below Count().
  Element operator[](std::size_t position) const noexcept { return begin()[position]; }
  Element& operator[](std::size_t position) noexcept { return begin()[position]; }

  const Element* begin() const noexcept { return IsInside() ? inside.data() : Block() + 1; }
  const Element* end() const noexcept { return begin() + Count(); }
  Element* begin() noexcept { return IsInside() ? inside.data() : Block() + 1; }
  Element* end() noexcept { return begin() + Count(); }

  void Clear() noexcept { SetCount(0); }
  void Reverse() noexcept { std::reverse(begin(), end()); }

  /// Drops the elements and makes room for exactly `newCount` of them, unless there is more already. False when the
  /// room could not be obtained: the path is then empty and counts as having no storage, whatever still fits inside
  /// the object.
  bool Reserve(std::size_t newCount) {
    SetCount(0);
    return newCount <= Capacity() || ObtainRoom(newCount);
  }

  /// Adds an element at the end; a full path grows by half of its room. False when it was dropped for lack of room.
  bool Append(Element element) {
    const std::size_t count = Count();
    if (count == Capacity() && !ObtainRoom(GrownCapacity())) {
      return false;
    }
    begin()[count] = element;
    SetCount(count + 1);
    return true;
  }

  /// Same number of elements, each equal in order.
  friend bool operator==(const MbPath& left, const MbPath& right) noexcept {
    return std::equal(left.begin(), left.end(), right.begin(), right.end());
  }

  /// Lexicographic in the order of storage: negative, 0 or positive as `left` is before, equal to or after `right`.
  static int Compare(const MbPath& left, const MbPath& right) noexcept {
    const Element* first = left.begin();
    const Element* second = right.begin();
    const std::size_t common = std::min(left.Count(), right.Count());
    for (std::size_t i = 0; i < common; ++i) {
      if (first[i] != second[i]) {
        return first[i] < second[i] ? -1 : 1;
      }
    }
    return left.Count() == right.Count() ? 0 : left.Count() < right.Count() ? -1 : 1;
  }

 private:
  // The highest bit of countAndPlace: the elements are outside.
  static constexpr std::uint32_t c_isOutside = 0x80000000;

  bool IsInside() const noexcept { return (countAndPlace & c_isOutside) == 0; }
  void SetCount(std::size_t newCount) noexcept {
    countAndPlace = (countAndPlace & c_isOutside) | static_cast<std::uint32_t>(newCount);
  }
  std::size_t Capacity() const noexcept { return IsInside() ? c_inlineCount : *Block(); }
  void Assign(const Element* source, std::size_t newCount) {
    if (Reserve(newCount)) {
      std::copy(source, source + newCount, begin());
      SetCount(newCount);
    }
  }
  // Takes the elements and leaves `other` empty; this path must have no storage outside.
  void TakeFrom(MbPath& other) noexcept {
    TakeInside(other);
    other.countAndPlace = 0;
  }
  // All of it, since a fixed length is copied faster than the right one.
  void TakeInside(const MbPath& other) noexcept {
    countAndPlace = other.countAndPlace;
    inside = other.inside;
  }
  void Release() noexcept {
    if (!IsInside()) {
      ReleaseOutside();
    }
  }
  // One more than the most there can be where there is no room to grow into.
  std::size_t GrownCapacity() const noexcept {
    const std::size_t capacity = Capacity();
    return capacity < c_maxCount ? std::min<std::size_t>(capacity + capacity / 2, c_maxCount) : c_maxCount + 1;
  }
  // Moves the elements into storage outside with room for `newCapacity` elements, which must be more than there is.
  bool ObtainRoom(std::size_t newCapacity);
  void ReleaseOutside() noexcept;

  // Storage outside: how many elements there is room for, then the elements.
  Element* Block() const noexcept {
    Element* block;
    std::memcpy(&block, inside.data(), sizeof(block));
    return block;
  }
  void SetBlock(Element* block) noexcept { std::memcpy(inside.data(), &block, sizeof(block)); }

  std::uint32_t countAndPlace = 0;
  // The elements or, in the bytes of the first two, where the storage outside is: a pointer as a member would make the
  // object longer by its alignment.
  std::array<Element, c_inlineCount> inside;
};
