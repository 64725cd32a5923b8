// What the factories share with the operations that make nodes themselves. Internal to the document
// model.
#ifndef QVX_DOM_FACTORIES_H
#define QVX_DOM_FACTORIES_H

#include <cstddef>

#include "dom/dom.h"

namespace qvx::dom {

/// The bytes of a copy of `text`, its NUL included; 0 with errno EINVAL (null) or EILSEQ
/// (undecodable) when it cannot be copied. Leaves the error cell alone.
size_t BytesToCopy(const DOM_String* text);

/// A text with its BytesToCopy.
struct MeasuredText {
  const DOM_String* text;
  size_t bytes;
};

/// A new attribute of that name and value in `document`, which is not null. Reports, when memory
/// ran out, as Document_createNode does.
DOM_Attr* MakeAttribute(DOM_Document* document, const MeasuredText& name,
                        const MeasuredText& value);

}  // namespace qvx::dom

#endif
