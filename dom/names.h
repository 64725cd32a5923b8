// The comparison of names. Internal to the document model.
#ifndef QVX_DOM_NAMES_H
#define QVX_DOM_NAMES_H

#include "dom/dom.h"

namespace qvx::dom {

/// Returns whether two names are equal in the order of the locale.
bool NamesEqual(const DOM_String* one, const DOM_String* other);

/// Returns whether `node` has that name.
inline bool IsNamed(const DOM_Node* node, const DOM_String* name) {
  return node->nodeName != nullptr && NamesEqual(node->nodeName, name);
}

/// Returns whether names are equal only if their bytes are, which holds in the "C" locale.
bool NamesCompareByBytes();

}  // namespace qvx::dom

#endif
