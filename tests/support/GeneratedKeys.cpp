#include "tests/support/GeneratedKeys.h"

#include <cerrno>
#include <system_error>
#include <utility>

namespace {

std::vector<UniqueMetaObjectKey> script;
std::size_t calls = 0;

}  // namespace

UniqueMetaObjectKey UniqueMetaObjectKey::Generate() {
  const std::size_t position = calls++;
  if (position >= script.size()) {
    throw std::system_error(EIO, std::generic_category(), "no more keys");
  }
  return script[position];
}

GeneratedKeys::GeneratedKeys(std::vector<UniqueMetaObjectKey> keys) {
  script = std::move(keys);
  calls = 0;
}

GeneratedKeys::~GeneratedKeys() {
  script.clear();
}

std::size_t GeneratedKeys::Calls() const noexcept {
  return calls;
}
