#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <utility>

#include <qKernel/Export.h>

/// An array of component indices with an element count. A value: copies own their elements. Up to c_inlineCount
/// elements live inside the object, which has 32 bytes.
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
  MbPath(const MbPath& other) : MbPath() { Assign(other.begin(), other.Count()); }
  MbPath(MbPath&& other) noexcept : MbPath() { TakeFrom(other); }
  MbPath& operator=(const MbPath& other) {
    if (this != &other) {
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

  std::size_t Count() const noexcept { return count; }
  bool IsEmpty() const noexcept { return count == 0; }

  /// Positions start at 0 and must be below Count().
  Element operator[](std::size_t position) const noexcept { return begin()[position]; }
  Element& operator[](std::size_t position) noexcept { return begin()[position]; }

  const Element* begin() const noexcept { return IsInside() ? inside : outside; }
  const Element* end() const noexcept { return begin() + count; }
  Element* begin() noexcept { return IsInside() ? inside : outside; }
  Element* end() noexcept { return begin() + count; }

  void Clear() noexcept { count = 0; }
  void Reverse() noexcept { std::reverse(begin(), end()); }

  /// Drops the elements and makes room for exactly `newCount` of them, unless there is more already. False when the
  /// room could not be obtained: the path is then empty and counts as having no storage, whatever still fits inside
  /// the object.
  bool Reserve(std::size_t newCount) {
    count = 0;
    return newCount <= capacity || ObtainRoom(newCount);
  }

  /// Adds an element at the end; a full path grows by half of its room. False when it was dropped for lack of room.
  bool Append(Element element) {
    if (count == capacity && !ObtainRoom(GrownCapacity())) {
      return false;
    }
    begin()[count++] = element;
    return true;
  }

  /// Same number of elements, each equal in order.
  friend bool operator==(const MbPath& left, const MbPath& right) noexcept {
    return std::equal(left.begin(), left.end(), right.begin(), right.end());
  }

  /// Lexicographic in the order of storage: negative, 0 or positive as `left` is before, equal to or after `right`.
  static int Compare(const MbPath& left, const MbPath& right) noexcept {
    const std::size_t common = std::min(left.Count(), right.Count());
    for (std::size_t i = 0; i < common; ++i) {
      if (left[i] != right[i]) {
        return left[i] < right[i] ? -1 : 1;
      }
    }
    return left.Count() == right.Count() ? 0 : left.Count() < right.Count() ? -1 : 1;
  }

 private:
  bool IsInside() const noexcept { return capacity == c_inlineCount; }
  void Assign(const Element* source, std::size_t newCount) {
    if (Reserve(newCount)) {
      std::copy(source, source + newCount, begin());
      count = static_cast<std::uint32_t>(newCount);
    }
  }
  // Takes the elements and leaves `other` empty; this path must be empty and have no storage outside.
  void TakeFrom(MbPath& other) noexcept {
    count = std::exchange(other.count, 0);
    capacity = std::exchange(other.capacity, static_cast<std::uint32_t>(c_inlineCount));
    if (IsInside()) {
      std::copy(other.inside, other.inside + c_inlineCount, inside);
    } else {
      outside = other.outside;
    }
  }
  void Release() noexcept {
    if (!IsInside()) {
      ReleaseOutside();
    }
  }
  // One more than the most there can be where there is no room to grow into.
  std::size_t GrownCapacity() const noexcept {
    return capacity < c_maxCount ? std::min<std::size_t>(capacity + capacity / 2, c_maxCount) : c_maxCount + 1;
  }
  // Moves the elements into storage outside with room for `newCapacity` elements, which must be more than there is.
  bool ObtainRoom(std::size_t newCapacity);
  void ReleaseOutside() noexcept;

  std::uint32_t count = 0;
  std::uint32_t capacity = c_inlineCount;
  // Which of the two holds the elements goes by the capacity: storage outside is always larger than that inside.
  union {
    Element inside[c_inlineCount];
    Element* outside;
  };
};
