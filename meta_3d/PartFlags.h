#pragma once

#include <cstdint>

#include <qProdData/PartHandlers.h>

/// The attributes of a group part that decide on its position. An invalid handler gives its class's defaults; a
/// calculator that answers goes before what is stored, but for the exclude flag, for which it is never consulted. A
/// product part without attributes raises std::bad_variant_access.
bool ReadIncludeFlag(const GroupPartHandler& handler);
bool ReadExcludeFlag(const GroupPartHandler& handler);
std::uint32_t ReadEmbodimentBoundFlag(const GroupPartHandler& handler);
