#pragma once

#include "host/model/Document.h"

namespace host {

/// Gives every meta object a fresh key, in the product data, the components and both link sets: the store renews the
/// keys that its links hold, the product data all others, those of objects that are gone included. Every link, group,
/// value and position is as before under the new keys. The null key, which names nothing, stays.
void RenewKeys(Document& document);

}  // namespace host
