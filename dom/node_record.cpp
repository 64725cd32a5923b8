#include "dom/node_record.h"

#include <malloc.h>

#include <cstdlib>
#include <cstring>
#include <functional>

#include "dom/list_entries.h"
#include "dom/mutation_events.h"
#include "dom/tree.h"

namespace qvx::dom {

DocumentNode* live_documents = nullptr;

namespace {

size_t RecordSize(uint16_t node_type) {
  switch (node_type) {
    case DOM_ELEMENT_NODE:
      return sizeof(ElementNode);
    case DOM_ATTRIBUTE_NODE:
      return sizeof(AttributeNode);
    case DOM_TEXT_NODE:
    case DOM_CDATA_SECTION_NODE:
    case DOM_COMMENT_NODE:
      return sizeof(CharacterDataNode);
    case DOM_ENTITY_NODE:
      return sizeof(EntityNode);
    case DOM_PROCESSING_INSTRUCTION_NODE:
      return sizeof(ProcessingInstructionNode);
    case DOM_DOCUMENT_NODE:
      return sizeof(DocumentNode);
    case DOM_DOCUMENT_TYPE_NODE:
      return sizeof(DocumentTypeNode);
    case DOM_ENTITY_REFERENCE_NODE:
    case DOM_DOCUMENT_FRAGMENT_NODE:
      return sizeof(ParentNode);
    case DOM_NOTATION_NODE:
      return sizeof(NotationNode);
    default:
      return sizeof(DOM_Node);
  }
}

bool IsParentType(uint16_t node_type) {
  switch (node_type) {
    case DOM_ELEMENT_NODE:
    case DOM_ATTRIBUTE_NODE:
    case DOM_ENTITY_REFERENCE_NODE:
    case DOM_ENTITY_NODE:
    case DOM_DOCUMENT_NODE:
    case DOM_DOCUMENT_TYPE_NODE:
    case DOM_DOCUMENT_FRAGMENT_NODE:
      return true;
    default:
      return false;
  }
}

void SetUpView(NamedNodeMap* view, DOM_Node* doctype, uint16_t filter) {
  view->ownerDocument = doctype->ownerDocument;
  view->underlying = doctype->childNodes;
  view->filter = filter;
}

void SetUpLists(DOM_Node* node) {
  if (!IsParentType(node->nodeType)) {
    return;
  }
  node->childNodes = static_cast<ParentNode*>(node);
  node->childNodes->ownerDocument = node->ownerDocument;
  node->childNodes->is_child_list = true;
  if (node->nodeType == DOM_ELEMENT_NODE) {
    node->attributes = &static_cast<ElementNode*>(node)->attribute_map;
    node->attributes->ownerDocument = node->ownerDocument;
    node->attributes->ownerElement = node;
  }
  if (node->nodeType == DOM_DOCUMENT_TYPE_NODE) {
    auto* doctype = static_cast<DocumentTypeNode*>(node);
    doctype->entities = &doctype->entity_view;
    doctype->notations = &doctype->notation_view;
    SetUpView(doctype->entities, node, DOM_ENTITY_NODE);
    SetUpView(doctype->notations, node, DOM_NOTATION_NODE);
  }
}

void AddToLive(DocumentNode* document) {
  document->next_live = live_documents;
  if (live_documents != nullptr) {
    live_documents->previous_live = document;
  }
  live_documents = document;
}

void RemoveFromLive(DocumentNode* document) {
  (document->previous_live != nullptr ? document->previous_live->next_live : live_documents) =
      document->next_live;
  if (document->next_live != nullptr) {
    document->next_live->previous_live = document->previous_live;
  }
}

void FreeView(NamedNodeMap* view) {
  if (view != nullptr && !IsPartOfNode(view)) {
    std::free(view);
  }
}

void FreeOwnPart(DOM_Node* node) {
  switch (node->nodeType) {
    case DOM_ELEMENT_NODE:
      ClearList(node->attributes);
      break;
    case DOM_ENTITY_NODE:
    case DOM_NOTATION_NODE:
      FreeText(node, DOM_ExternalIdPart(node).publicId);
      FreeText(node, DOM_ExternalIdPart(node).systemId);
      FreeText(node, DOM_ExternalIdPart(node).notationName);
      break;
    case DOM_DOCUMENT_NODE:
      RemoveFromLive(static_cast<DocumentNode*>(node));
      ReleaseClone(node);
      FreeText(node, DOM_DocumentPart(node).version);
      FreeText(node, DOM_DocumentPart(node).encoding);
      break;
    case DOM_DOCUMENT_TYPE_NODE:
      UnnameClone(node);
      FreeText(node, DOM_DocumentTypePart(node).publicId);
      FreeText(node, DOM_DocumentTypePart(node).systemId);
      FreeView(DOM_DocumentTypePart(node).entities);
      FreeView(DOM_DocumentTypePart(node).notations);
      break;
    default:
      break;
  }
}

// The other types share constants.
bool HasPrivateName(uint16_t node_type) {
  switch (node_type) {
    case DOM_ELEMENT_NODE:
    case DOM_ATTRIBUTE_NODE:
    case DOM_ENTITY_REFERENCE_NODE:
    case DOM_ENTITY_NODE:
    case DOM_PROCESSING_INSTRUCTION_NODE:
    case DOM_DOCUMENT_TYPE_NODE:
    case DOM_NOTATION_NODE:
      return true;
    default:
      return false;
  }
}

// The nodes that a destruction still has to free, chained by nextSibling: whoever is taken from it
// puts its children and attributes there first, so no freed node is visited and nothing needs a
// stack.
class DoomedNodes {
 public:
  explicit DoomedNodes(DOM_Node* first) : next_(first) {}

  DOM_Node* Take() {
    DOM_Node* const node = next_;
    if (node == nullptr) {
      return nullptr;
    }
    next_ = node->nextSibling;
    AddChildren(node);
    AddAttributes(node);
    return node;
  }

 private:
  void AddChildren(DOM_Node* node) {
    if (node->firstChild != nullptr) {
      node->lastChild->nextSibling = next_;
      next_ = node->firstChild;
    }
  }

  void AddAttributes(DOM_Node* node) {
    while (node->attributes != nullptr && node->attributes->first != nullptr) {
      DOM_Node* const attribute = NodeOf(node->attributes, node->attributes->first);
      DropEntry(node->attributes, node->attributes->first);
      attribute->nextSibling = next_;
      next_ = attribute;
    }
  }

  DOM_Node* next_;
};

// Clears the references of `document` to a node that is about to be freed.
void ForgetNode(DOM_Document* document, const DOM_Node* node) {
  DOM_DocumentFields& fields = DOM_DocumentPart(document);
  if (fields.documentElement == node) {
    fields.documentElement = nullptr;
  }
  if (fields.commonParent == node) {
    fields.commonParent = nullptr;
  }
  if (fields.doctype == node) {
    fields.doctype = nullptr;
  }
}

}  // namespace

DOM_Node* NewNode(DOM_Document* document, uint16_t node_type, size_t text_capacity) {
  const size_t record_size = RecordSize(node_type);
  auto* node = static_cast<DOM_Node*>(std::malloc(record_size + text_capacity));
  if (node == nullptr) {
    return nullptr;
  }
  std::memset(static_cast<void*>(node), 0, record_size);
  node->nodeType = node_type;
  node->ownerDocument = document;
  SetUpLists(node);
  if (node_type == DOM_DOCUMENT_NODE) {
    AddToLive(static_cast<DocumentNode*>(node));
  }
  return node;
}

char* TextRoom(DOM_Node* node) {
  return reinterpret_cast<char*>(node) + RecordSize(node->nodeType);
}

void FreeText(const DOM_Node* node, const char* text) {
  const char* const block = reinterpret_cast<const char*>(node);
  const char* const end = block + malloc_usable_size(const_cast<DOM_Node*>(node));
  if (std::less_equal<>()(block, text) && std::less<>()(text, end)) {
    return;
  }
  std::free(const_cast<char*>(text));
}

DOM_String* ExchangeValue(DOM_Node* node, DOM_String* value, uint32_t length) {
  DOM_String* const previous = node->nodeValue;
  node->nodeValue = value;
  if (IsCharacterData(node)) {
    DOM_CharacterDataPart(node).length = length;
  }
  return previous;
}

void FreeListeners(DOM_Node* node) {
  for (uint32_t i = 0; i < node->listenerCount; ++i) {
    if (node->listeners[i] != nullptr) {
      std::free(node->listeners[i]->type);
      std::free(node->listeners[i]);
      --registered_listeners;
    }
  }
  std::free(node->listeners);
}

void FreeNode(DOM_Node* node) {
  ForgetCommonParent(node);
  FreeListeners(node);
  FreeOwnPart(node);
  if (HasPrivateName(node->nodeType)) {
    FreeText(node, node->nodeName);
  }
  FreeText(node, node->nodeValue);
  std::free(node);
}

void FreeNodes(DOM_Node* first, DOM_Document* survivor) {
  DoomedNodes doomed(first);
  while (DOM_Node* const next = doomed.Take()) {
    if (survivor != nullptr) {
      ForgetNode(survivor, next);
    }
    FreeNode(next);
  }
}

}  // namespace qvx::dom

DOM_DocumentFields& DOM_DocumentPart(DOM_Document* document) {
  return *static_cast<qvx::dom::DocumentNode*>(document);
}

DOM_AttributeFields& DOM_AttributePart(DOM_Attr* attribute) {
  return *static_cast<qvx::dom::AttributeNode*>(attribute);
}

DOM_CharacterDataFields& DOM_CharacterDataPart(DOM_CharacterData* node) {
  return *static_cast<qvx::dom::CharacterDataNode*>(node);
}

DOM_ExternalIdFields& DOM_ExternalIdPart(DOM_Node* entity_or_notation) {
  if (entity_or_notation->nodeType == DOM_NOTATION_NODE) {
    return *static_cast<qvx::dom::NotationNode*>(entity_or_notation);
  }
  return *static_cast<qvx::dom::EntityNode*>(entity_or_notation);
}

DOM_DocumentTypeFields& DOM_DocumentTypePart(DOM_DocumentType* doctype) {
  return *static_cast<qvx::dom::DocumentTypeNode*>(doctype);
}
