#include <qKernel/ComponentPath.h>

#include <algorithm>

bool ComponentPath::IsSubDirectory(const MbPath& path) const noexcept {
  return Count() <= path.Count() && std::equal(begin(), end(), path.begin());
}
