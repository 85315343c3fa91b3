#pragma once

#include <filesystem>
#include <functional>
#include <memory>

#include "host/ProgressCallback.h"
#include "host/model/Document.h"

namespace host {

/// Documents are SQLite files: meta objects, properties, groups, components and bodies as tables, streams as bytes
/// with the versions that they were written under (docs/document_format.md).

/// True when the file begins like an SQLite file.
bool IsDatabaseFile(const std::filesystem::path& path);

/// Reads a document whole. Throws HostError for anything that is no readable document of this format. Never null.
/// `progress` is told of "opening".
std::unique_ptr<Document> LoadDocument(const std::filesystem::path& path, const ProgressCallback& progress = {});

/// A document that is read, changed and saved. In its place it is locked for writing from the reading to the saving, so
/// that of two programs one waits for the other and then is refused, and no change is lost.
class DocumentEdit {
 public:
  /// To be saved in its place: reads the document under the lock. Throws as LoadDocument does, and where the document
  /// is read-only or locked.
  explicit DocumentEdit(const std::filesystem::path& path, const ProgressCallback& progress = {});
  /// To be saved as `output`: in its place where that is the document itself, under whatever name, else as SaveDocument
  /// does.
  DocumentEdit(const std::filesystem::path& path, const std::filesystem::path& output,
               const ProgressCallback& progress = {});
  DocumentEdit(const DocumentEdit&) = delete;
  DocumentEdit& operator=(const DocumentEdit&) = delete;
  /// Without a Save the file is as it was.
  ~DocumentEdit();

  Document& Get() noexcept { return *document; }
  /// Writes the document, in its place as one transaction, and gives up the lock. At most once. `report` and
  /// `progress` as for SaveDocument; where something throws the file is as it was.
  void Save(
      const std::function<void()>& report = [] {}, const ProgressCallback& progress = {});

 private:
  class Source;
  // Where to save.
  std::filesystem::path file;
  // The locked document; null where it is saved to another place.
  std::unique_ptr<Source> source;
  std::unique_ptr<Document> document;
};

/// Reads the links section of a document as it stands there, damaged or not. Throws HostError where the file is no
/// document or has no links section.
Stream LoadLinksSection(const std::filesystem::path& path);

/// Throws HostError where SaveDocument would not begin, so that a wrong place is told before the work and not after it.
/// Leaves nothing there.
void RequireOutputPlace(const std::filesystem::path& path);

/// Writes a document as a new file that appears whole or not at all. A document that stands there already is replaced;
/// anything else that does, and a document that is read-only or that another program has locked, is left alone and
/// HostError is thrown.
///
/// `report` is called when all is written and only the last step is missing; what it throws passes, and leaves
/// everything as it was. So a program that cannot tell its result leaves none.
/// `progress` is told of "saving", and of nothing from `report` on.
void SaveDocument(
    const Document& document, const std::filesystem::path& path, const std::function<void()>& report = [] {},
    const ProgressCallback& progress = {});

}  // namespace host
