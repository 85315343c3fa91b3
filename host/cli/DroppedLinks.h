#pragma once

#include <filesystem>

#include <fmt/format.h>

#include "host/cli/Output.h"
#include "host/model/Document.h"

namespace host {

/// Warns where the links of the document are fewer than the records of its links section.
inline void WarnOfDroppedLinks(const std::filesystem::path& file, const Document& document) {
  if (document.droppedLinks != 0) {
    PrintWarning(fmt::format("{}: {} records of the links section repeat or contradict others and were left out",
                             file.string(), document.droppedLinks));
  }
}

}  // namespace host
