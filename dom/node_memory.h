// The memory of a node and of its texts. Internal to the document model.
//
// The first copies of a node's name and value stand in the room behind its record, in the same
// block. A text that is too long for the room has a block of its own. Only that one is freed; its
// place tells the two apart.
#ifndef QVX_DOM_NODE_MEMORY_H
#define QVX_DOM_NODE_MEMORY_H

#include <cstddef>
#include <cstdlib>
#include <functional>

#include "dom/node_records.h"
#include "support/measured_text.h"

namespace qvx::dom {

using qvx::CopyOf;
using qvx::MeasuredText;
using qvx::MeasureText;

// These return null with errno set when memory ran out, and record nothing.

/// Makes a zero-filled node of `node_type` in `document` with its child list, and without maps.
DOM_Node* NewNode(DOM_Document* document, uint16_t node_type);

/// Makes an element or document type with its maps, or an entity reference, with a copy of its
/// name.
DOM_Node* NewNamedNode(DOM_Document* document, uint16_t node_type, MeasuredText name);

/// Makes a processing instruction with copies of its target and data.
DOM_ProcessingInstruction* NewInstruction(DOM_Document* document, MeasuredText target,
                                          MeasuredText data);

/// Makes a text, CDATA section or comment with a copy of its data.
DOM_CharacterData* NewCharacterData(DOM_Document* document, uint16_t node_type, MeasuredText data);

/// Makes an attribute.
DOM_Attr* NewAttribute(DOM_Document* document, MeasuredText name, MeasuredText value);

/// Gives back the block of `node`.
void FreeRecord(DOM_Node* node);

/// Returns the room for texts behind the record of a node that NewNode made.
inline char* TextRoom(DOM_Node* node) {
  return reinterpret_cast<char*>(node) + kRecordSizes[node->nodeType];
}

/// Returns whether a name or value of `node` (may be null) stands in its room.
inline bool StandsInRoom(DOM_Node* node, const char* text) {
  const char* const room = TextRoom(node);
  const char* const end = room + static_cast<const NodeRecord*>(node)->text_room;
  return !std::less<>()(text, room) && std::less<>()(text, end);
}

/// Frees a name or value of `node`, unless it stands in the node's room or is null.
inline void FreeText(DOM_Node* node, const char* text) {
  if (text != nullptr && !StandsInRoom(node, text)) {
    std::free(const_cast<char*>(text));
  }
}

/// Makes a copy of `value` the value of `node`. The copy takes the place of the old one if it fits.
/// Returns false with errno set, and nothing changed, when memory ran out.
bool ReplaceValue(DOM_Node* node, MeasuredText value);

/// Makes `value` (from malloc, handed over) the value of `node`, and `length` the length of
/// character data. Returns the old value, which the caller releases with FreeText.
DOM_String* ExchangeValue(DOM_Node* node, DOM_String* value, uint32_t length);

}  // namespace qvx::dom

#endif
