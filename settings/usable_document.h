// The settings document of a run: the one that is there, or the default in its place.
//
// A document that is not well-formed is replaced by the default. Somebody may write another one at
// any moment, so only the version that was read is replaced (os/file_exchange.h). One that somebody
// has open for writing, perhaps half-way through it, and one that changes is loaded again, for a
// second at most. One that cannot be read is not replaced.
#ifndef QVX_SETTINGS_USABLE_DOCUMENT_H
#define QVX_SETTINGS_USABLE_DOCUMENT_H

#include "dom/handles.h"

namespace qvx {

/// Loads the settings document. A record says when the default took its place, or could not. The
/// document is empty when the file cannot be opened. Returns null when neither the file nor a
/// default can be loaded. Throws std::bad_alloc.
DocumentHolder LoadOrReplaceSettings();

}  // namespace qvx

#endif
