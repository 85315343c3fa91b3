#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <qKernel/ComponentPath.h>
#include <qKernel/MbName.h>
#include <qProdData3D/CreateProductGeometryObjects3D.h>
#include <qProdData3D/IProductGeometryObjects3D.h>
#include <qSys/Versions.h>

#include "host/model/ProductData.h"

namespace host {

/// Rows of a 3x4 matrix, one after another: rotation and, in every fourth element, translation in millimetres.
using Placement = std::array<double, 12>;

/// Orders component paths as a tree is read: a component before what it holds, siblings by their numbers. Stored
/// paths have the outermost component last, so they are compared from the end.
struct TreeOrder {
  bool operator()(const MbPath& left, const MbPath& right) const noexcept;
};

/// The path of the component that holds the one with this path: without its first, the innermost element. Empty for a
/// component directly below the root and for the document's own.
ComponentPath HolderPath(const MbPath& path);
/// The path of the component that `holder` holds under this number.
ComponentPath PathWithin(const MbPath& holder, MbPath::Element element);

/// A component of the document, that is, an occurrence in its place.
struct Component {
  /// GeometryObject3D::c_assemblyComponent or c_partComponent.
  std::uint32_t objectType = 0;
  UniqueMetaObjectKey occurrence;
  /// What the file called this use of the product, and the identifier that revisions of the file keep for it; both
  /// may be empty.
  std::string displayName;
  std::string fileId;
  /// Relative to the component that holds it.
  Placement placement{};
  /// The number that the next component directly within this one gets. Numbers are never given twice.
  std::uint32_t nextElement = 1;

  friend bool operator==(const Component&, const Component&) = default;
};

/// A body of a component.
struct Body {
  /// GeometryObject3D::c_solid or c_openShell.
  std::uint32_t objectType = 0;
  /// Unique within its component, never empty, the same in all revisions.
  MbName objectName;
  /// What the file called it, and the identifier that revisions of the file keep for it; both may be empty.
  std::string displayName;
  std::string fileId;

  friend bool operator==(const Body&, const Body&) = default;
};

/// Bytes that a document keeps for someone, with the versions that they were written under.
struct Stream {
  StreamVersions versions;
  std::vector<std::byte> bytes;

  friend bool operator==(const Stream&, const Stream&) = default;
};

/// The validator of a document that was just opened.
inline bool AcceptAnyLink(const ProductGeometryObject3D&) {
  return true;
}

/// A document: product data, the 3D model beside it, the links between the two, and streams of others.
struct Document {
  using Components = std::map<ComponentPath, Component, TreeOrder>;
  using Bodies = std::map<ComponentPath, std::vector<Body>, TreeOrder>;

  ProductData productData;
  /// The document's own component, whose path is empty, is not listed.
  Components components;
  /// By the component that holds them, the document's own included; in the order in which they came.
  Bodies bodies;
  /// As Component::nextElement, for the document's own component.
  std::uint32_t nextRootElement = 1;
  /// The links between the two; never null. A document of its own has a validator that accepts everything, so that
  /// nothing invalid is lost before it was shown.
  std::unique_ptr<IProductGeometryObjects3D> links = CreateProductGeometryObjects3D(AcceptAnyLink);
  /// The versions under which the links are written.
  StreamVersions linksVersions;
  /// How many records of the links section were not taken up when it was read: doubles, and all but one of several
  /// unique links for one key or one geometry object.
  std::uint64_t droppedLinks = 0;
  /// By name, streams of programs that this one does not know; they are written back as they were read.
  std::map<std::string, Stream> otherStreams;

  std::size_t BodyCount() const;
};

/// Names a component as a geometry object.
GeometryObject3D ComponentGeometry(const ComponentPath& path, const Component& component);
/// Names a body as a geometry object.
GeometryObject3D BodyGeometry(const ComponentPath& path, const Body& body);

}  // namespace host
