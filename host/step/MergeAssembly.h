#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "host/ProgressCallback.h"
#include "host/model/Document.h"
#include "host/step/StepAssembly.h"

namespace host {

/// What a merge did.
struct MergeReport {
  /// Of the document afterwards.
  std::size_t occurrences = 0;
  std::size_t products = 0;
  std::size_t bodies = 0;
  /// Occurrences that were there before: in their place, in another assembly, gone; and those that are new.
  std::size_t kept = 0;
  std::size_t moved = 0;
  std::size_t removed = 0;
  std::size_t added = 0;
  /// One line for each sub-assembly or part that was added, moved or removed as a whole: what, where, its name.
  std::vector<std::string> changes;
};

/// Takes a product structure into a document, which is empty or holds an earlier revision of it.
///
/// Each product becomes a product with its marking and name; each assembly has its base embodiment and, for every
/// product used in it, a group object; each use, counted along every way down from the root, is an occurrence with its
/// component; each body of a used product is a body of that component. A single root is the document itself; several
/// stand side by side in an assembly that is made for them and bears `name`. Nothing stands for the document's own
/// component, so a part without any assembly is a document with its bodies and no occurrence.
///
/// What is there already is recognised and keeps its keys, paths, names and numbers: products by marking and name;
/// occurrences within their holder by the file's identifier, then by place, then by order, always of the same product;
/// what then is left, anywhere in the tree, by identifier, by place, and where as many of a product are left as are
/// new. Bodies are recognised by the file's identifier, then by kind and order; one of another kind takes over the
/// links under a new name. What moved to another assembly gets a fresh path and takes its links along. What is gone
/// loses its links, and its line, when it was the last in it, its number. New occurrences belong to all embodiments of
/// their assembly and are stock where their line is; new lines get the next number. What is damaged in the document is
/// not recognised and goes.
///
/// Links: in the unique set each occurrence to its component; in the validated set the position links that the bodies
/// give, less those that are not valid for the base embodiment.
///
/// Throws DocumentError for what ExcessOf finds too much, or more components in one assembly than can be numbered; the
/// document is then in no useful state. O(n log n), and O(links) for each sub-assembly that moved as a whole.
/// `progress` is told of "merging".
MergeReport MergeAssembly(Document& document, const StepAssembly& assembly, const std::string& name,
                          const ProgressCallback& progress = {});

}  // namespace host
