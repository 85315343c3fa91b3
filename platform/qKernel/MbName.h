#pragma once

#include <string>
#include <utility>

#include <qKernel/Export.h>

class reader;
class writer;

/// The kernel's name of an object: a byte string without further structure. Names of up to 15 bytes live inside the
/// object.
class QKERNEL_API MbName {
 public:
  MbName() = default;
  explicit MbName(std::string name) : bytes(std::move(name)) {}

  const std::string& Bytes() const noexcept { return bytes; }
  bool IsEmpty() const noexcept { return bytes.empty(); }

  friend bool operator==(const MbName& left, const MbName& right) noexcept { return left.bytes == right.bytes; }
  /// By unsigned bytes, the shorter first on a common beginning.
  friend bool operator<(const MbName& left, const MbName& right) noexcept { return left.bytes < right.bytes; }

 private:
  friend QKERNEL_API writer& operator<<(writer& out, const MbName& name);
  friend QKERNEL_API reader& operator>>(reader& in, MbName& name);

  std::string bytes;
};

/// The form of WriteByteString (qSys). Where the stream runs short, a name being read stays as it was.
QKERNEL_API writer& operator<<(writer& out, const MbName& name);
QKERNEL_API reader& operator>>(reader& in, MbName& name);
