#pragma once

#include "host/model/Document.h"

namespace host {

/// Gives every meta object a fresh key, in the product data and in both link sets: the store renews the keys that its
/// links hold, the product data all others. Every link, group, value and position is as before under the new keys.
void RenewKeys(Document& document);

}  // namespace host
