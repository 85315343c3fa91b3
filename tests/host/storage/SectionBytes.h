#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <span>
#include <string>
#include <vector>

#include <qProdData3D/CreateProductGeometryObjects3D.h>
#include <qProdData3D/ReadMetaObjectsLinks.h>

#include "host/storage/SectionWalker.h"
#include "host/storage/StrictReader.h"
#include "tests/support/StreamLink.h"

using Bytes = std::vector<std::byte>;

/// A field as the walker showed it, with its bytes kept.
struct SeenField {
  std::uint64_t offset = 0;
  Bytes bytes;
  int depth = 0;
  std::string name;
  std::string value;

  friend bool operator==(const SeenField&, const SeenField&) = default;
};

inline void PrintTo(const SeenField& field, std::ostream* out) {
  *out << "{" << field.offset << ", " << field.bytes.size() << " bytes, depth " << field.depth << ", " << field.name
       << ": " << field.value << "}";
}

/// What a walk ended with and what it showed on its way.
struct SeenWalk {
  std::optional<host::SectionFault> fault;
  std::vector<SeenField> fields;
};

inline SeenWalk WalkAll(std::span<const std::byte> section, const StreamVersions& versions) {
  SeenWalk walk;
  walk.fault = host::WalkSection(section, versions, [&walk](const host::SectionField& field) {
    walk.fields.push_back({field.offset, Bytes(field.bytes.begin(), field.bytes.end()), field.depth,
                           std::string(field.name), field.value});
  });
  return walk;
}

/// True when the library reads the section without a fault and to its last byte.
inline bool LibraryReadsAll(std::span<const std::byte> section, const StreamVersions& versions) {
  const auto store = CreateProductGeometryObjects3D(AcceptAll);
  host::StrictReader in(section, versions);
  try {
    ReadMetaObjectsLinks(in, *store, nullptr);
  } catch (const host::StrictReadFailed&) {
    return false;
  } catch (const std::bad_alloc&) {
    return false;
  }
  return in.Position() == section.size();
}
