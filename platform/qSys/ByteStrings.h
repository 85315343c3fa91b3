#pragma once

#include <string_view>

#include <qSys/Export.h>

class ByteString;
class reader;
class writer;

/// The stream form of keys and names, the same in every version: the length in 4 bytes, least significant first,
/// then the bytes. A string too long for the length field records io::state::countOverflow and is written empty.
QSYS_API void WriteByteString(writer& out, std::string_view bytes);

/// Reads what WriteByteString wrote. Where the stream runs short, `bytes` stays as it was. Memory grows with the
/// bytes that really come, never with what the length field claims.
QSYS_API void ReadByteString(reader& in, ByteString& bytes);
