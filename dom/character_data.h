// Character data for the operations of the document model themselves.
#ifndef QVX_DOM_CHARACTER_DATA_H
#define QVX_DOM_CHARACTER_DATA_H

#include <string_view>

#include "dom/dom.h"

namespace qvx::dom {

/// Returns the data of `node`, borrowed; empty when it has none.
std::string_view DataOf(const DOM_CharacterData* node);

/// DOM_CharacterData_insertData for use within an Operation. Returns false, recorded, when nothing
/// was inserted; a null text is no failure.
bool InsertData(DOM_CharacterData* node, int32_t offset, const DOM_String* text);

}  // namespace qvx::dom

#endif
