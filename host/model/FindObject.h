#pragma once

#include <optional>
#include <string>

#include "host/model/Document.h"

namespace host {

/// Finding what a person names. All throw DocumentError where there is none, and, with the candidates, where
/// there are several.

/// A line of a bill, by its key or by the marking, the name or both of its product; among the lines of one assembly
/// where `assembly` is given.
UniqueMetaObjectKey FindLine(const Document& document, const std::string& text,
                             const std::optional<UniqueMetaObjectKey>& assembly);

/// An occurrence by its key or its component path, a line as FindLine does.
UniqueMetaObjectKey FindOccurrenceOrLine(const Document& document, const std::string& text);

/// An occurrence that the root holds directly, by key, component path, or marking or name where only one has it.
UniqueMetaObjectKey FindRootOccurrence(const Document& document, const std::string& text);

/// The component with this path, which must exist; null for the document's own, "/". Throws HostError for a text that
/// is no path.
const Component* FindComponent(const Document& document, const std::string& path);

/// An embodiment of the root by key, name or number; the base embodiment where `text` is empty.
UniqueMetaObjectKey FindEmbodiment(const Document& document, const std::string& text);

}  // namespace host
