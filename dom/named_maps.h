// Named-node maps for the operations of the document model themselves.
#ifndef QVX_DOM_NAMED_MAPS_H
#define QVX_DOM_NAMED_MAPS_H

#include "dom/dom.h"

namespace qvx::dom {

/// DOM_NamedNodeMap_setNamedItem, which tells whether the node is in the map. `displaced` gets the
/// node that made way, which is `node` itself when it stood there already, or null.
bool PutIntoMap(NamedNodeMap* map, DOM_Node* node, DOM_Node*& displaced);

/// Takes `node` itself, not one of its name, out of a map. Returns false when it is not there.
bool TakeOutOfMap(NamedNodeMap* map, DOM_Node* node);

}  // namespace qvx::dom

#endif
