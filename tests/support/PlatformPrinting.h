#pragma once

#include <cctype>
#include <cstdio>
#include <ostream>
#include <string>

#include <q3DCore/GeometryObject3D.h>
#include <qKernel/ComponentPath.h>
#include <qKernel/MbName.h>
#include <qKernel/MbPath.h>
#include <qProdData/UniqueMetaObjectKey.h>

/// How failed tests show the platform's values: bytes quoted, what cannot be printed as \xNN.

inline void PrintBytes(std::string_view bytes, std::ostream* out) {
  *out << '"';
  for (const char byte : bytes) {
    const auto code = static_cast<unsigned char>(byte);
    if (code < 0x80 && std::isprint(code) != 0) {
      *out << byte;
    } else {
      char escaped[5];
      std::snprintf(escaped, sizeof(escaped), "\\x%02X", static_cast<unsigned int>(code));
      *out << escaped;
    }
  }
  *out << '"';
}

inline void PrintTo(const UniqueMetaObjectKey& key, std::ostream* out) {
  PrintBytes(key.Bytes(), out);
}

inline void PrintTo(const MbName& name, std::ostream* out) {
  PrintBytes(name.Bytes(), out);
}

inline void PrintTo(const MbPath& path, std::ostream* out) {
  *out << '[';
  for (std::size_t i = 0; i < path.Count(); ++i) {
    *out << (i == 0 ? "" : ", ") << path[i];
  }
  *out << ']';
}

inline void PrintTo(const ComponentPath& path, std::ostream* out) {
  PrintTo(static_cast<const MbPath&>(path), out);
}

inline void PrintTo(const GeometryObject3D& geometry, std::ostream* out) {
  *out << "type " << geometry.objectType << ' ';
  PrintTo(geometry.componentPath, out);
  PrintTo(geometry.objectName, out);
  if (!geometry.secondPath.IsEmpty()) {
    *out << " second ";
    PrintTo(geometry.secondPath, out);
  }
}
