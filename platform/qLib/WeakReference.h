#pragma once

#include <memory>
#include <utility>

/// Refers to an object that others own, and knows whether it is still there. A value.
template <class Object>
class WeakReference {
 public:
  /// Refers to nothing and has no shared state.
  WeakReference() = default;
  /// Refers to an object that lives as long as `sharedState` has an owner. The object may be null all the same.
  WeakReference(std::weak_ptr<const void> sharedState, Object* referred)
      : state(std::move(sharedState)), object(referred) {}
  explicit WeakReference(const std::shared_ptr<Object>& owner) : state(owner), object(owner.get()) {}

  /// True when there is a shared state and it still has an owner.
  bool IsAlive() const noexcept { return !state.expired(); }
  /// The object, to be used only while IsAlive() says so; may be null.
  Object* Get() const noexcept { return object; }

 private:
  std::weak_ptr<const void> state;
  Object* object = nullptr;
};
