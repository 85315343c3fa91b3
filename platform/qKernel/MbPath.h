#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <utility>

#include <boost/container/small_vector.hpp>

#include <qKernel/Export.h>

/// An array of component indices with an element count. A value: copies own their elements. Up to c_inlineCount
/// elements live inside the object.
///
/// Where a path gets no memory, ExceptionMode decides: enabled, std::bad_alloc is raised; otherwise the path is left
/// empty (copying, Reserve) or the element is dropped (Append). Moving never asks for memory.
class QKERNEL_API MbPath {
 public:
  using Element = std::uint32_t;

  static constexpr std::size_t c_inlineCount = 6;
  /// More elements than these are treated as memory that could not be obtained.
  static constexpr std::size_t c_maxCount = 0x3FFFFFFF;

  MbPath() noexcept = default;
  MbPath(std::initializer_list<Element> source) { Assign(source.begin(), source.size()); }
  MbPath(const MbPath& other) { Assign(other.begin(), other.Count()); }
  MbPath(MbPath&& other) noexcept : elements(std::move(other.elements)) { other.elements.clear(); }
  MbPath& operator=(const MbPath& other) {
    if (this != &other) {
      Assign(other.begin(), other.Count());
    }
    return *this;
  }
  MbPath& operator=(MbPath&& other) noexcept {
    if (this != &other) {
      elements = std::move(other.elements);
      other.elements.clear();
    }
    return *this;
  }
  ~MbPath() = default;

  std::size_t Count() const noexcept { return elements.size(); }
  bool IsEmpty() const noexcept { return elements.empty(); }

  /// Positions start at 0 and must be below Count().
  Element operator[](std::size_t position) const noexcept { return elements.data()[position]; }
  Element& operator[](std::size_t position) noexcept { return elements.data()[position]; }

  const Element* begin() const noexcept { return elements.data(); }
  const Element* end() const noexcept { return elements.data() + elements.size(); }
  Element* begin() noexcept { return elements.data(); }
  Element* end() noexcept { return elements.data() + elements.size(); }

  void Clear() noexcept { elements.clear(); }
  void Reverse() noexcept { std::reverse(begin(), end()); }

  /// Drops the elements and makes room for exactly `count` of them. False when the room could not be obtained: the
  /// path is then empty and counts as having no storage, whatever still fits inside the object.
  bool Reserve(std::size_t count) {
    elements.clear();
    return count <= elements.capacity() || ObtainRoom(count);
  }

  /// Adds an element at the end; a full path grows by 60 %. False when it was dropped for lack of room.
  bool Append(Element element) {
    if (elements.size() == elements.capacity() && !ObtainRoom(GrownCount())) {
      return false;
    }
    elements.push_back(element);
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
  void Assign(const Element* source, std::size_t count) {
    if (Reserve(count)) {
      elements.assign(source, source + count);
    }
  }
  std::size_t GrownCount() const noexcept;
  bool ObtainRoom(std::size_t count);

  boost::container::small_vector<Element, c_inlineCount> elements;
};
