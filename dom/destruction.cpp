#include "dom/destruction.h"

#include "dom/attribute_maps.h"
#include "dom/children.h"
#include "dom/common_parent.h"
#include "dom/document_references.h"
#include "dom/failure.h"
#include "dom/node_memory.h"
#include "dom/places.h"
#include "dom/walks.h"

namespace qvx::dom {

namespace {

// Freeing nodes that are in no tree.

void FreeDocumentType(DocumentTypeNode* doctype) {
  UnnameClone(doctype);
  ForgetPlace(&doctype->entity_view);
  ForgetPlace(&doctype->notation_view);
  FreeText(doctype, doctype->publicId);
  FreeText(doctype, doctype->systemId);
}

void FreeOwnPart(DOM_Node* node) {
  switch (node->nodeType) {
    case DOM_ELEMENT_NODE:
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
      FreeDocumentType(static_cast<DocumentTypeNode*>(node));
      break;
    default:
      break;
  }
}

/// Nodes of the other types share constants.
bool HasPrivateName(const DOM_Node* node) {
  return !IsCharacterData(node) && !IsDocument(node) &&
         node->nodeType != DOM_DOCUMENT_FRAGMENT_NODE;
}

/// Frees the record of `node` and the texts and listeners that it owns.
void FreeNode(DOM_Node* node) {
  ForgetCommonParent(node);
  FreeListeners(node);
  FreeOwnPart(node);
  if (node->childNodes != nullptr) {
    ForgetPlace(RecordOf(node->childNodes));
  }
  if (HasPrivateName(node)) {
    FreeText(node, node->nodeName);
  }
  FreeText(node, node->nodeValue);
  FreeRecord(node);
}

/// Puts the children and attributes of `node` in front of `rest`, in a chain by nextSibling.
DOM_Node* WithOffspring(DOM_Node* node, DOM_Node* rest) {
  if (node->firstChild != nullptr) {
    node->lastChild->nextSibling = rest;
    rest = node->firstChild;
  }
  if (node->nodeType != DOM_ELEMENT_NODE) {
    return rest;
  }
  while (AttributeNode* const attribute = static_cast<ElementNode*>(node)->first_attribute) {
    UnlinkAttribute(attribute);
    attribute->nextSibling = rest;
    rest = attribute;
  }
  return rest;
}

/// Frees the nodes of a sibling chain (`next` may be null) with all that they own. A node that is
/// taken from the chain first puts what it owns there, so no freed node is visited, and nothing
/// recurses. `survivor` is the document that lives on, or null; it no longer names any of them.
void FreeNodes(DOM_Node* next, DOM_Document* survivor) {
  while (next != nullptr) {
    DOM_Node* const node = next;
    next = WithOffspring(node, node->nextSibling);
    if (survivor != nullptr) {
      ForgetNode(survivor, node);
    }
    FreeNode(node);
  }
}

// Waiting.

/// The node that `node` is a child or an attribute of, or null.
const DOM_Node* HolderOf(const DOM_Node* node) {
  const bool is_attribute = node->nodeType == DOM_ATTRIBUTE_NODE;
  const DOM_Node* const element =
      is_attribute ? static_cast<const AttributeNode*>(node)->holder : nullptr;
  return element != nullptr ? element : node->parentNode;
}

void Detach(DOM_Node* node) {
  if (node->nodeType == DOM_ATTRIBUTE_NODE &&
      static_cast<AttributeNode*>(node)->holder != nullptr) {
    UnlinkAttribute(static_cast<AttributeNode*>(node));
  }
  if (node->parentNode != nullptr) {
    UnlinkChild(node);
  }
}

void LetWait(DOM_Node* node) {
  DOM_Node* const parent = &Model().waiting_nodes;
  if (node != parent && node->parentNode != parent) {
    Detach(node);
    LinkChild(parent, node, nullptr);
  }
}

void FreeWaitingNodes() {
  ParentNode& waiting_nodes = Model().waiting_nodes;
  DOM_Node* const first = waiting_nodes.firstChild;
  if (first == nullptr && !HasListeners(&waiting_nodes)) {
    return;
  }
  ForgetCommonParent(&waiting_nodes);
  FreeListeners(&waiting_nodes);
  ForgetPlace(&waiting_nodes);
  waiting_nodes = {};
  FreeNodes(first, nullptr);
}

}  // namespace

void Operation::Begin() {
  if (Model().operations_under_way++ == 0) {
    ParentNode& waiting_nodes = Model().waiting_nodes;
    waiting_nodes.nodeName = "#destroyed";
    waiting_nodes.nodeType = DOM_DOCUMENT_FRAGMENT_NODE;
    waiting_nodes.childNodes = &waiting_nodes;
  }
}

void Operation::End() {
  if (--Model().operations_under_way == 0) {
    FreeWaitingNodes();
  }
}

bool IsDoomed(const DOM_Node* node) {
  const DOM_Node* const parent = &Model().waiting_nodes;
  if (parent->firstChild == nullptr) {
    return false;
  }
  // An attribute may hold, by way of an entity reference, the element that it belongs to. The way
  // up is a ring then, in which a walk at half the pace is caught up with.
  const DOM_Node* slow = node;
  for (bool moves = false; node != nullptr && node != parent; moves = !moves) {
    node = HolderOf(node);
    slow = moves ? HolderOf(slow) : slow;
    if (node == slow) {
      return false;
    }
  }
  return node != nullptr;
}

void TakeBack(DOM_Node* node) {
  if (node->parentNode == &Model().waiting_nodes) {
    UnlinkChild(node);
  }
}

DOM_Node* PlacedAmidHandlers(const TraceSite& site, DOM_Node* node) {
  if (node == nullptr || !IsDoomed(node)) {
    return node;
  }
  Detach(node);
  Fail(site, DOM_NOT_FOUND_ERR);
  return nullptr;
}

DOM_Node* Released(DOM_Node* node) {
  if (node != nullptr && IsDoomed(node)) {
    Detach(node);
  }
  return node;
}

}  // namespace qvx::dom

using namespace qvx::dom;

void DOM_Document_destroyNode(DOM_Document* document, DOM_Node* node) {
  if (node == nullptr) {
    return;
  }
  DOM_Document* const survivor = document != node && IsDocument(document) ? document : nullptr;
  if (Model().operations_under_way == 0) {
    node->nextSibling = nullptr;
    FreeNodes(node, survivor);
    return;
  }
  LetWait(node);
  if (survivor != nullptr && IsWithin(node, DOM_DocumentPart(survivor).commonParent)) {
    DOM_DocumentPart(survivor).commonParent = nullptr;
  }
}
