#pragma once

class IfComponent;

/// An object of a document together with the component that holds it. Borrows all that it names; null where there
/// is none.
template <class Object>
struct CompTrObject {
  Object* object = nullptr;
  /// The component whose coordinates and path the object is seen in.
  IfComponent* component = nullptr;
  /// The component that the object was taken from; the same one unless the object is seen from elsewhere.
  IfComponent* sourceComponent = nullptr;
  /// A placement of its own, 3 rows of 4 numbers, in place of the component's.
  const double* placement = nullptr;

  /// The component that holds the object.
  IfComponent* GetComponent() const noexcept { return component; }
};
