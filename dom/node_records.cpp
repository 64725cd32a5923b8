#include "dom/node_records.h"

using namespace qvx::dom;

const char* const node_names[13] = {"No such node type",      "DOM_ELEMENT_NODE",
                                    "DOM_ATTRIBUTE_NODE",     "DOM_TEXT_NODE",
                                    "DOM_CDATA_SECTION_NODE", "DOM_ENTITY_REFERENCE_NODE",
                                    "DOM_ENTITY_NODE",        "DOM_PROCESSING_INSTRUCTION_NODE",
                                    "DOM_COMMENT_NODE",       "DOM_DOCUMENT_NODE",
                                    "DOM_DOCUMENT_TYPE_NODE", "DOM_DOCUMENT_FRAGMENT_NODE",
                                    "DOM_NOTATION_NODE"};

DOM_DocumentFields& DOM_DocumentPart(DOM_Document* document) {
  return *static_cast<DocumentNode*>(document);
}

DOM_AttributeFields& DOM_AttributePart(DOM_Attr* attribute) {
  return *static_cast<AttributeNode*>(attribute);
}

DOM_CharacterDataFields& DOM_CharacterDataPart(DOM_CharacterData* node) {
  return *static_cast<CharacterDataNode*>(node);
}

DOM_ExternalIdFields& DOM_ExternalIdPart(DOM_Node* entity_or_notation) {
  if (entity_or_notation->nodeType == DOM_NOTATION_NODE) {
    return *static_cast<NotationNode*>(entity_or_notation);
  }
  return *static_cast<EntityNode*>(entity_or_notation);
}

DOM_DocumentTypeFields& DOM_DocumentTypePart(DOM_DocumentType* doctype) {
  return *static_cast<DocumentTypeNode*>(doctype);
}

const DOM_DocumentFields& DOM_DocumentPart(const DOM_Document* document) {
  return *static_cast<const DocumentNode*>(document);
}

const DOM_ExternalIdFields& DOM_ExternalIdPart(const DOM_Node* entity_or_notation) {
  return DOM_ExternalIdPart(const_cast<DOM_Node*>(entity_or_notation));
}

const DOM_DocumentTypeFields& DOM_DocumentTypePart(const DOM_DocumentType* doctype) {
  return *static_cast<const DocumentTypeNode*>(doctype);
}
