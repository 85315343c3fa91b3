#include <qKernel/MbName.h>

#include <qSys/ByteStrings.h>

writer& operator<<(writer& out, const MbName& name) {
  WriteByteString(out, name.Bytes());
  return out;
}

reader& operator>>(reader& in, MbName& name) {
  ReadByteString(in, name.bytes);
  return in;
}
