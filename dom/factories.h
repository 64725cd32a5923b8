// Making nodes, for other operations than the factories. Internal to the document model.
#ifndef QVX_DOM_FACTORIES_H
#define QVX_DOM_FACTORIES_H

#include "dom/dom.h"
#include "dom/node_memory.h"
#include "support/trace.h"

namespace qvx::dom {

/// Records that memory ran out for a node, as Document_createNode does, with a line of the factory.
void ReportUnmade(const char* factory);

/// Makes `copy` a private copy of a text that may be missing; false, recorded, when it cannot.
bool CopyTextIfAny(const TraceSite& site, const DOM_String* text, DOM_String*& copy);

/// Returns a new attribute of that name and value in `document`, which is not null. Reports, when
/// memory ran out, as Document_createNode does.
DOM_Attr* MakeAttribute(DOM_Document* document, MeasuredText name, MeasuredText value);

}  // namespace qvx::dom

#endif
