// The handlers that Expat calls. Internal to the document model.
#ifndef QVX_DOM_PARSE_HANDLERS_H
#define QVX_DOM_PARSE_HANDLERS_H

#include "dom/parse_context.h"

namespace qvx::dom {

/// Sets the handlers of the context's parser and hands them the context.
void InstallHandlers(DOM_ParseContext* context);

}  // namespace qvx::dom

#endif
