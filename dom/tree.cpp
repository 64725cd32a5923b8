#include "dom/tree.h"

#include <initializer_list>

#include "dom/list_entries.h"
#include "dom/mutation_events.h"
#include "dom/node_record.h"

namespace qvx::dom {
namespace {

bool TypesFit(const DOM_Node* parent, const DOM_Node* child) {
  constexpr uint16_t kTypes = 12;
  if (parent->nodeType == 0 || parent->nodeType > kTypes || child->nodeType == 0 ||
      child->nodeType > kTypes) {
    return false;
  }
  return (child_matrix[parent->nodeType - 1] >> (child->nodeType - 1) & 1) != 0;
}

bool HasOtherDoctype(const DOM_Node* document, const DOM_Node* doctype, const DOM_Node* replaced) {
  for (const DOM_Node* child = document->firstChild; child != nullptr; child = child->nextSibling) {
    if (child->nodeType == DOM_DOCUMENT_TYPE_NODE && child != doctype && child != replaced) {
      return true;
    }
  }
  return false;
}

bool DocumentHasRoom(const DOM_Node* document, const DOM_Node* child, const DOM_Node* replaced) {
  if (child->nodeType == DOM_ELEMENT_NODE) {
    return static_cast<const DocumentNode*>(document)->documentElement == nullptr;
  }
  return child->nodeType != DOM_DOCUMENT_TYPE_NODE || !HasOtherDoctype(document, child, replaced);
}

bool IsSameOrAncestor(const DOM_Node* candidate, const DOM_Node* node) {
  // A node without children is nobody's ancestor, which spares fresh nodes the walk up to the root.
  if (candidate->firstChild == nullptr) {
    return candidate == node;
  }
  for (; node != nullptr; node = node->parentNode) {
    if (node == candidate) {
      return true;
    }
  }
  return false;
}

enum class Change { kCame, kWent };

void KeepViewInStep(NamedNodeMap* view, const DOM_Node* declaration, Change change) {
  if (view == nullptr) {
    return;
  }
  view->cursor = nullptr;
  if (view->filter != declaration->nodeType) {
    return;
  }
  if (change == Change::kCame) {
    ++view->length;
  } else if (view->length > 0) {
    --view->length;
  }
}

void KeepViewsInStep(DOM_Node* doctype, const DOM_Node* declaration, Change change) {
  KeepViewInStep(DOM_DocumentTypePart(doctype).entities, declaration, change);
  KeepViewInStep(DOM_DocumentTypePart(doctype).notations, declaration, change);
}

// A clone that was named until now is so no longer.
void NameDoctype(DOM_Document* document, DOM_DocumentType* doctype) {
  DOM_Node*& named = DOM_DocumentPart(document).doctype;
  if (named != nullptr) {
    static_cast<DocumentTypeNode*>(named)->namer = nullptr;
  }
  named = doctype;
}

void NoteChildOfDocument(DOM_Node* document, DOM_Node* child) {
  if (child->nodeType == DOM_ELEMENT_NODE) {
    DOM_DocumentPart(document).documentElement = child;
  }
  if (child->nodeType == DOM_DOCUMENT_TYPE_NODE) {
    UnnameClone(child);
    NameDoctype(document, child);
    SetDoctypeOwner(child, document);
  }
}

void ForgetChildOfDocument(DOM_Node* document, DOM_Node* child) {
  if (child->nodeType == DOM_ELEMENT_NODE) {
    DOM_DocumentPart(document).documentElement = nullptr;
  }
  if (child->nodeType == DOM_DOCUMENT_TYPE_NODE) {
    NameDoctype(document, nullptr);
    SetDoctypeOwner(child, nullptr);
  }
}

void SetListEnds(DOM_Node* parent) {
  parent->childNodes->first = parent->firstChild;
  parent->childNodes->last = parent->lastChild;
}

}  // namespace

bool MayHold(const DOM_Node* parent, const DOM_Node* child, const DOM_Node* replaced) {
  if (!TypesFit(parent, child)) {
    return false;
  }
  if (parent->nodeType == DOM_DOCUMENT_NODE && !DocumentHasRoom(parent, child, replaced)) {
    return false;
  }
  return !IsSameOrAncestor(child, parent);
}

void LinkChild(DOM_Node* parent, DOM_Node* node, DOM_Node* reference) {
  DOM_Node* const previous = reference != nullptr ? reference->previousSibling : parent->lastChild;
  KeepCursorOnInsertion(parent->childNodes, node, previous, reference);
  node->parentNode = parent;
  node->previousSibling = previous;
  node->nextSibling = reference;
  (previous != nullptr ? previous->nextSibling : parent->firstChild) = node;
  (reference != nullptr ? reference->previousSibling : parent->lastChild) = node;
  SetListEnds(parent);
  ++parent->childNodes->length;

  if (parent->nodeType == DOM_DOCUMENT_NODE) {
    NoteChildOfDocument(parent, node);
  }
  if (parent->nodeType == DOM_DOCUMENT_TYPE_NODE) {
    KeepViewsInStep(parent, node, Change::kCame);
  }
}

void UnlinkChild(DOM_Node* node) {
  DOM_Node* const parent = node->parentNode;
  DOM_Node* const previous = node->previousSibling;
  DOM_Node* const next = node->nextSibling;
  KeepCursorOnRemoval(parent->childNodes, node, previous, next);
  ForgetPath(node);
  (previous != nullptr ? previous->nextSibling : parent->firstChild) = next;
  (next != nullptr ? next->previousSibling : parent->lastChild) = previous;
  SetListEnds(parent);
  --parent->childNodes->length;
  node->parentNode = nullptr;
  node->previousSibling = nullptr;
  node->nextSibling = nullptr;

  if (parent->nodeType == DOM_DOCUMENT_NODE) {
    ForgetChildOfDocument(parent, node);
  }
  if (parent->nodeType == DOM_DOCUMENT_TYPE_NODE) {
    KeepViewsInStep(parent, node, Change::kWent);
  }
}

void SetDoctypeOwner(DOM_DocumentType* doctype, DOM_Document* document) {
  doctype->ownerDocument = document;
  doctype->childNodes->ownerDocument = document;
  for (NamedNodeMap* view :
       {DOM_DocumentTypePart(doctype).entities, DOM_DocumentTypePart(doctype).notations}) {
    if (view != nullptr) {
      view->ownerDocument = document;
    }
  }
}

void NameClone(DOM_Document* document, DOM_DocumentType* clone) {
  NameDoctype(document, clone);
  static_cast<DocumentTypeNode*>(clone)->namer = document;
  SetDoctypeOwner(clone, document);
}

void UnnameClone(DOM_DocumentType* doctype) {
  DOM_Document* const namer = static_cast<DocumentTypeNode*>(doctype)->namer;
  if (namer == nullptr) {
    return;
  }
  DOM_Node* child = namer->firstChild;
  while (child != nullptr && (child->nodeType != DOM_DOCUMENT_TYPE_NODE || child == doctype)) {
    child = child->nextSibling;
  }
  NameDoctype(namer, child);
}

void ReleaseClone(DOM_Document* document) {
  DOM_DocumentType* const named = DOM_DocumentPart(document).doctype;
  if (named != nullptr && static_cast<DocumentTypeNode*>(named)->namer == document) {
    NameDoctype(document, nullptr);
    SetDoctypeOwner(named, nullptr);
  }
}

bool IsWithin(const DOM_Node* root, const DOM_Node* node) {
  while (node != nullptr && node != root) {
    node = node->parentNode;
  }
  return node != nullptr;
}

DOM_Node* NextAfterSubtree(const DOM_Node* root, DOM_Node* node) {
  while (node != nullptr && node != root) {
    if (node->nextSibling != nullptr) {
      return node->nextSibling;
    }
    node = node->parentNode;
  }
  return nullptr;
}

DOM_Node* NextInPreorder(const DOM_Node* root, DOM_Node* node) {
  return node->firstChild != nullptr ? node->firstChild : NextAfterSubtree(root, node);
}

DOM_Node* FirstInPostorder(DOM_Node* root) {
  while (root->firstChild != nullptr) {
    root = root->firstChild;
  }
  return root;
}

DOM_Node* NextInPostorder(const DOM_Node* root, DOM_Node* node) {
  if (node == root) {
    return nullptr;
  }
  return node->nextSibling != nullptr ? FirstInPostorder(node->nextSibling) : node->parentNode;
}

}  // namespace qvx::dom
