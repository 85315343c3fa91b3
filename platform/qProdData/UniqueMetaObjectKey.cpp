#include <qProdData/UniqueMetaObjectKey.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <string_view>
#include <system_error>

#include <sys/random.h>

#include <qSys/ByteStrings.h>

const UniqueMetaObjectKey UniqueMetaObjectKey::null;

UniqueMetaObjectKey UniqueMetaObjectKey::Generate() {
  static constexpr std::string_view c_characters = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz.";
  std::array<std::uint8_t, c_generatedLength> random;
  if (getentropy(random.data(), random.size()) != 0) {
    throw std::system_error(errno, std::generic_category(), "no random bytes for a meta object key");
  }
  std::array<char, c_generatedLength> key;
  for (std::size_t i = 0; i < key.size(); ++i) {
    key[i] = c_characters[random[i] % c_characters.size()];
  }
  return UniqueMetaObjectKey(std::string_view(key.data(), key.size()));
}

writer& operator<<(writer& out, const UniqueMetaObjectKey& key) {
  WriteByteString(out, key.Bytes());
  return out;
}

reader& operator>>(reader& in, UniqueMetaObjectKey& key) {
  ReadByteString(in, key.bytes);
  return in;
}
