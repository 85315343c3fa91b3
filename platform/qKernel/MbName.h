#pragma once

#include <string_view>

#include <qKernel/Export.h>
#include <qSys/ByteString.h>

class reader;
class writer;

/// The kernel's name of an object: a byte string without further structure. Names of up to 15 bytes live inside the
/// object.
class QKERNEL_API MbName {
 public:
  MbName() = default;
  explicit MbName(std::string_view name) : bytes(name) {}

  /// Good until the name changes, moves or ends.
  std::string_view Bytes() const noexcept { return bytes.View(); }
  bool IsEmpty() const noexcept { return bytes.IsEmpty(); }

  friend bool operator==(const MbName& left, const MbName& right) noexcept { return left.bytes == right.bytes; }
  /// By unsigned bytes, the shorter first on a common beginning.
  friend bool operator<(const MbName& left, const MbName& right) noexcept { return Compare(left, right) < 0; }

  /// Negative, 0 or positive as `left` is before, the same as or after `right` in that order.
  static int Compare(const MbName& left, const MbName& right) noexcept {
    return ByteString::Compare(left.bytes, right.bytes);
  }

 private:
  friend QKERNEL_API writer& operator<<(writer& out, const MbName& name);
  friend QKERNEL_API reader& operator>>(reader& in, MbName& name);

  ByteString bytes;
};

/// The form of WriteByteString (qSys). Where the stream runs short, a name being read stays as it was.
QKERNEL_API writer& operator<<(writer& out, const MbName& name);
QKERNEL_API reader& operator>>(reader& in, MbName& name);
