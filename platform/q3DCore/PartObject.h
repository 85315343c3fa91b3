#pragma once

#include <cstdint>
#include <vector>

#include <q3DCore/Export.h>
#include <qDocument/IfSomething.h>
#include <qLib/BitFlags.h>
#include <qLib/WeakReference.h>

/// Kinds of built objects, as bits of a mask.
enum class COGroups : std::uint32_t {
  surfaces = 0x01,
  curves = 0x02,
  points = 0x04,
  bodies = 0x40,
};

/// An object that the rebuild of a component has made.
class Q3DCORE_API PartObject : public IfSomething {
 public:
  ~PartObject() override;

  /// True when the object is of one of these kinds.
  virtual bool IsOfKind(BitFlags<COGroups> kinds) const = 0;
};

/// What the rebuild of a component has made. The objects belong to the component.
class Q3DCORE_API PartRebuildResult {
 public:
  using BuildObjects = std::vector<WeakReference<PartObject>>;

  PartRebuildResult() = default;
  PartRebuildResult(const PartRebuildResult&) = delete;
  PartRebuildResult& operator=(const PartRebuildResult&) = delete;
  virtual ~PartRebuildResult();

  /// In the order in which they were built. Good until the component is rebuilt; an object may go earlier.
  virtual const BuildObjects& GetBuildObjects() const = 0;
};

/// PartObject::IsOfKind.
Q3DCORE_API bool CheckType(const PartObject& object, BitFlags<COGroups> kinds);
/// PartRebuildResult::GetBuildObjects.
Q3DCORE_API const PartRebuildResult::BuildObjects& AllBuildObjects(const PartRebuildResult& result);
