#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <q3DCore/GeometryObject3D.h>
#include <qKernel/ComponentPath.h>
#include <qProdData/SimplePropVal.h>
#include <qProdData/UniqueMetaObjectKey.h>

namespace host {

/// UTF-8 to wide and back. Bytes or code points that are no text are left out.
std::wstring ToWide(std::string_view utf8);
std::string ToUtf8(std::wstring_view wide);

/// True when the bytes are valid UTF-8.
bool IsUtf8(std::string_view bytes);

/// Any bytes as one line of text: control characters, backslashes and bytes that are not part of UTF-8 text as \xNN.
std::string BytesText(std::string_view bytes);
/// The other way; throws HostError where a backslash is not followed by xNN.
std::string BytesOfText(std::string_view text);

inline std::string KeyText(const UniqueMetaObjectKey& key) {
  return BytesText(key.Bytes());
}

/// Text as one line that a terminal shows as it is: control characters, line breaks among them, and bytes that are not
/// UTF-8 as \xNN; everything else, backslashes included, as it stands.
std::string OneLine(std::string_view text);

/// A component path as people write it: the outermost component first, "3/1/2"; "/" for the document's own
/// component. Geometry objects store their paths the other way round.
std::string PathText(const MbPath& path);
/// The other way. Throws HostError for anything else.
ComponentPath ParsePath(std::string_view text);

/// 0x17000002.
std::string VersionText(std::uint32_t version);
/// Hexadecimal with 0x, or decimal. Throws HostError naming `option` where it is no 32-bit number.
std::uint32_t ParseVersion(std::string_view text, std::string_view option);

/// "assembly", "part", "solid", "open shell", or the number.
std::string ObjectTypeText(std::uint32_t objectType);

/// The value as text; empty for an empty one. Times in ISO 8601, UTC, or, outside the years 1 to 9999, as seconds since
/// 1970.
std::string ValueText(const SimplePropVal& value);

}  // namespace host
