#pragma once

#include <cstddef>
#include <vector>

#include <qProdData/UniqueMetaObjectKey.h>

/// A test program that is linked with GeneratedKeys.cpp has UniqueMetaObjectKey::Generate replaced: it hands
/// out keys that the test chose.

/// While it lives, Generate gives these keys, in order, and after them throws std::system_error, as it does
/// where the system gives no random bytes. Without one, it always throws. One at a time.
class GeneratedKeys {
 public:
  explicit GeneratedKeys(std::vector<UniqueMetaObjectKey> keys);
  GeneratedKeys(const GeneratedKeys&) = delete;
  GeneratedKeys& operator=(const GeneratedKeys&) = delete;
  ~GeneratedKeys();

  /// How often Generate was called, the call that threw included.
  std::size_t Calls() const noexcept;
};
