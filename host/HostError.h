#pragma once

#include <filesystem>
#include <stdexcept>

#include <fmt/format.h>

namespace host {

/// Bad usage or input. what() is one line that names the file, what is wrong, where, and the mend; the program ends
/// with status 2 and leaves no output behind.
class HostError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The same about something within a document, told by code that does not know the document's file: what() lacks the
/// file's name.
class DocumentError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Runs `work` on a document and makes a DocumentError a HostError that names the document's file.
template <class Work>
auto WithFileName(const std::filesystem::path& file, Work work) {
  try {
    return work();
  } catch (const DocumentError& error) {
    throw HostError(fmt::format("{}: {}", file.string(), error.what()));
  }
}

}  // namespace host
