#include "tests/support/StoreInside.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <vector>

#include "tests/support/NaiveStore.h"

namespace {

// Naming a private member is allowed in an explicit instantiation, and nowhere else: each one below defines the
// function that hands the member out.
template <class Tag, auto member>
struct Opened {
  friend auto Open(Tag) { return member; }
};

struct UniqueTag {
  friend auto Open(UniqueTag);
};
struct ValidatedTag {
  friend auto Open(ValidatedTag);
};
struct ValidatorTag {
  friend auto Open(ValidatorTag);
};
struct WritePathTag {
  friend auto Open(WritePathTag);
};

template struct Opened<UniqueTag, &ProductGeometryObjects3D::uniqueLinks>;
template struct Opened<ValidatedTag, &ProductGeometryObjects3D::validatedLinks>;
template struct Opened<ValidatorTag, &ProductGeometryObjects3D::linkValidator>;
template struct Opened<WritePathTag, &ProductGeometryObjects3D::writeComponentPath>;

const ProductGeometryObjects3D& Inside(const IProductGeometryObjects3D& store) {
  return static_cast<const ProductGeometryObjects3D&>(store);
}

// Negative, 0 or positive, by the rules of the orders and without the comparisons of the library.
int CompareByKey(const ProductGeometryObject3D& left, const ProductGeometryObject3D& right) {
  const std::string leftBytes(left.metaKey.Bytes());
  const std::string rightBytes(right.metaKey.Bytes());
  return IsKeyLess(leftBytes, rightBytes) ? -1 : leftBytes == rightBytes ? 0 : 1;
}

int CompareByGeometry(const ProductGeometryObject3D& left, const ProductGeometryObject3D& right) {
  const GeometryObject3D& a = left.geometry;
  const GeometryObject3D& b = right.geometry;
  if (a.objectType != b.objectType) {
    return a.objectType < b.objectType ? -1 : 1;
  }
  for (std::size_t i = 0; i < a.componentPath.Count() && i < b.componentPath.Count(); ++i) {
    if (a.componentPath[i] != b.componentPath[i]) {
      return a.componentPath[i] < b.componentPath[i] ? -1 : 1;
    }
  }
  if (a.componentPath.Count() != b.componentPath.Count()) {
    return a.componentPath.Count() < b.componentPath.Count() ? -1 : 1;
  }
  const std::string leftBytes(a.objectName.Bytes());
  const std::string rightBytes(b.objectName.Bytes());
  return IsKeyLess(leftBytes, rightBytes) ? -1 : leftBytes == rightBytes ? 0 : 1;
}

int CompareByLink(const ProductGeometryObject3D& left, const ProductGeometryObject3D& right) {
  const int keys = CompareByKey(left, right);
  return keys != 0 ? keys : CompareByGeometry(left, right);
}

using Addresses = std::vector<const ProductGeometryObject3D*>;

// In ascending order.
template <class Records>
Addresses AddressesOf(const Records& records) {
  Addresses addresses;
  for (const ProductGeometryObject3D& record : records) {
    addresses.push_back(&record);
  }
  std::sort(addresses.begin(), addresses.end(), std::less<>());
  return addresses;
}

// The fault of one index whose set holds these records.
template <class Records, class Compare>
std::string IndexFault(const char* name, const Records& index, const Addresses& records, Compare compare,
                       bool isUnique) {
  const auto fault = [name](const char* text) { return std::string(name) + text; };
  if (index.size() != records.size() || AddressesOf(index) != records) {
    return fault(" holds other records than its set");
  }
  const ProductGeometryObject3D* before = nullptr;
  for (const ProductGeometryObject3D& record : index) {
    if (before != nullptr && compare(*before, record) > 0) {
      return fault(" is not in its order");
    }
    if (before != nullptr && isUnique && compare(*before, record) == 0) {
      return fault(" holds two records that are the same");
    }
    const auto [first, last] = index.equal_range(record);
    bool isFound = false;
    for (auto place = first; place != last; ++place) {
      isFound = isFound || &*place == &record;
    }
    if (!isFound) {
      return fault(" does not find a record that it holds");
    }
    before = &record;
  }
  return {};
}

}  // namespace

const UniqueLinks& UniqueLinksOf(const IProductGeometryObjects3D& store) {
  return Inside(store).*Open(UniqueTag());
}

const ValidatedLinks& ValidatedLinksOf(const IProductGeometryObjects3D& store) {
  return Inside(store).*Open(ValidatedTag());
}

const IProductGeometryObjects3D::LinkValidator& ValidatorOf(const IProductGeometryObjects3D& store) {
  return Inside(store).*Open(ValidatorTag());
}

const MbPath* WritePathOf(const IProductGeometryObjects3D& store) {
  return Inside(store).*Open(WritePathTag());
}

std::string StoreFault(const IProductGeometryObjects3D& store) {
  const UniqueLinks& unique = UniqueLinksOf(store);
  const ValidatedLinks& validated = ValidatedLinksOf(store);
  const Addresses inUnique = AddressesOf(unique);
  const Addresses inValidated = AddressesOf(validated);
  for (const std::string& fault :
       {IndexFault("byMetaKey of the unique set", unique.get<byMetaKey>(), inUnique, CompareByKey, true),
        IndexFault("byGeometry of the unique set", unique.get<byGeometry>(), inUnique, CompareByGeometry, true),
        IndexFault("byMetaKey of the validated set", validated.get<byMetaKey>(), inValidated, CompareByKey, false),
        IndexFault("byGeometry of the validated set", validated.get<byGeometry>(), inValidated, CompareByGeometry,
                   false),
        IndexFault("byLink of the validated set", validated.get<byLink>(), inValidated, CompareByLink, true)}) {
    if (!fault.empty()) {
      return fault;
    }
  }
  return {};
}
