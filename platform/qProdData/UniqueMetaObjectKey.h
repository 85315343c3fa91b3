#pragma once

#include <string_view>

#include <qProdData/Export.h>
#include <qSys/ByteString.h>

class reader;
class writer;

/// The key of a product-data meta object: a byte string of any length, zero bytes included. A value; keys of up to
/// 15 bytes live inside the object.
class QPRODDATA_API UniqueMetaObjectKey {
 public:
  /// The longest key that Generate makes.
  static constexpr std::size_t c_generatedLength = 15;

  /// The no-key value: the empty key.
  static const UniqueMetaObjectKey null;

  UniqueMetaObjectKey() = default;
  explicit UniqueMetaObjectKey(std::string_view keyBytes) : bytes(keyBytes) {}

  /// A fresh key of c_generatedLength characters out of 64 (letters, digits, '.' and '_', so that no program takes a
  /// key for an option): 90 random bits from the system's generator, so that keys cannot be guessed and do not meet.
  /// Throws std::system_error where the system gives no random bytes.
  static UniqueMetaObjectKey Generate();

  /// Good until the key changes, moves or ends.
  std::string_view Bytes() const noexcept { return bytes.View(); }
  bool IsEmpty() const noexcept { return bytes.IsEmpty(); }

  /// Same length and same bytes.
  friend bool operator==(const UniqueMetaObjectKey& left, const UniqueMetaObjectKey& right) noexcept {
    return left.bytes == right.bytes;
  }
  /// By unsigned bytes, the shorter first on a common beginning.
  friend bool operator<(const UniqueMetaObjectKey& left, const UniqueMetaObjectKey& right) noexcept {
    return Compare(left, right) < 0;
  }

  /// Negative, 0 or positive as `left` is before, the same as or after `right` in that order.
  static int Compare(const UniqueMetaObjectKey& left, const UniqueMetaObjectKey& right) noexcept {
    return ByteString::Compare(left.bytes, right.bytes);
  }

 private:
  friend QPRODDATA_API writer& operator<<(writer& out, const UniqueMetaObjectKey& key);
  friend QPRODDATA_API reader& operator>>(reader& in, UniqueMetaObjectKey& key);

  ByteString bytes;
};

/// The form of WriteByteString (qSys). Where the stream runs short, a key being read stays as it was.
QPRODDATA_API writer& operator<<(writer& out, const UniqueMetaObjectKey& key);
QPRODDATA_API reader& operator>>(reader& in, UniqueMetaObjectKey& key);
