#include "host/model/Document.h"

#include <algorithm>
#include <iterator>

namespace host {

bool TreeOrder::operator()(const MbPath& left, const MbPath& right) const noexcept {
  return std::lexicographical_compare(std::make_reverse_iterator(left.end()), std::make_reverse_iterator(left.begin()),
                                      std::make_reverse_iterator(right.end()),
                                      std::make_reverse_iterator(right.begin()));
}

ComponentPath HolderPath(const MbPath& path) {
  ComponentPath holder;
  if (!path.IsEmpty()) {
    holder.Reserve(path.Count() - 1);
    std::for_each(path.begin() + 1, path.end(), [&holder](MbPath::Element element) { holder.Append(element); });
  }
  return holder;
}

ComponentPath PathWithin(const MbPath& holder, MbPath::Element element) {
  ComponentPath path;
  path.Reserve(holder.Count() + 1);
  path.Append(element);
  for (const MbPath::Element outer : holder) {
    path.Append(outer);
  }
  return path;
}

std::size_t Document::BodyCount() const {
  std::size_t count = 0;
  for (const auto& [path, ofComponent] : bodies) {
    count += ofComponent.size();
  }
  return count;
}

GeometryObject3D ComponentGeometry(const ComponentPath& path, const Component& component) {
  return GeometryObject3D(component.objectType, path, MbPath(), MbName());
}

GeometryObject3D BodyGeometry(const ComponentPath& path, const Body& body) {
  return GeometryObject3D(body.objectType, path, MbPath(), body.objectName);
}

}  // namespace host
