#include "dom/freeing.h"

#include <cstdlib>

#include "dom/attribute_maps.h"
#include "dom/common_parent.h"
#include "dom/document_references.h"
#include "dom/listeners.h"
#include "dom/node_memory.h"
#include "dom/node_records.h"
#include "dom/places.h"

namespace qvx::dom {
namespace {

void FreeOwnPart(DOM_Node* node) {
  switch (node->nodeType) {
    case DOM_ELEMENT_NODE:
      while (AttributeNode* const attribute = static_cast<ElementNode*>(node)->first_attribute) {
        UnlinkAttribute(attribute);
      }
      ForgetPlace(static_cast<AttributeMap*>(static_cast<ElementNode*>(node)));
      break;
    case DOM_ENTITY_NODE:
    case DOM_NOTATION_NODE:
      FreeText(node, DOM_ExternalIdPart(node).publicId);
      FreeText(node, DOM_ExternalIdPart(node).systemId);
      FreeText(node, DOM_ExternalIdPart(node).notationName);
      break;
    case DOM_DOCUMENT_NODE:
      ForgetDocument(node);
      ReleaseClone(node);
      FreeText(node, DOM_DocumentPart(node).version);
      FreeText(node, DOM_DocumentPart(node).encoding);
      break;
    case DOM_DOCUMENT_TYPE_NODE:
      UnnameClone(node);
      FreeText(node, DOM_DocumentTypePart(node).publicId);
      FreeText(node, DOM_DocumentTypePart(node).systemId);
      ForgetPlace(static_cast<EntityView*>(static_cast<DocumentTypeNode*>(node)));
      ForgetPlace(static_cast<NotationView*>(static_cast<DocumentTypeNode*>(node)));
      break;
    default:
      break;
  }
}

/// The other types share constants.
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

/// The nodes that a destruction still has to free, chained by nextSibling. A node that is taken
/// from the chain first puts its children and attributes there. So no freed node is visited, and no
/// stack is needed.
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
    if (node->nodeType != DOM_ELEMENT_NODE) {
      return;
    }
    while (AttributeNode* const attribute = static_cast<ElementNode*>(node)->first_attribute) {
      UnlinkAttribute(attribute);
      attribute->nextSibling = next_;
      next_ = attribute;
    }
  }

  DOM_Node* next_;
};

}  // namespace

void FreeNode(DOM_Node* node) {
  ForgetCommonParent(node);
  FreeListeners(node);
  FreeOwnPart(node);
  if (node->childNodes != nullptr) {
    ForgetPlace(RecordOf(node->childNodes));
  }
  if (HasPrivateName(node->nodeType)) {
    FreeText(node, node->nodeName);
  }
  FreeText(node, node->nodeValue);
  FreeRecord(node);
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
