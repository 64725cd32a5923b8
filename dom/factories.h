// What the factories share with the operations that make nodes themselves. Internal to the document
// model.
#ifndef QVX_DOM_FACTORIES_H
#define QVX_DOM_FACTORIES_H

#include "dom/dom.h"
#include "dom/node_memory.h"
#include "support/trace.h"

namespace qvx::dom {

/// A new node of that type in `document` (null for a document type only) with a copy of `name` as
/// its name. Null, recorded with a line of `site`, when it cannot be made.
DOM_Node* CreateNamed(const TraceSite& site, DOM_Document* document, uint16_t node_type,
                      const DOM_String* name);

/// Records that memory ran out for a node, as Document_createNode does.
void ReportUnallocated();

/// The same, with a line of the factory at `site`.
void ReportUnmade(const TraceSite& site);

/// A new attribute of that name and value in `document`, which is not null. Reports, when memory
/// ran out, as Document_createNode does.
DOM_Attr* MakeAttribute(DOM_Document* document, const MeasuredText& name,
                        const MeasuredText& value);

}  // namespace qvx::dom

#endif
