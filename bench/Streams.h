#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include <qProdData/IfMetaProductData.h>
#include <qSys/reader.h>
#include <qSys/writer.h>

#include "bench/Links.h"
#include "bench/contenders/Floor.h"

/// The links section of a stream without the library, in the form that the present versions have.

namespace bench {

/// Product data that knows the occurrences of a set of unique links, each held by the one of the component above it.
class Occurrences final : public IfMetaProductData {
 public:
  explicit Occurrences(const std::vector<Link>& uniqueLinks);

  bool HasMetaObject(const UniqueMetaObjectKey& key) const override;
  std::set<UniqueMetaObjectKey> GetRelatedMetaObjects(const UniqueMetaObjectKey& key) const override;
  PropValueRef GetPropertyRef(const UniqueMetaObjectKey& key, const std::wstring& name) const override;
  bool IsAssociativeBillet(const UniqueMetaObjectKey& key) const override;

 private:
  // Null for one directly below the root.
  std::map<Key, Key> holders;
};

/// The calls that writing a section makes of its writer, with the links from two lists.
void WriteByCalls(writer& out, const std::vector<Link>& uniqueLinks, const std::vector<Link>& validatedLinks);

/// The calls that reading a section makes of its reader; what is read is dropped.
void ReadByCalls(reader& in);

/// Reads a section as ReadMetaObjectsLinks does, into the floor's containers by the fewest steps.
void ReadByFloor(reader& in, Floor& store, const IfMetaProductData* metaData);

}  // namespace bench
